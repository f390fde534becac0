#include <base/init/inInitGuard.h>
#include <resmgt/logger/lgLog.h>
#include <resmgt/logger/lgQueue.h>
#include <resmgt/logger/qvLog.h>
#include <resmgt/profiling/hwCounter.h>

#include <benchmark/benchmark.h>

#include <chrono>
#include <memory>
#include <thread>

#ifdef QV_PEER_SPDLOG
#    include <spdlog/async.h>
#    include <spdlog/sinks/null_sink.h>
#    include <spdlog/spdlog.h>
#endif

namespace {

using namespace Qv;
using Clock = std::chrono::steady_clock;

// Of a queue's 1,022 entries: a batch always fits.
constexpr int BATCH = 400;

/// Times the statements alone, by batches; `drain` makes room in between.
template <class Statement, class Drain>
void timeBatches( benchmark::State& state, Statement statement, Drain drain ) {
    while( state.KeepRunningBatch( BATCH ) ) {
        const Clock::time_point begin = Clock::now();
        for( int i = 0; i < BATCH; ++i ) {
            statement( i );
        }
        const std::chrono::duration<double> lasted = Clock::now() - begin;
        state.SetIterationTime( lasted.count() );
        drain();
    }
}

void drainQueue( LgQueue& queue ) {
    while( !queue.isEmpty() ) {
        queue.removeEntry();
    }
    queue.takeMissedCount();
}

template <class... Args>
void log( LgQueue& queue, const Args&... args ) {
    if( queue.reserveEntry( LgTypes::Informational ) ) {
        ( queue.getStream() << ... << args ) << endString;
        queue.addEntry();
    }
}

void closedLevel( benchmark::State& state ) {
    for( auto _ : state ) {
        QV_LOG( Threads, Tracing, "never ", 1 );
        benchmark::ClobberMemory();
    }
}

void stamp( benchmark::State& state ) {
    for( auto _ : state ) {
        benchmark::DoNotOptimize( HwCounter::timeStamp() );
    }
}

void textIntDouble( benchmark::State& state ) {
    LgQueue queue;
    timeBatches(
        state, [&]( int i ) { log( queue, "a line with ", i, " and ", 0.25 * i ); },
        [&] { drainQueue( queue ); } );
    drainQueue( queue );
}

void textAlone( benchmark::State& state ) {
    LgQueue queue;
    timeBatches(
        state, [&]( int ) { log( queue, "a line of an ordinary length" ); },
        [&] { drainQueue( queue ); } );
    drainQueue( queue );
}

void refusedByAFullQueue( benchmark::State& state ) {
    LgQueue queue;
    while( !queue.isFull() ) {
        log( queue, "full" );
    }
    log( queue, "lost" );
    for( auto _ : state ) {
        log( queue, "lost" );
    }
    drainQueue( queue );
}

/// While the reader runs, as in a program: the same on one thread and on two.
void throughTheReader( benchmark::State& state ) {
    timeBatches(
        state, [&]( int i ) { QV_LOG( Threads, Warning, "a line with ", i, " and ", 0.25 * i ); },
        [&] { LgLog::flush( 10 ); } );
}

#ifdef QV_PEER_SPDLOG
void spdlogTextIntDouble( benchmark::State& state ) {
    spdlog::init_thread_pool( 8192, 1 );
    auto logger = std::make_shared<spdlog::async_logger>(
        "peer", std::make_shared<spdlog::sinks::null_sink_mt>(), spdlog::thread_pool(),
        spdlog::async_overflow_policy::overrun_oldest );
    timeBatches(
        state, [&]( int i ) { logger->info( "a line with {} and {}", i, 0.25 * i ); },
        [&] { std::this_thread::sleep_for( std::chrono::milliseconds( 1 ) ); } );
    spdlog::shutdown();
}
BENCHMARK( spdlogTextIntDouble )->UseManualTime();
#endif

BENCHMARK( closedLevel );
BENCHMARK( stamp );
BENCHMARK( textIntDouble )->UseManualTime();
BENCHMARK( textAlone )->UseManualTime();
BENCHMARK( refusedByAFullQueue );
BENCHMARK( throughTheReader )->UseManualTime()->Threads( 1 )->Threads( 2 )->MinTime( 0.05 );

} // namespace

int main( int argc, char** argv ) {
    const Qv::InInitGuard packages( argc, argv );
    benchmark::Initialize( &argc, argv );
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}
