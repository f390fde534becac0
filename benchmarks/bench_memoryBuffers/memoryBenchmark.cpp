#include <benchmarks/bench_memoryBuffers/common.h>

#include <resmgt/memoryBuffers/mbBufferRdGuardImp.h>
#include <resmgt/memoryBuffers/mbProtocol.h>

#include <benchmark/benchmark.h>

#include <cstring>
#include <fstream>
#include <memory>
#include <stdexcept>
#include <string>

#include <malloc.h>

namespace {

using namespace Qv;
using namespace Qv::Bench;

// memory

/// In use, including what the allocator adds to each block.
std::size_t getAllocatedBytes() {
    const struct mallinfo2 info = ::mallinfo2();
    return info.uordblks + info.hblkhd;
}

template <bool IS_LISTED>
void memoryMb( benchmark::State& state ) {
    // With the allocator's word, a block without padding.
    constexpr int SIZE = 64 - 8;
    const auto count = static_cast<std::size_t>( state.range( 0 ) );
    std::size_t used = 0;
    for( auto _ : state ) {
        std::vector<std::unique_ptr<MbProtocol>> protocols( count );
        for( auto& protocol : protocols ) {
            protocol = std::make_unique<MbProtocol>();
        }
        std::vector<MbBuffer> buffers;
        buffers.reserve( count );
        const std::size_t before = getAllocatedBytes();
        MbBufferSimpleFactory factory = makeFactory( NO_LIMIT );
        for( auto& protocol : protocols ) {
            buffers.push_back( factory.create( "small", OPtr<MbProtocol>( protocol.release() ),
                                               SIZE, MbAlignment( 0, 0, 0 ) ) );
            if( IS_LISTED ) {
                buffers.back().prefetch();
            }
        }
        used = getAllocatedBytes() - before;
    }
    state.counters["bytes"] =
        static_cast<double>( used ) / static_cast<double>( count ) - ( IS_LISTED ? SIZE : 0 );
}

void overBuffers( benchmark::internal::Benchmark* row ) {
    row->ArgName( "buffers" )->RangeMultiplier( 10 )->Range( 1000, 1000000 )->Iterations( 1 );
}

BENCHMARK( memoryMb<false> )->Name( "memory/MbBuffer_absent" )->Apply( overBuffers );
BENCHMARK( memoryMb<true> )->Name( "memory/MbBuffer_listed" )->Apply( overBuffers );

// peak

constexpr double MIB = 1 << 20;
constexpr std::uint64_t LIMIT = 24 << 20;
constexpr int NB_TILES = 4 * LIMIT / TILE_SIZE;
constexpr int NB_ROUNDS = 16;

/// In MiB, since `resetPeak`.
double getPeak() {
    std::ifstream status( "/proc/self/status" );
    for( std::string word; status >> word; ) {
        if( word == "VmHWM:" ) {
            double kib = 0;
            status >> kib;
            return kib / 1024;
        }
    }
    throw std::runtime_error( "/proc/self/status has no VmHWM" );
}
/// The peak is what is resident now.
void resetPeak() {
    std::ofstream file( "/proc/self/clear_refs" );
    if( !( file << "5" << std::flush ) ) {
        throw std::runtime_error( "/proc/self/clear_refs can't be written" );
    }
}

/// Stands for a file. All bytes are written, so that all memory is resident.
class FillProtocol : public MbProtocol {
    void reload( void* memory, unsigned long long size ) override {
        std::memset( memory, 1, size );
    }
};

void readTiles( int nbThreads ) {
    MbBufferSimpleFactory factory = makeFactory( LIMIT );
    std::vector<MbBuffer> buffers;
    for( int i = 0; i < NB_TILES; ++i ) {
        buffers.push_back( factory.create( "tile", OPtr<MbProtocol>( new FillProtocol ), TILE_SIZE,
                                           MbAlignment( 127, 0, 0 ) ) );
    }
    inThreads( nbThreads, [nbThreads, &buffers]( int thread ) {
        visitAll( shuffled( NB_TILES, thread ), NB_ROUNDS * NB_TILES / nbThreads,
                  [&buffers]( std::size_t tile ) {
                      const MbBufferRdGuardImp guard( buffers[tile] );
                      benchmark::DoNotOptimize( guard.getMemory() );
                  } );
    } );
}

void peakMb( benchmark::State& state ) {
    double peak = 0;
    for( auto _ : state ) {
        // What others have left in the heap would be used once more, and be missing in the peak.
        ::malloc_trim( 0 );
        resetPeak();
        const double before = getPeak();
        readTiles( static_cast<int>( state.range( 0 ) ) );
        peak = getPeak() - before;
    }
    state.counters["peak_MiB"] = peak;
    state.counters["limit_MiB"] = LIMIT / MIB;
}
BENCHMARK( peakMb )
    ->Name( "peak/MbBuffer" )
    ->ArgName( "threads" )
    ->Arg( 1 )
    ->Arg( 4 )
    ->Arg( 8 )
    ->Arg( 16 )
    ->Iterations( 1 )
    ->UseRealTime()
    ->MeasureProcessCPUTime()
    ->Unit( benchmark::kMillisecond );

} // namespace
