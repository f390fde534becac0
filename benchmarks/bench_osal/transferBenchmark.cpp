#include <resmgt/osal/osFile.h>
#include <resmgt/osal/osFileReader.h>
#include <resmgt/osal/osFileWriter.h>
#include <resmgt/osal/osMTFileReader.h>

#include <benchmark/benchmark.h>
#include <fcntl.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <random>
#include <string>
#include <vector>

/// Random reads of 64 KiB from a file that lies in the system's cache, by one and by two threads on
/// one object; and the copy of a file of 1 GiB to a new one, each iteration the whole of it. The
/// files are in the directory that TMPDIR names: "TMPDIR=/dev/shm" takes the disk out of it.

namespace {

using Qv::OsFile;
using Qv::OsFilePath;
using Qv::OsFileReader;
using Qv::OsFileWriter;
using Qv::OsMTFileReader;
using Qv::OsFileTypes::Permissions;

constexpr std::size_t BLOCK = 0x10000;
constexpr std::size_t FILE_SIZE = 0x40000000;
constexpr std::size_t NB_BLOCKS = FILE_SIZE / BLOCK;

/// A file of 1 GiB and the place for its copy, until the process ends.
class LargeFile {
public:
    LargeFile()
        : _top( std::filesystem::temp_directory_path() / "qvbench-XXXXXX" ) {
        if( ::mkdtemp( _top.data() ) == nullptr ) {
            std::perror( _top.c_str() );
            std::exit( 1 );
        }
        OsFileWriter writer( path(), Permissions( 3, 0, 0 ), true, false );
        std::vector<char> block( BLOCK );
        for( std::size_t i = 0; i < NB_BLOCKS; ++i ) {
            block.assign( BLOCK, static_cast<char>( i ) );
            writer.write( block.data(), BLOCK );
        }
        writer.close();
        // What the disk does with it now would be measured.
        ::sync();
    }
    LargeFile( const LargeFile& ) = delete;
    LargeFile& operator=( const LargeFile& ) = delete;
    ~LargeFile() { std::filesystem::remove_all( _top ); }

    OsFilePath path() const { return OsFilePath( text() ); }
    std::string text() const { return _top + "/file"; }
    std::string copy() const { return _top + "/copy"; }

private:
    std::string _top;
};

const LargeFile& file() {
    static const LargeFile made;
    return made;
}

/// Reads blocks by `read( buffer, offset )`.
template <class Read>
void readAtRandom( benchmark::State& state, const Read& read ) {
    std::minstd_rand random( static_cast<unsigned int>( state.thread_index() + 1 ) );
    std::vector<char> buffer( BLOCK );
    for( auto _ : state ) {
        const auto offset = static_cast<long long>( random() % NB_BLOCKS * BLOCK );
        if( read( buffer.data(), offset ) != BLOCK ) {
            state.SkipWithError( "short read" );
        }
    }
    state.SetBytesProcessed( static_cast<std::int64_t>( BLOCK ) * state.iterations() );
}

void readQv( benchmark::State& state ) {
    static OsMTFileReader reader( file().path(), false );
    readAtRandom( state, []( void* buffer, long long offset ) {
        return reader.read( buffer, offset, BLOCK );
    } );
}

void readPread( benchmark::State& state ) {
    static const int descriptor = ::open( file().text().c_str(), O_RDONLY | O_CLOEXEC );
    readAtRandom( state, []( void* buffer, long long offset ) {
        return static_cast<std::size_t>( ::pread( descriptor, buffer, BLOCK, offset ) );
    } );
}

// One stream a thread: it has a position.
void readIfstream( benchmark::State& state ) {
    std::ifstream stream( file().text(), std::ios::binary );
    readAtRandom( state, [&stream]( void* buffer, long long offset ) {
        stream.seekg( offset );
        stream.read( static_cast<char*>( buffer ), BLOCK );
        return static_cast<std::size_t>( stream.gcount() );
    } );
}

BENCHMARK( readQv )->Name( "randomReads/Qv" )->ThreadRange( 1, 2 )->UseRealTime();
BENCHMARK( readPread )->Name( "randomReads/pread" )->ThreadRange( 1, 2 )->UseRealTime();
BENCHMARK( readIfstream )->Name( "randomReads/ifstream" )->ThreadRange( 1, 2 )->UseRealTime();

template <class Copy>
void copyEachTime( benchmark::State& state, const Copy& copy ) {
    file();
    for( auto _ : state ) {
        copy();
        state.PauseTiming();
        if( std::filesystem::file_size( file().copy() ) != FILE_SIZE ) {
            state.SkipWithError( "the copy isn't whole" );
        }
        std::filesystem::remove( file().copy() );
        ::sync();
        state.ResumeTiming();
    }
    state.SetBytesProcessed( static_cast<std::int64_t>( FILE_SIZE ) * state.iterations() );
}

void copyTransfers( benchmark::State& state ) {
    copyEachTime( state, [] {
        OsFileReader reader( file().path(), false );
        OsFileWriter writer( OsFilePath( file().copy() ), Permissions( 3, 3, 0 ), true, false );
        std::vector<char> block( BLOCK );
        while( const unsigned long long size = reader.read( block.data(), BLOCK ) ) {
            writer.write( block.data(), size );
        }
        writer.close();
    } );
}

void copyFile( benchmark::State& state ) {
    copyEachTime( state, [] { OsFile( file().path() ).copyTo( OsFilePath( file().copy() ) ); } );
}

void copyCp( benchmark::State& state ) {
    const std::string command = "cp " + file().text() + " " + file().copy();
    copyEachTime( state, [&command] {
        if( std::system( command.c_str() ) != 0 ) {
            std::exit( 1 );
        }
    } );
}

void copyStreams( benchmark::State& state ) {
    copyEachTime( state, [] {
        std::ofstream( file().copy(), std::ios::binary )
            << std::ifstream( file().text(), std::ios::binary ).rdbuf();
    } );
}

void configure( benchmark::internal::Benchmark* row ) {
    row->Unit( benchmark::kMillisecond )->Iterations( 1 )->Repetitions( 7 )->UseRealTime();
    row->ReportAggregatesOnly();
}

BENCHMARK( copyTransfers )->Name( "copy1GiB/Qv" )->Apply( configure );
BENCHMARK( copyFile )->Name( "copy1GiB/Qv_copyTo" )->Apply( configure );
BENCHMARK( copyCp )->Name( "copy1GiB/cp" )->Apply( configure );
BENCHMARK( copyStreams )->Name( "copy1GiB/fstream" )->Apply( configure );

} // namespace
