#include <base/locks/lkGuard.h>
#include <base/locks/lkLock.h>
#include <resmgt/locks/lkCondVar.h>
#include <resmgt/locks/lkRwLock.h>
#include <resmgt/locks/lkSema.h>
#include <resmgt/locks/lkThreadOpaqueDataFactory.h>
#include <resmgt/locks/lkTicket.h>
#include <resmgt/locks/lkTimedCondVar.h>

#include <benchmark/benchmark.h>
#include <pthread.h>

#if defined( QV_PEER_TBB )
#    include <tbb/spin_rw_mutex.h>
#endif

#include <algorithm>
#include <atomic>
#include <chrono>
#include <condition_variable>
#include <mutex>
#include <semaphore>
#include <shared_mutex>
#include <thread>
#include <vector>

/// Names end in the class that is measured, "Lk..." ours, the others the peers. A hand-over's time
/// is that of one way between two threads on two processors. A wait behind a thread that takes its
/// lock again at once has counters: percentiles in seconds, and the turns a second of that thread.

namespace {

using namespace Qv;

// One word of work that the locks guard; on no lock's cache line.
alignas( 64 ) long counter = 0;

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

void readLk( benchmark::State& state ) {
    alignas( 64 ) static const LkRwLock lock( "bench" );
    for( auto _ : state ) {
        const LkGuard<const LkRwLock> guard( lock );
        benchmark::DoNotOptimize( counter );
    }
}
template <class Mutex>
void readPeer( benchmark::State& state ) {
    alignas( 64 ) static Mutex mutex;
    for( auto _ : state ) {
        mutex.lock_shared();
        benchmark::DoNotOptimize( counter );
        mutex.unlock_shared();
    }
}
void writeLk( benchmark::State& state ) {
    alignas( 64 ) static LkRwLock lock( "bench" );
    for( auto _ : state ) {
        const LkGuard<LkRwLock> guard( lock );
        benchmark::DoNotOptimize( ++counter );
    }
}
template <class Mutex>
void writePeer( benchmark::State& state ) {
    alignas( 64 ) static Mutex mutex;
    for( auto _ : state ) {
        const std::lock_guard guard( mutex );
        benchmark::DoNotOptimize( ++counter );
    }
}
BENCHMARK( readLk )->Name( "read/LkRwLock" )->ThreadRange( 1, 2 )->UseRealTime();
BENCHMARK( readPeer<std::shared_mutex> )
    ->Name( "read/std_shared_mutex" )
    ->ThreadRange( 1, 2 )
    ->UseRealTime();
BENCHMARK( writeLk )->Name( "write/LkRwLock" )->ThreadRange( 1, 2 )->UseRealTime();
BENCHMARK( writePeer<std::shared_mutex> )
    ->Name( "write/std_shared_mutex" )
    ->ThreadRange( 1, 2 )
    ->UseRealTime();
#if defined( QV_PEER_TBB )
BENCHMARK( readPeer<tbb::spin_rw_mutex> )
    ->Name( "read/tbb_spin_rw_mutex" )
    ->ThreadRange( 1, 2 )
    ->UseRealTime();
BENCHMARK( writePeer<tbb::spin_rw_mutex> )
    ->Name( "write/tbb_spin_rw_mutex" )
    ->ThreadRange( 1, 2 )
    ->UseRealTime();
#endif

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

/// Two sides that go in turns.
class LkTurns {
public:
    template <class Work>
    void take( std::size_t side, const Work& work ) {
        const LkTicketGuard turn( _ticket, _next[side].number );
        _next[side].number += 2;
        work();
    }

private:
    LkTicket _ticket{ "bench" };
    struct alignas( 64 ) Next {
        long long number;
    } _next[2] = { { 0 }, { 1 } };
};
class StdSemaTurns {
public:
    template <class Work>
    void take( std::size_t side, const Work& work ) {
        _sides[side].acquire();
        work();
        _sides[1 - side].release();
    }

private:
    std::counting_semaphore<> _sides[2] = { std::counting_semaphore<>( 1 ),
                                            std::counting_semaphore<>( 0 ) };
};

template <class Turns>
void takeTurns( benchmark::State& state ) {
    Turns turns;
    // Each turn orders it.
    bool isOver = false;
    std::thread partner( [&] {
        runOn( 1 );
        bool isLast = false;
        while( !isLast ) {
            turns.take( 1, [&isLast, &isOver] { isLast = isOver; } );
        }
    } );
    std::thread self( [&] {
        runOn( 0 );
        long nbTurns = 0;
        for( auto _ : state ) {
            turns.take( 0, [&] { ++nbTurns; } );
        }
        turns.take( 0, [&] { isOver = true; } );
        state.counters["oneWay"] =
            benchmark::Counter( 2.0 * static_cast<double>( nbTurns ),
                                benchmark::Counter::kIsRate | benchmark::Counter::kInvert );
    } );
    self.join();
    partner.join();
}
BENCHMARK( takeTurns<LkTurns> )->Name( "turn/LkTicket" )->UseRealTime();
BENCHMARK( takeTurns<StdSemaTurns> )->Name( "turn/std_counting_semaphore" )->UseRealTime();

using Clock = std::chrono::steady_clock;

double toSeconds( Clock::duration time ) {
    return std::chrono::duration<double>( time ).count();
}

void workFor( std::chrono::nanoseconds time ) {
    if( time.count() != 0 ) {
        const Clock::time_point end = Clock::now() + time;
        while( Clock::now() < end ) {}
    }
}

struct LkMutex {
    template <class Work>
    void hold( const Work& work ) {
        const LkGuard<const LkLock> guard( lock );
        work();
    }
    const LkLock lock{ "bench" };
};
struct StdMutex {
    template <class Work>
    void hold( const Work& work ) {
        const std::lock_guard guard( mutex );
        work();
    }
    std::mutex mutex;
};

/// In seconds; sorts.
double percentile( std::vector<double>& waits, double share ) {
    if( waits.empty() ) {
        return 0.0;
    }
    std::sort( waits.begin(), waits.end() );
    return waits[static_cast<std::size_t>( share * static_cast<double>( waits.size() - 1 ) )];
}

/// How long a thread waits for a lock that another holds for `range( 0 )` nanoseconds again and
/// again, with nothing in between.
template <class Mutex>
void waitBehind( benchmark::State& state ) {
    const std::chrono::nanoseconds held( state.range( 0 ) );
    Mutex mutex;
    std::atomic<bool> isOver{ false };
    std::atomic<long> nbTurns{ 0 };
    std::thread rival( [&] {
        runOn( 1 );
        while( !isOver.load( std::memory_order_relaxed ) ) {
            mutex.hold( [&] { workFor( held ); } );
            nbTurns.store( nbTurns.load( std::memory_order_relaxed ) + 1,
                           std::memory_order_relaxed );
        }
    } );
    std::vector<double> waits;
    double allTime = 0.0;
    std::thread self( [&] {
        runOn( 0 );
        while( nbTurns.load( std::memory_order_relaxed ) == 0 ) {}
        const Clock::time_point start = Clock::now();
        for( auto _ : state ) {
            workFor( std::chrono::microseconds( 50 ) );
            const Clock::time_point begin = Clock::now();
            Clock::time_point end;
            mutex.hold( [&] { end = Clock::now(); } );
            waits.push_back( toSeconds( end - begin ) );
            state.SetIterationTime( waits.back() );
        }
        allTime = toSeconds( Clock::now() - start );
    } );
    self.join();
    isOver = true;
    rival.join();
    state.counters["50%"] = percentile( waits, 0.5 );
    state.counters["99%"] = percentile( waits, 0.99 );
    state.counters["max"] = percentile( waits, 1.0 );
    state.counters["turns"] = static_cast<double>( nbTurns ) / allTime;
}
// As many waits as a percentile needs, whatever a wait costs.
constexpr int NB_WAITS = 5000;
BENCHMARK( waitBehind<LkMutex> )
    ->Name( "waitBehind/LkLock" )
    ->ArgName( "heldNs" )
    ->Arg( 0 )
    ->Arg( 1000 )
    ->Arg( 20000 )
    ->Iterations( NB_WAITS )
    ->UseManualTime();
BENCHMARK( waitBehind<StdMutex> )
    ->Name( "waitBehind/std_mutex" )
    ->ArgName( "heldNs" )
    ->Arg( 0 )
    ->Arg( 1000 )
    ->Arg( 20000 )
    ->Iterations( NB_WAITS )
    ->UseManualTime();

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
