#include <resmgt/threadExtensions/mtGroup.h>
#include <resmgt/threadExtensions/mtGroupCommand.h>

#include <benchmark/benchmark.h>

#if defined( QV_PEER_TBB )
#    include <oneapi/tbb/global_control.h>
#    include <oneapi/tbb/task_arena.h>
#    include <oneapi/tbb/task_group.h>
#endif
#if defined( QV_PEER_BOOST_ASIO )
#    include <boost/asio/post.hpp>
#    include <boost/asio/thread_pool.hpp>
#endif

#include <atomic>
#include <condition_variable>
#include <deque>
#include <functional>
#include <mutex>
#include <thread>
#include <vector>

/// Pools of two workers and one producer. *emptyTasks* is the time of one task out of many that do
/// nothing, of which at most 256 wait at a time. *oneTask* is one task pushed to an idle pool,
/// until the producer, which looks all the time, sees that a worker runs it. *oneTaskWaited* is the
/// same until the producer has waited for it in the pool's own way.

namespace {

using namespace Qv;

constexpr unsigned int NB_WORKERS = 2;
constexpr int LIMIT = 256;
constexpr int NB_TASKS = 20000;

void doNothing( void* ) {}

/// Ours.
class MtPool {
public:
    template <class Function>
    void push( Function* function, void* data ) {
        MtGroupCommand command( function, data );
        command.setTag( _tag );
        _group.push( command );
    }
    void wait() { _group.waitRequestCountZero( _tag ); }
    ~MtPool() { _group.endProducer( _tag ); }

protected:
    MtGroup<std::queue<MtGroupCommand>> _group{ "bench", NB_WORKERS, { .maximumSize = LIMIT } };
    MtRequestTag _tag = _group.registerProducer();
};

/// Ours, where the producer takes part instead of sleeping.
class MtPoolAlong : public MtPool {
public:
    void wait() { _group.workAlong( _tag ); }
};

/// What one writes by hand.
class DequePool {
public:
    DequePool() {
        for( unsigned int i = 0; i < NB_WORKERS; ++i ) {
            _threads.emplace_back( [this] { work(); } );
        }
    }
    ~DequePool() {
        {
            const std::lock_guard guard( _mutex );
            _isOver = true;
        }
        _nonEmpty.notify_all();
        for( std::thread& thread : _threads ) {
            thread.join();
        }
    }
    void push( void ( *function )( void* ), void* data ) {
        std::unique_lock guard( _mutex );
        _nonFull.wait( guard, [this] { return _tasks.size() < LIMIT; } );
        _tasks.push_back( { function, data } );
        ++_nbOpen;
        guard.unlock();
        _nonEmpty.notify_one();
    }
    void wait() {
        std::unique_lock guard( _mutex );
        _done.wait( guard, [this] { return _nbOpen == 0; } );
    }

private:
    struct Task {
        void ( *function )( void* );
        void* data;
    };

    void work() {
        std::unique_lock guard( _mutex );
        for( ;; ) {
            _nonEmpty.wait( guard, [this] { return !_tasks.empty() || _isOver; } );
            if( _tasks.empty() ) {
                return;
            }
            const Task task = _tasks.front();
            _tasks.pop_front();
            guard.unlock();
            _nonFull.notify_one();
            task.function( task.data );
            guard.lock();
            if( --_nbOpen == 0 ) {
                _done.notify_all();
            }
        }
    }

    std::mutex _mutex;
    std::condition_variable _nonEmpty;
    std::condition_variable _nonFull;
    std::condition_variable _done;
    std::deque<Task> _tasks;
    int _nbOpen = 0;
    bool _isOver = false;
    std::vector<std::thread> _threads;
};

#if defined( QV_PEER_TBB )
/// It has no limit, so the producer waits for all after so many; it takes part in the work then.
class TbbPool {
public:
    void push( void ( *function )( void* ), void* data ) {
        if( ++_nbPushed % LIMIT == 0 ) {
            wait();
        }
        _group.run( [=] { function( data ); } );
    }
    void wait() { _group.wait(); }

private:
    oneapi::tbb::global_control _control{ oneapi::tbb::global_control::max_allowed_parallelism,
                                          NB_WORKERS + 1 };
    oneapi::tbb::task_group _group;
    int _nbPushed = 0;
};
#endif

#if defined( QV_PEER_BOOST_ASIO )
/// It has no limit and no wait for all but the last, so the producer counts, and waits as above.
class AsioPool {
public:
    ~AsioPool() { _pool.join(); }
    void push( void ( *function )( void* ), void* data ) {
        if( ++_nbPushed % LIMIT == 0 ) {
            wait();
        }
        _nbOpen.fetch_add( 1, std::memory_order_relaxed );
        boost::asio::post( _pool, [=, this] {
            function( data );
            if( _nbOpen.fetch_sub( 1, std::memory_order_acq_rel ) == 1 ) {
                _nbOpen.notify_one();
            }
        } );
    }
    void wait() {
        for( int open = _nbOpen; open != 0; open = _nbOpen ) {
            _nbOpen.wait( open );
        }
    }

private:
    boost::asio::thread_pool _pool{ NB_WORKERS };
    std::atomic<int> _nbOpen{ 0 };
    int _nbPushed = 0;
};
#endif

template <class Pool>
void emptyTasks( benchmark::State& state ) {
    Pool pool;
    for( auto _ : state ) {
        for( int i = 0; i < NB_TASKS; ++i ) {
            pool.push( &doNothing, nullptr );
        }
        pool.wait();
    }
    state.counters["task"] =
        benchmark::Counter( static_cast<double>( state.iterations() ) * NB_TASKS,
                            benchmark::Counter::kIsRate | benchmark::Counter::kInvert );
}

void setFlag( void* flag ) {
    static_cast<std::atomic<bool>*>( flag )->store( true, std::memory_order_release );
}

template <class Pool>
void oneTask( benchmark::State& state ) {
    Pool pool;
    for( auto _ : state ) {
        std::atomic<bool> hasRun{ false };
        pool.push( &setFlag, &hasRun );
        while( !hasRun.load( std::memory_order_acquire ) ) {}
        state.PauseTiming();
        pool.wait();
        // The workers fall asleep.
        std::this_thread::sleep_for( std::chrono::microseconds( 500 ) );
        state.ResumeTiming();
    }
}

template <class Pool>
void oneTaskWaited( benchmark::State& state ) {
    Pool pool;
    for( auto _ : state ) {
        pool.push( &doNothing, nullptr );
        pool.wait();
        state.PauseTiming();
        std::this_thread::sleep_for( std::chrono::microseconds( 500 ) );
        state.ResumeTiming();
    }
}

#define QV_BENCH_POOL( Pool, peer )                                                                \
    BENCHMARK( emptyTasks<Pool> )->Name( "emptyTasks/" peer )->UseRealTime();                      \
    BENCHMARK( oneTask<Pool> )->Name( "oneTask/" peer )->UseRealTime()->Iterations( 1000 );        \
    BENCHMARK( oneTaskWaited<Pool> )                                                               \
        ->Name( "oneTaskWaited/" peer )                                                            \
        ->UseRealTime()                                                                            \
        ->Iterations( 1000 )

QV_BENCH_POOL( MtPool, "MtGroup" );
QV_BENCH_POOL( MtPoolAlong, "MtGroup_workAlong" );
QV_BENCH_POOL( DequePool, "mutex_and_deque" );
#if defined( QV_PEER_TBB )
QV_BENCH_POOL( TbbPool, "tbb_task_group" );
#endif
#if defined( QV_PEER_BOOST_ASIO )
QV_BENCH_POOL( AsioPool, "boost_asio" );
#endif

} // namespace
