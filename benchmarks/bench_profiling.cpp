#include <base/init/inInitGuard.h>
#include <resmgt/profiling/hwCounter.h>
#include <resmgt/profiling/hwIntervalTimer.h>
#include <resmgt/profiling/profiler.h>
#include <resmgt/profiling/sleeper.h>

#include <benchmark/benchmark.h>

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <thread>
#include <time.h>
#include <vector>
#if defined( __x86_64__ )
#    include <x86intrin.h>
#endif

/// Stamps: ours beside the clock that it reads, and beside the processor's own counter, bare and in
/// the form that keeps its place among the loads before it. Sleeps: the counter `overMedian` tells
/// by how much a sleep was longer than asked, in seconds, at the median; `over90` at nine of ten.

namespace {

using namespace Qv;

void stampHwCounter( benchmark::State& state ) {
    for( auto _ : state ) {
        benchmark::DoNotOptimize( HwCounter::timeStamp() );
    }
}
BENCHMARK( stampHwCounter )->Name( "stamp/HwCounter" );

template <clockid_t CLOCK>
void stampClock( benchmark::State& state ) {
    for( auto _ : state ) {
        timespec time;
        ::clock_gettime( CLOCK, &time );
        benchmark::DoNotOptimize( time );
    }
}
BENCHMARK( stampClock<CLOCK_MONOTONIC_RAW> )->Name( "stamp/clock_gettime_MONOTONIC_RAW" );
BENCHMARK( stampClock<CLOCK_MONOTONIC> )->Name( "stamp/clock_gettime_MONOTONIC" );

void stampSteadyClock( benchmark::State& state ) {
    for( auto _ : state ) {
        benchmark::DoNotOptimize( std::chrono::steady_clock::now() );
    }
}
BENCHMARK( stampSteadyClock )->Name( "stamp/std_steady_clock" );

#if defined( __x86_64__ )
void stampTsc( benchmark::State& state ) {
    for( auto _ : state ) {
        benchmark::DoNotOptimize( ::__rdtsc() );
    }
}
void stampTscInPlace( benchmark::State& state ) {
    for( auto _ : state ) {
        ::_mm_lfence();
        benchmark::DoNotOptimize( ::__rdtsc() );
    }
}
void stampTscp( benchmark::State& state ) {
    for( auto _ : state ) {
        unsigned int processor = 0;
        benchmark::DoNotOptimize( ::__rdtscp( &processor ) );
    }
}
BENCHMARK( stampTsc )->Name( "stamp/rdtsc" );
BENCHMARK( stampTscInPlace )->Name( "stamp/lfence_rdtsc" );
BENCHMARK( stampTscp )->Name( "stamp/rdtscp" );
#endif

void profilerCycle( benchmark::State& state ) {
    Profiler<HwIntervalTimer> profiler( "bench" );
    for( auto _ : state ) {
        profiler.start();
        profiler.stop();
        profiler.endCycle();
    }
    benchmark::DoNotOptimize( profiler.totalTime() );
}
BENCHMARK( profilerCycle )->Name( "profilerCycle/HwIntervalTimer" );

double steadySeconds() {
    return std::chrono::duration<double>( std::chrono::steady_clock::now().time_since_epoch() )
        .count();
}

template <class Sleep>
void measureSleeps( benchmark::State& state, Sleep sleep ) {
    const double asked = static_cast<double>( state.range( 0 ) ) * 1e-6;
    std::vector<double> over;
    for( auto _ : state ) {
        const double begin = steadySeconds();
        sleep( asked );
        over.push_back( steadySeconds() - begin - asked );
    }
    std::sort( over.begin(), over.end() );
    state.counters["overMedian"] = over[over.size() / 2];
    state.counters["over90"] = over[over.size() * 9 / 10];
}
void sleepPlain( benchmark::State& state ) {
    measureSleeps( state, []( double asked ) { Sleeper::getInstance().sleep( asked ); } );
}
void sleepHighRes( benchmark::State& state ) {
    measureSleeps( state, []( double asked ) { Sleeper::getHighResInstance().sleep( asked ); } );
}
void sleepStd( benchmark::State& state ) {
    measureSleeps( state, []( double asked ) {
        std::this_thread::sleep_for( std::chrono::duration<double>( asked ) );
    } );
}
// In microseconds.
void lengths( benchmark::internal::Benchmark* benchmark ) {
    benchmark->Arg( 1000 )->Arg( 5000 )->Arg( 16000 )->Iterations( 200 )->UseRealTime();
}
BENCHMARK( sleepPlain )->Name( "sleep/Sleeper_plain" )->Apply( lengths );
BENCHMARK( sleepHighRes )->Name( "sleep/Sleeper_highRes" )->Apply( lengths );
BENCHMARK( sleepStd )->Name( "sleep/std_sleep_for" )->Apply( lengths );

} // namespace

int main( int argc, char** argv ) {
    benchmark::Initialize( &argc, argv );
    const InInitGuard packages( argc, argv );
    benchmark::RunSpecifiedBenchmarks();
    return 0;
}
