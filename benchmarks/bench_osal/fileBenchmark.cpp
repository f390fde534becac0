#include <resmgt/osal/osFile.h>
#include <resmgt/osal/osFsUtils.h>

#include <benchmark/benchmark.h>
#include <fcntl.h>
#include <sys/stat.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

/// Looks at 10,000 files, a hundred in each of a hundred directories, as a scan of a project does.
/// Each iteration looks at all of them.

namespace {

using Qv::OsFile;
using Qv::OsFilePath;

constexpr int NB_DIRECTORIES = 100;
constexpr int NB_FILES = 100;

class Files {
public:
    Files()
        : _top( std::filesystem::temp_directory_path() / "qvbench-XXXXXX" ) {
        if( ::mkdtemp( _top.data() ) == nullptr ) {
            std::perror( _top.c_str() );
            std::exit( 1 );
        }
        for( int i = 0; i < NB_DIRECTORIES; ++i ) {
            const std::string directory = _top + "/shot" + std::to_string( 1000 + i );
            std::filesystem::create_directory( directory );
            for( int k = 0; k < NB_FILES; ++k ) {
                texts.push_back( directory + "/plate_v001." + std::to_string( 1000 + k ) + ".exr" );
                std::ofstream( texts.back() ) << "exr";
                paths.emplace_back( texts.back() );
            }
        }
    }
    Files( const Files& ) = delete;
    Files& operator=( const Files& ) = delete;
    ~Files() { std::filesystem::remove_all( _top ); }

    std::vector<std::string> texts;
    std::vector<OsFilePath> paths;

private:
    std::string _top;
};

const Files& files() {
    static const Files made;
    return made;
}

void existsQv( benchmark::State& state ) {
    for( auto _ : state ) {
        for( const OsFilePath& path : files().paths ) {
            benchmark::DoNotOptimize( Qv::OsFsUtils::fileExists( path ) );
        }
    }
}

void infoQv( benchmark::State& state ) {
    for( auto _ : state ) {
        for( const OsFilePath& path : files().paths ) {
            benchmark::DoNotOptimize( OsFile( path ).getInfo().getSize() );
        }
    }
}

void stat( benchmark::State& state ) {
    for( auto _ : state ) {
        for( const std::string& text : files().texts ) {
            struct stat status {};
            benchmark::DoNotOptimize( ::stat( text.c_str(), &status ) );
        }
    }
}

// The one call that yields all that an info holds, the creation included.
void statx( benchmark::State& state ) {
    for( auto _ : state ) {
        for( const std::string& text : files().texts ) {
            struct statx status {};
            benchmark::DoNotOptimize(
                ::statx( AT_FDCWD, text.c_str(), 0, STATX_BASIC_STATS | STATX_BTIME, &status ) );
        }
    }
}

} // namespace

BENCHMARK( existsQv )->Name( "fileExists/Qv" )->Unit( benchmark::kMillisecond );
BENCHMARK( stat )->Name( "fileExists/stat" )->Unit( benchmark::kMillisecond );
BENCHMARK( infoQv )->Name( "getInfo/Qv" )->Unit( benchmark::kMillisecond );
BENCHMARK( stat )->Name( "getInfo/stat" )->Unit( benchmark::kMillisecond );
BENCHMARK( statx )->Name( "getInfo/statx" )->Unit( benchmark::kMillisecond );
