#include <base/init/inInitGuard.h>
#include <resmgt/fileLocks/osFileLock.h>
#include <resmgt/fileLocks/osFileLockManager.h>
#include <resmgt/threadExtensions/mtAlarmHandle.h>
#include <resmgt/threadExtensions/mtAlarmManager.h>

#include <benchmark/benchmark.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <filesystem>
#include <random>
#include <string>
#include <thread>
#include <vector>

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/statfs.h>
#include <unistd.h>

#if defined( QV_PEER_BOOST_ASIO )
#    include <boost/asio/io_context.hpp>
#    include <boost/asio/steady_timer.hpp>
#endif

/// File locks beside the calls of the system that they make, by hand; alarms beside boost.asio's
/// timers, whose context is run by a thread of its own, as ours is. The counters `overMedian` and
/// `over90` are by how much an alarm is late, in seconds, at the median and at nine of ten.

namespace {

using namespace Qv;
using Clock = std::chrono::steady_clock;

constexpr std::size_t NB_ALARMS = 10000;
constexpr int NB_LOCKS = 1000;
constexpr double DELAY = 0.002;

// ---- alarms ------------------------------------------------------------------------------------

struct Nothing : MtAlarmHandle::Callback {
    void alarmFired( const MtAlarmHandle& ) override {}
};

/// Seconds from a quarter of an hour to an hour: none fires.
std::vector<double> makeDurations() {
    std::mt19937 random( 1 );
    std::vector<double> durations( NB_ALARMS );
    std::generate( durations.begin(), durations.end(),
                   [&] { return 900.0 + static_cast<double>( random() % 2700000 ) * 1e-3; } );
    return durations;
}

void armAndCancel( benchmark::State& state ) {
    MtAlarmManager& manager = MtAlarmManager::getInstance();
    Nothing nothing;
    std::vector<MtAlarmHandle> alarms;
    for( const double duration : makeDurations() ) {
        alarms.emplace_back( "alarm" );
        alarms.back().setDuration( duration );
        alarms.back().setCallback( &nothing );
        manager.registerAlarm( alarms.back() );
    }
    MtAlarmHandle one( "one" );
    one.setCallback( &nothing );
    one.setDuration( 2000.0 );
    for( auto _ : state ) {
        manager.registerAlarm( one );
        manager.cancelAlarm( one );
    }
    for( const MtAlarmHandle& alarm : alarms ) {
        manager.cancelAlarm( alarm );
    }
}
BENCHMARK( armAndCancel )->Name( "armAndCancelAmong10000/ours" );

/// The lateness of calls, of which `arm( duration, called )` makes one.
template <class Arm>
void measureDelay( benchmark::State& state, Arm arm ) {
    std::vector<double> delays;
    for( auto _ : state ) {
        std::atomic<double> seconds = -1.0;
        const auto start = Clock::now();
        arm( [&] { seconds = std::chrono::duration<double>( Clock::now() - start ).count(); } );
        while( seconds < 0.0 ) {
            std::this_thread::sleep_for( std::chrono::microseconds( 200 ) );
        }
        delays.push_back( seconds - DELAY );
    }
    std::sort( delays.begin(), delays.end() );
    state.counters["overMedian"] = delays[delays.size() / 2];
    state.counters["over90"] = delays[delays.size() * 9 / 10];
}

void delayOfOne( benchmark::State& state ) {
    struct Caller : MtAlarmHandle::Callback {
        void alarmFired( const MtAlarmHandle& ) override { called(); }
        std::function<void()> called;
    } caller;
    MtAlarmHandle alarm( "one" );
    alarm.setCallback( &caller );
    alarm.setDuration( DELAY );
    measureDelay( state, [&]( const std::function<void()>& called ) {
        caller.called = called;
        MtAlarmManager::getInstance().registerAlarm( alarm );
    } );
    MtAlarmManager::getInstance().cancelAlarm( alarm );
}
BENCHMARK( delayOfOne )->Name( "delayOf2ms/ours" )->Iterations( 300 );

#if defined( QV_PEER_BOOST_ASIO )

class AsioThread {
public:
    AsioThread()
        : _thread( [this] { context.run(); } ) {}
    ~AsioThread() {
        _work.reset();
        context.stop();
        _thread.join();
    }
    AsioThread( const AsioThread& ) = delete;
    AsioThread& operator=( const AsioThread& ) = delete;

    boost::asio::io_context context;

private:
    boost::asio::executor_work_guard<boost::asio::io_context::executor_type> _work =
        boost::asio::make_work_guard( context );
    std::thread _thread;
};

std::chrono::nanoseconds toDuration( double seconds ) {
    return std::chrono::nanoseconds( static_cast<std::int64_t>( seconds * 1e9 ) );
}

void armAndCancelAsio( benchmark::State& state ) {
    AsioThread thread;
    std::vector<boost::asio::steady_timer> timers;
    for( const double duration : makeDurations() ) {
        timers.emplace_back( thread.context, toDuration( duration ) );
        timers.back().async_wait( []( const boost::system::error_code& ) {} );
    }
    boost::asio::steady_timer one( thread.context );
    for( auto _ : state ) {
        one.expires_after( toDuration( 2000.0 ) );
        one.async_wait( []( const boost::system::error_code& ) {} );
        one.cancel();
    }
}
BENCHMARK( armAndCancelAsio )->Name( "armAndCancelAmong10000/boost_asio" );

void delayOfOneAsio( benchmark::State& state ) {
    AsioThread thread;
    boost::asio::steady_timer timer( thread.context );
    measureDelay( state, [&]( const std::function<void()>& called ) {
        timer.expires_after( toDuration( DELAY ) );
        timer.async_wait( [called]( const boost::system::error_code& ) { called(); } );
    } );
}
BENCHMARK( delayOfOneAsio )->Name( "delayOf2ms/boost_asio" )->Iterations( 300 );

#endif

// ---- locks -------------------------------------------------------------------------------------

class Folder {
public:
    Folder() { std::filesystem::create_directories( _path ); }
    ~Folder() { std::filesystem::remove_all( _path ); }
    Folder( const Folder& ) = delete;
    Folder& operator=( const Folder& ) = delete;

    std::string at( const std::string& name ) const { return _path + "/" + name; }

private:
    const std::string _path = std::filesystem::temp_directory_path().string() +
                              "/bench_fileLocks-" + std::to_string( ::getpid() );
};

const std::string TEXT( 200, 'x' );

/// The calls by hand.
struct ByHand {
    static bool ask( int file, const char* path ) {
        struct statx facts {};
        return ::statx( file, path, AT_STATX_FORCE_SYNC | AT_SYMLINK_NOFOLLOW | AT_EMPTY_PATH,
                        STATX_BASIC_STATS, &facts ) == 0;
    }
    static void look( const char* path ) {
        ask( AT_FDCWD, path );
        const int file = ::open( path, O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC );
        ask( file, "" );
        ::close( file );
    }
    static int make( const char* path ) {
        ask( AT_FDCWD, path );
        const int file = ::open( path, O_RDWR | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0644 );
        ask( file, "" );
        struct statfs volume {};
        ::fstatfs( file, &volume );
        write( file );
        return file;
    }
    static void write( int file ) {
        benchmark::DoNotOptimize( ::pwrite( file, TEXT.data(), TEXT.size(), 0 ) );
    }
    static void refresh( int file, const char* path ) {
        look( path );
        ask( file, "" );
        write( file );
    }
    static void remove( int file, const char* path, const char* aside ) {
        look( path );
        ask( file, "" );
        ::rename( path, aside );
        ask( AT_FDCWD, aside );
        ::unlink( aside );
        ::close( file );
    }
};

void lockAndRelease( benchmark::State& state ) {
    const Folder folder;
    const OsFilePath path( folder.at( "f" ) );
    for( auto _ : state ) {
        OPtr<OsFileLock>( OsFileLock::lock( path ) ).reset();
    }
}
BENCHMARK( lockAndRelease )->Name( "lockAndRelease/ours" );

void lockAndReleaseByHand( benchmark::State& state ) {
    const Folder folder;
    const std::string path = folder.at( ".f.omlock" );
    const std::string aside = folder.at( ".omlock-a0f51d3c-7f6f-4b14-8f6c-0d3f5f0f9f4e" );
    for( auto _ : state ) {
        ByHand::remove( ByHand::make( path.c_str() ), path.c_str(), aside.c_str() );
    }
}
BENCHMARK( lockAndReleaseByHand )->Name( "lockAndRelease/byHand" );

void refreshThousand( benchmark::State& state ) {
    const Folder folder;
    std::vector<OPtr<OsFileLock>> locks;
    for( int i = 0; i < NB_LOCKS; ++i ) {
        locks.emplace_back( OsFileLock::lock( folder.at( std::to_string( i ) ) ) );
    }
    for( auto _ : state ) {
        OsFileLockManager::getInstance().refreshAll();
    }
}
BENCHMARK( refreshThousand )->Name( "refresh1000/ours" )->Unit( benchmark::kMillisecond );

void refreshThousandByHand( benchmark::State& state ) {
    const Folder folder;
    std::vector<std::pair<int, std::string>> files;
    for( int i = 0; i < NB_LOCKS; ++i ) {
        const std::string path = folder.at( "." + std::to_string( i ) + ".omlock" );
        files.emplace_back( ByHand::make( path.c_str() ), path );
    }
    for( auto _ : state ) {
        for( const auto& [file, path] : files ) {
            ByHand::refresh( file, path.c_str() );
        }
    }
    for( const auto& [file, path] : files ) {
        ::close( file );
    }
}
BENCHMARK( refreshThousandByHand )->Name( "refresh1000/byHand" )->Unit( benchmark::kMillisecond );

} // namespace

int main( int argc, char** argv ) {
    const Qv::InInitGuard packages( argc, argv );
    benchmark::Initialize( &argc, argv );
    benchmark::RunSpecifiedBenchmarks();
    return 0;
}
