#include <benchmarks/bench_memoryBuffers/common.h>

#include <resmgt/memoryBuffers/mbBufferRdGuardImp.h>

#include <benchmark/benchmark.h>

#include <atomic>
#include <chrono>
#include <semaphore>

#include <semaphore.h>
#include <time.h>

namespace {

using namespace Qv;
using namespace Qv::Bench;

constexpr int NB_PLACES = 4;
/// So many are shared by the threads of one start.
constexpr int NB_TURNS = 4000;
constexpr std::chrono::microseconds WORK( 100 );

std::chrono::nanoseconds getThreadTime() {
    timespec time{};
    ::clock_gettime( CLOCK_THREAD_CPUTIME_ID, &time );
    return std::chrono::seconds( time.tv_sec ) + std::chrono::nanoseconds( time.tv_nsec );
}

void compute() {
    const auto end = getThreadTime() + WORK;
    while( getThreadTime() < end ) {}
}
void sleep() {
    std::this_thread::sleep_for( WORK );
}

/// Memory for four buffers. Each thread has more than that by itself and takes them in a circle, so
/// that each turn needs memory.
class MbRoom {
public:
    explicit MbRoom( int nbThreads ) {
        MbBufferSimpleFactory factory = makeFactory( NB_PLACES * countedSize( TILE_SIZE ) );
        for( int i = 0; i < NB_OWN * nbThreads; ++i ) {
            _buffers.push_back( factory.create( "turn", TILE_SIZE ) );
        }
    }
    template <class Work>
    void takeTurn( int thread, int turn, Work work ) {
        const int buffer = NB_OWN * thread + turn % NB_OWN;
        const MbBufferRdGuardImp guard( _buffers[static_cast<std::size_t>( buffer )] );
        work();
    }

private:
    static constexpr int NB_OWN = 2 * NB_PLACES;

    std::vector<MbBuffer> _buffers;
};

class StdRoom {
public:
    explicit StdRoom( int ) {}
    template <class Work>
    void takeTurn( int, int, Work work ) {
        _places.acquire();
        work();
        _places.release();
    }

private:
    std::counting_semaphore<> _places{ NB_PLACES };
};

/// Beside the standard one, which yields the processor some times before it sleeps: on a machine
/// with other work that costs it most of its turns.
class PosixRoom {
public:
    explicit PosixRoom( int ) { ::sem_init( &_places, 0, NB_PLACES ); }
    PosixRoom( const PosixRoom& ) = delete;
    PosixRoom& operator=( const PosixRoom& ) = delete;
    ~PosixRoom() { ::sem_destroy( &_places ); }
    template <class Work>
    void takeTurn( int, int, Work work ) {
        while( ::sem_wait( &_places ) != 0 ) {}
        work();
        ::sem_post( &_places );
    }

private:
    ::sem_t _places;
};

template <class Room, void ( *WORK )()>
void turns( benchmark::State& state ) {
    const auto nbThreads = static_cast<int>( state.range( 0 ) );
    Room room( nbThreads );
    while( state.KeepRunningBatch( NB_TURNS ) ) {
        std::atomic<int> nbLeft = NB_TURNS;
        inThreads( nbThreads, [&room, &nbLeft]( int thread ) {
            for( int turn = 0; nbLeft.fetch_sub( 1, std::memory_order_relaxed ) > 0; ++turn ) {
                room.takeTurn( thread, turn, WORK );
            }
        } );
    }
    state.SetItemsProcessed( state.iterations() );
}

void overThreads( benchmark::internal::Benchmark* row ) {
    row->ArgName( "threads" )->Arg( 4 )->Arg( 16 )->Arg( 32 );
    row->UseRealTime()->MeasureProcessCPUTime()->Unit( benchmark::kMicrosecond );
}

BENCHMARK( turns<MbRoom, compute> )->Name( "turns/compute/MbBuffer" )->Apply( overThreads );
BENCHMARK( turns<StdRoom, compute> )
    ->Name( "turns/compute/std_counting_semaphore" )
    ->Apply( overThreads );
BENCHMARK( turns<PosixRoom, compute> )->Name( "turns/compute/sem_t" )->Apply( overThreads );
BENCHMARK( turns<MbRoom, sleep> )->Name( "turns/sleep/MbBuffer" )->Apply( overThreads );
BENCHMARK( turns<StdRoom, sleep> )
    ->Name( "turns/sleep/std_counting_semaphore" )
    ->Apply( overThreads );
BENCHMARK( turns<PosixRoom, sleep> )->Name( "turns/sleep/sem_t" )->Apply( overThreads );

} // namespace
