#include <base/files/sizeSignalGuardPosix.h>
#include <base/init/inInitGuard.h>
#include <resmgt/logger/lgLog.h>
#include <resmgt/logger/lgQueue.h>
#include <resmgt/logger/lgReader.h>
#include <resmgt/logger/lgRegistry.h>
#include <resmgt/logger/qvLog.h>
#include <resmgt/profiling/hwCounter.h>
#include <resmgt/threads/mtLogger.h>

#include <benchmark/benchmark.h>

#include <chrono>
#include <csignal>
#include <cstdlib>
#include <ctime>
#include <filesystem>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include <fcntl.h>
#include <unistd.h>

#ifdef QV_PEER_GLOG
#    include <glog/logging.h>
#endif

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

/// What the reader works through: so many queues, and a file to which it all goes.
class Readable {
public:
    // As many lines in all, however many queues there are.
    static constexpr int NB_LINES = 512;

    explicit Readable( std::size_t nbQueues )
        : _nbLinesEach( NB_LINES / static_cast<int>( nbQueues ) ) {
        // Its reader would take the lines.
        MtLogger::end();
        for( std::size_t i = 0; i < nbQueues; ++i ) {
            _queues.push_back( std::make_unique<LgQueue>( i, "benchmark" ) );
            LgLog::getRegistry()->registerQueue( _queues.back().get() );
        }
    }
    Readable( const Readable& ) = delete;
    Readable& operator=( const Readable& ) = delete;
    ~Readable() {
        for( const auto& queue : _queues ) {
            LgLog::getRegistry()->deregisterQueue( queue.get() );
        }
        MtLogger::start();
    }

    /// The queues take turns, so that the merge has to look at each.
    void fill() {
        for( int i = 0; i < _nbLinesEach; ++i ) {
            for( const auto& queue : _queues ) {
                log( *queue, "a line with ", i, " and ", 0.25 * i );
            }
        }
    }
    void read() { _reader.flushAll(); }

private:
    const int _nbLinesEach;
    std::vector<std::unique_ptr<LgQueue>> _queues;
    LgReader _reader;
};

/// As the reader's thread does.
void blockSignals() {
    sigset_t signals;
    ::sigfillset( &signals );
    ::pthread_sigmask( SIG_SETMASK, &signals, nullptr );
    SizeSignalGuard::keepBlocked();
}

void readToFile( benchmark::State& state ) {
    blockSignals();
    Readable readable( static_cast<std::size_t>( state.range( 0 ) ) );
    while( state.KeepRunningBatch( Readable::NB_LINES ) ) {
        readable.fill();
        const Clock::time_point begin = Clock::now();
        readable.read();
        state.SetIterationTime( std::chrono::duration<double>( Clock::now() - begin ).count() );
    }
}

/// What no reader can do without: a write for each line, of a usual length, at the file's end.
void bareWrites( benchmark::State& state ) {
    const std::string line = "   12.34 [Informational] a line with 123 and 123.250000\n";
    const std::string path = std::filesystem::temp_directory_path() / "bench_logger.bare";
    const int file = ::open( path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_APPEND, 0600 );
    for( auto _ : state ) {
        benchmark::DoNotOptimize( ::write( file, line.data(), line.size() ) );
    }
    ::close( file );
    ::unlink( path.c_str() );
}

double getProcessorTime() {
    std::timespec time{};
    ::clock_gettime( CLOCK_PROCESS_CPUTIME_ID, &time );
    return static_cast<double>( time.tv_sec ) + 1e-9 * static_cast<double>( time.tv_nsec );
}

/// The processor time that a reader without work takes in a second.
void idleReader( benchmark::State& state ) {
    for( auto _ : state ) {
        const double before = getProcessorTime();
        std::this_thread::sleep_for( std::chrono::seconds( 1 ) );
        state.SetIterationTime( getProcessorTime() - before );
    }
}

void stopReader( benchmark::State& state ) {
    for( auto _ : state ) {
        // Its longest sleep.
        std::this_thread::sleep_for( std::chrono::milliseconds( 400 ) );
        const Clock::time_point begin = Clock::now();
        MtLogger::end();
        state.SetIterationTime( std::chrono::duration<double>( Clock::now() - begin ).count() );
        MtLogger::start();
    }
}

#ifdef QV_PEER_GLOG
/// Formatted and written by the thread itself.
void glogTextIntDouble( benchmark::State& state ) {
    FLAGS_log_dir = std::filesystem::temp_directory_path();
    google::InitGoogleLogging( "bench_logger" );
    timeBatches(
        state, [&]( int i ) { LOG( INFO ) << "a line with " << i << " and " << 0.25 * i; }, [] {} );
    google::ShutdownGoogleLogging();
}
#endif

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
#endif

BENCHMARK( closedLevel );
BENCHMARK( stamp );
BENCHMARK( textIntDouble )->UseManualTime()->Threads( 1 )->Threads( 2 );
BENCHMARK( textAlone )->UseManualTime();
BENCHMARK( refusedByAFullQueue );
BENCHMARK( throughTheReader )->UseManualTime()->Threads( 1 )->Threads( 2 )->MinTime( 0.05 );
BENCHMARK( readToFile )->UseManualTime()->Arg( 1 )->Arg( 64 );
BENCHMARK( bareWrites );
BENCHMARK( idleReader )->UseManualTime()->Iterations( 3 )->Unit( benchmark::kMillisecond );
BENCHMARK( stopReader )->UseManualTime()->Iterations( 10 )->Unit( benchmark::kMillisecond );
#ifdef QV_PEER_GLOG
// Once, since it starts once in a process.
BENCHMARK( glogTextIntDouble )->UseManualTime()->Iterations( 100 * BATCH );
#endif
#ifdef QV_PEER_SPDLOG
BENCHMARK( spdlogTextIntDouble )->UseManualTime();
#endif

} // namespace

int main( int argc, char** argv ) {
    const std::string file = std::filesystem::temp_directory_path() / "bench_logger.log";
    ::setenv( "QV_LOG_UNSPECIFIED", "--", 1 );
    ::setenv( "QV_LOG_INFORMATIONAL", file.c_str(), 1 );
    ::setenv( "QV_LOG_WARNING", file.c_str(), 1 );
    const Qv::InInitGuard packages( argc, argv );
    benchmark::Initialize( &argc, argv );
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    ::unlink( file.c_str() );
    return 0;
}
