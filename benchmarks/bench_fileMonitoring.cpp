#include <base/events/evQueueEventManager.h>
#include <base/init/inInitGuard.h>
#include <resmgt/fileMonitoring/osFileMonitor.h>
#include <resmgt/resmgtPackages.h>

#include <benchmark/benchmark.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <filesystem>
#include <fstream>
#include <map>
#include <string>
#include <vector>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

/// A pass over unchanged files beside a bare `statx` of each by its name in the open directory, the
/// least that a poll can do. Counters: nanoseconds a file, and the percentage of one processor that
/// a pass each 60 seconds takes. What a client waits for while a pass is under way is the time of
/// `addWatch`, with as many files watched already.

namespace {

using namespace Qv;

/// Directories of as many empty files as are asked for, below a folder of usual depth.
class Files {
public:
    static constexpr int NB_A_DIRECTORY = 10'000;

    explicit Files( int count ) {
        std::string name = ( std::filesystem::temp_directory_path() / "qvbench-XXXXXX" ).string();
        if( ::mkdtemp( name.data() ) == nullptr ) {
            std::perror( name.c_str() );
            std::exit( 1 );
        }
        _top = name;
        for( int i = 0; i < count; ++i ) {
            if( i % NB_A_DIRECTORY == 0 ) {
                _directories.push_back( _top / "show" / "sequence" /
                                        ( "shot" + std::to_string( i ) ) );
                std::filesystem::create_directories( _directories.back() );
                _names.emplace_back();
            }
            char text[32];
            std::snprintf( text, sizeof text, "frame.%07d.exr", i );
            _names.back().emplace_back( text );
            const std::ofstream file( _directories.back() / text );
        }
    }
    Files( const Files& ) = delete;
    Files& operator=( const Files& ) = delete;
    ~Files() { std::filesystem::remove_all( _top ); }

    const std::vector<std::filesystem::path>& directories() const { return _directories; }
    const std::vector<std::vector<std::string>>& names() const { return _names; }

private:
    std::filesystem::path _top;
    std::vector<std::filesystem::path> _directories;
    std::vector<std::vector<std::string>> _names;
};

/// Made once: to make and remove a million takes the file system minutes.
const Files& getFiles( const benchmark::State& state ) {
    static std::map<std::int64_t, Files> made;
    return made.try_emplace( state.range( 0 ), static_cast<int>( state.range( 0 ) ) ).first->second;
}

class Ignoring : public CbHandler<const OsFileEvent> {
public:
    void call( const OsFileEvent& ) override {}
};

void restart() {
    OsFileMonitor::finalize();
    OsFileMonitor::initialize();
}

void watch( OsFileMonitor& monitor, const Files& files, Ignoring& handler ) {
    for( std::size_t i = 0; i < files.directories().size(); ++i ) {
        for( const std::string& name : files.names()[i] ) {
            monitor.addWatch( ( files.directories()[i] / name ).string(), &handler );
        }
    }
}

double processorSeconds() {
    timespec time{};
    ::clock_gettime( CLOCK_PROCESS_CPUTIME_ID, &time );
    return static_cast<double>( time.tv_sec ) + 1e-9 * static_cast<double>( time.tv_nsec );
}

void setCounters( benchmark::State& state, double seconds ) {
    const double perPass = seconds / static_cast<double>( state.iterations() );
    state.counters["ns_a_file"] = 1e9 * perPass / static_cast<double>( state.range( 0 ) );
    state.counters["percent_at_60s"] = 100 * perPass / 60;
}

void passOs( benchmark::State& state ) {
    const Files& files = getFiles( state );
    EvQueueEventManager events;
    Ignoring handler;
    OsFileMonitor::createInstance( 1e9, 0 );
    OsFileMonitor& monitor = *OsFileMonitor::getInstance();
    watch( monitor, files, handler );
    monitor.iterateAsap( true );
    const double begin = processorSeconds();
    for( auto _ : state ) {
        monitor.iterateAsap( true );
    }
    setCounters( state, processorSeconds() - begin );
    restart();
}

void passStatx( benchmark::State& state ) {
    constexpr unsigned int FIELDS =
        STATX_TYPE | STATX_UID | STATX_SIZE | STATX_MTIME | STATX_CTIME | STATX_BTIME;
    const Files& files = getFiles( state );
    struct statx status;
    const double begin = processorSeconds();
    for( auto _ : state ) {
        for( std::size_t i = 0; i < files.directories().size(); ++i ) {
            const int folder = ::open( files.directories()[i].c_str(), O_PATH | O_DIRECTORY );
            for( const std::string& name : files.names()[i] ) {
                ::statx( folder, name.c_str(), AT_NO_AUTOMOUNT, FIELDS, &status );
                benchmark::DoNotOptimize( status );
            }
            ::close( folder );
        }
    }
    setCounters( state, processorSeconds() - begin );
}

// As many files as a pass needs to be under way for longer than the others take to be added.
void addOs( benchmark::State& state ) {
    const Files& files = getFiles( state );
    const std::string folder = files.directories()[0].string() + "/other.";
    EvQueueEventManager events;
    Ignoring handler;
    OsFileMonitor::createInstance( 1e9, 0 );
    OsFileMonitor& monitor = *OsFileMonitor::getInstance();
    watch( monitor, files, handler );
    monitor.iterateAsap( true );
    std::size_t number = 0;
    for( auto _ : state ) {
        state.PauseTiming();
        std::vector<OsFilePath> paths;
        for( int i = 0; i < 1000; ++i ) {
            paths.emplace_back( folder + std::to_string( ++number ) );
        }
        monitor.iterateAsap( false );
        while( monitor.getSnapshot().nbFiles < number - 1000 ) {}
        state.ResumeTiming();
        for( const OsFilePath& path : paths ) {
            monitor.addWatch( path, &handler );
        }
    }
    state.SetItemsProcessed( state.iterations() * 1000 );
    state.counters["each"] =
        benchmark::Counter( static_cast<double>( state.iterations() ) * 1000.0,
                            benchmark::Counter::kIsRate | benchmark::Counter::kInvert );
    restart();
}

BENCHMARK( passOs )
    ->Name( "pass/OsFileMonitor" )
    ->RangeMultiplier( 10 )
    ->Range( 100, 1'000'000 )
    ->UseRealTime()
    ->Unit( benchmark::kMicrosecond );
BENCHMARK( passStatx )
    ->Name( "pass/statx" )
    ->RangeMultiplier( 10 )
    ->Range( 100, 1'000'000 )
    ->UseRealTime()
    ->Unit( benchmark::kMicrosecond );
BENCHMARK( addOs )
    ->Name( "addWatchDuringAPass/OsFileMonitor" )
    ->Arg( 10'000 )
    ->UseRealTime()
    ->Unit( benchmark::kMicrosecond );

} // namespace

int main( int argc, char** argv ) {
    const InInitGuard packages( argc, argv );
    benchmark::Initialize( &argc, argv );
    benchmark::RunSpecifiedBenchmarks();
    return 0;
}
