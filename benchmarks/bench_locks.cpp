#include <base/locks/lkGuard.h>
#include <base/locks/lkLock.h>
#include <resmgt/locks/lkCondVar.h>
#include <resmgt/locks/lkSema.h>
#include <resmgt/locks/lkThreadOpaqueDataFactory.h>
#include <resmgt/locks/lkTimedCondVar.h>

#include <benchmark/benchmark.h>
#include <pthread.h>

#include <condition_variable>
#include <mutex>
#include <semaphore>
#include <thread>

/// Names end in the class that is measured, "Lk..." ours, the others the peers. A hand-over's time
/// is that of one way between two threads on two processors.

namespace {

using namespace Qv;

// One word of work that the locks guard.
long counter = 0;

void lockLk( benchmark::State& state ) {
    static const LkLock lock( "bench" );
    for( auto _ : state ) {
        const LkGuard<const LkLock> guard( lock );
        benchmark::DoNotOptimize( ++counter );
    }
}
void lockStd( benchmark::State& state ) {
    static std::mutex mutex;
    for( auto _ : state ) {
        const std::lock_guard guard( mutex );
        benchmark::DoNotOptimize( ++counter );
    }
}
BENCHMARK( lockLk )->Name( "lock/LkLock" )->ThreadRange( 1, 2 )->UseRealTime();
BENCHMARK( lockStd )->Name( "lock/std_mutex" )->ThreadRange( 1, 2 )->UseRealTime();

template <class CondVar>
void signalLk( benchmark::State& state ) {
    const CondVar condVar( "bench" );
    for( auto _ : state ) {
        condVar.signal();
        benchmark::ClobberMemory();
    }
}
void signalStd( benchmark::State& state ) {
    std::condition_variable condition;
    for( auto _ : state ) {
        condition.notify_one();
        benchmark::ClobberMemory();
    }
}
BENCHMARK( signalLk<LkCondVar> )->Name( "signalNobody/LkCondVar" );
BENCHMARK( signalLk<LkTimedCondVar> )->Name( "signalNobody/LkTimedCondVar" );
BENCHMARK( signalStd )->Name( "signalNobody/std_condition_variable" );

void runOn( unsigned int processor ) {
    cpu_set_t set;
    CPU_ZERO( &set );
    CPU_SET( processor, &set );
    ::pthread_setaffinity_np( ::pthread_self(), sizeof( set ), &set );
}

/// Two places that a token goes between; `pass` hands it over, `take` waits for it.
template <class CondVar>
struct LkPlace {
    void pass() {
        const LkGuard<const LkLock> guard( lock );
        isHere = true;
        condVar.signal();
    }
    void take() {
        const LkGuard<const LkLock> guard( lock );
        while( !isHere ) {
            condVar.wait( guard );
        }
        isHere = false;
    }
    const LkLock lock{ "bench" };
    const CondVar condVar{ "bench" };
    bool isHere = false;
};
struct StdPlace {
    void pass() {
        const std::lock_guard guard( mutex );
        isHere = true;
        condition.notify_one();
    }
    void take() {
        std::unique_lock guard( mutex );
        condition.wait( guard, [this] { return isHere; } );
        isHere = false;
    }
    std::mutex mutex;
    std::condition_variable condition;
    bool isHere = false;
};
struct LkSemaPlace {
    void pass() { sema.post(); }
    void take() { sema.wait(); }
    LkSema sema{ "bench", 0 };
};
struct StdSemaPlace {
    void pass() { sema.release(); }
    void take() { sema.acquire(); }
    std::counting_semaphore<> sema{ 0 };
};

template <class Place>
void handOver( benchmark::State& state ) {
    Place there;
    Place back;
    // Each hand-over orders it.
    bool isOver = false;
    std::thread partner( [&] {
        runOn( 1 );
        for( ;; ) {
            there.take();
            if( isOver ) {
                return;
            }
            back.pass();
        }
    } );
    std::thread self( [&] {
        runOn( 0 );
        long nbTurns = 0;
        for( auto _ : state ) {
            there.pass();
            back.take();
            ++nbTurns;
        }
        state.counters["oneWay"] =
            benchmark::Counter( 2.0 * static_cast<double>( nbTurns ),
                                benchmark::Counter::kIsRate | benchmark::Counter::kInvert );
    } );
    self.join();
    isOver = true;
    there.pass();
    partner.join();
}
BENCHMARK( handOver<LkPlace<LkCondVar>> )->Name( "handOver/LkCondVar" )->UseRealTime();
BENCHMARK( handOver<LkPlace<LkTimedCondVar>> )->Name( "handOver/LkTimedCondVar" )->UseRealTime();
BENCHMARK( handOver<LkSemaPlace> )->Name( "handOver/LkSema" )->UseRealTime();
BENCHMARK( handOver<StdPlace> )->Name( "handOver/std_condition_variable" )->UseRealTime();
BENCHMARK( handOver<StdSemaPlace> )->Name( "handOver/std_counting_semaphore" )->UseRealTime();

void threadDataLk( benchmark::State& state ) {
    static const RCShdPtr<LkThreadOpaqueData> data = LkThreadOpaqueDataFactory::create(
        "bench", []() -> void* { return &counter; }, []( void* ) {} );
    data->getPointee();
    for( auto _ : state ) {
        benchmark::DoNotOptimize( data->getPointee() );
    }
}
void threadDataPosix( benchmark::State& state ) {
    static const pthread_key_t key = [] {
        pthread_key_t made{};
        ::pthread_key_create( &made, nullptr );
        return made;
    }();
    ::pthread_setspecific( key, &counter );
    for( auto _ : state ) {
        benchmark::DoNotOptimize( ::pthread_getspecific( key ) );
    }
}
BENCHMARK( threadDataLk )->Name( "threadData/LkThreadOpaqueData" );
BENCHMARK( threadDataPosix )->Name( "threadData/pthread_getspecific" );

} // namespace

BENCHMARK_MAIN();
