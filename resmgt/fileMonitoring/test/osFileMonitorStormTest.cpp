#include <resmgt/fileMonitoring/osFileMonitor.h>

#include <resmgt/fileMonitoring/test/testMonitor.h>
#include <tests/support/testSettings.h>
#include <tests/support/testThread.h>

#include <fcntl.h>

#include <atomic>
#include <map>
#include <memory>
#include <optional>
#include <random>
#include <stdexcept>
#include <tuple>

namespace Qv {
namespace {

using Texts = std::vector<std::string>;

/// What counts of a file, asked for past the library. Nothing for no file.
using State = std::optional<std::tuple<std::int64_t, std::int64_t, std::uint64_t, std::uint32_t,
                                       bool, std::int64_t, std::int64_t>>;

State stateOf( const fs::path& path ) {
    struct statx status;
    if( ::statx( AT_FDCWD, path.c_str(), 0, STATX_ALL, &status ) != 0 ) {
        return std::nullopt;
    }
    return State( std::in_place, status.stx_mtime.tv_sec, status.stx_mtime.tv_nsec, status.stx_size,
                  status.stx_uid, S_ISDIR( status.stx_mode ), status.stx_btime.tv_sec,
                  status.stx_btime.tv_nsec );
}

std::string changeOf( const State& before, const State& after ) {
    return before == after ? "" : !before ? "Created " : !after ? "Deleted " : "Changed ";
}

/// Files in three directories, and all that can happen to them.
class Storm {
public:
    explicit Storm( std::mt19937_64& random )
        : _random( random ) {
        for( const char* const directory : { "a", "a/b", "c" } ) {
            for( int i = 0; i < 6; ++i ) {
                _names.push_back( directory + std::string( "/f" ) + std::to_string( i ) );
            }
            _files.write( directory + std::string( "/" ) );
        }
    }

    const TestFiles& files() const { return _files; }
    const Texts& names() const { return _names; }

    void blow() {
        const fs::path path = _files.at( any() );
        const fs::path other = _files.at( any() );
        std::error_code ignored;
        switch( pick( 9 ) ) {
        case 0:
        case 1:
            write( path );
            break;
        case 2:
            fs::remove_all( path, ignored );
            break;
        case 3:
            fs::rename( other, path, ignored );
            break;
        case 4:
            fs::remove_all( path, ignored );
            fs::create_symlink( other, path, ignored );
            break;
        case 5:
            fs::remove_all( path, ignored );
            fs::create_directory( path, ignored );
            break;
        case 6:
            setTime( path );
            break;
        case 7:
            fs::create_hard_link( other, path, ignored );
            break;
        default:
            replaceDirectory( path.parent_path() );
            break;
        }
    }

    std::size_t pick( std::size_t count ) {
        return std::uniform_int_distribution<std::size_t>( 0, count - 1 )( _random );
    }
    const std::string& any() { return _names[pick( _names.size() )]; }

private:
    void write( const fs::path& path ) {
        std::error_code ignored;
        fs::create_directories( path.parent_path(), ignored );
        std::ofstream( path, std::ios::binary ) << std::string( pick( 5 ), '.' );
    }
    void setTime( const fs::path& path ) {
        const timespec times[] = {
            { 0, UTIME_OMIT },
            { static_cast<time_t>( pick( 4 ) ), static_cast<long>( pick( 2 ) ) } };
        ::utimensat( AT_FDCWD, path.c_str(), times, 0 );
    }
    void replaceDirectory( const fs::path& directory ) {
        std::error_code ignored;
        const fs::path aside = _files.at( "aside" );
        if( pick( 2 ) == 0 ) {
            fs::rename( directory, aside, ignored );
            fs::create_directories( directory, ignored );
            if( pick( 2 ) == 0 ) {
                write( directory / "f0" );
            }
        }
        fs::remove_all( pick( 4 ) == 0 ? directory : aside, ignored );
    }

    TestFiles _files;
    Texts _names;
    std::mt19937_64& _random;
};

TEST( OsFileMonitorStormTest, EventsEqualThoseOfAPlainListOfStates ) {
    std::mt19937_64 random( testSeed() );
    Storm storm( random );
    Texts events;
    NotingHandler each;
    NotingHandler settled;
    TestMonitor monitor;
    struct File {
        State last;
        State beforeLast;
        State settled;
    };
    // As ordered as the monitor's files are.
    std::map<OsFilePath, File> files;
    for( const std::string& name : storm.names() ) {
        const OsFilePath path = storm.files().path( name );
        monitor->addWatch( path, &each );
        monitor->addWatch( path, &settled, TestMonitor::SETTLED );
        files[path] = {};
    }
    monitor.pass();
    const long nbPasses = scaledCount( 1500 );
    for( long pass = 0; pass < nbPasses; ++pass ) {
        for( std::size_t i = storm.pick( 5 ); i > 0; --i ) {
            storm.blow();
        }
        Texts expected;
        Texts expectedSettled;
        for( auto& [path, file] : files ) {
            const std::string name = path.getBaseName( OsFilePath::WITH_EXTENSION ).toString();
            const State now = stateOf( path.toString() );
            if( const std::string change = changeOf( file.last, now ); !change.empty() ) {
                expected.push_back( change + name );
            } else if( const std::string late = changeOf( file.settled, now ); !late.empty() ) {
                expectedSettled.push_back( late + name );
                file.settled = now;
            }
            file.last = now;
        }
        monitor.passAndDrain();
        ASSERT_EQ( each.take(), expected ) << "in pass " << pass;
        ASSERT_EQ( settled.take(), expectedSettled ) << "in pass " << pass;
    }
    EXPECT_EQ( monitor->getSnapshot().nbFailures, 0 );
}

/// Whatever happens during passes: no state is reported twice, and the last one is.
TEST( OsFileMonitorStormTest, StormDuringPassesLosesNoLastState ) {
    std::mt19937_64 random( testSeed() );
    Storm storm( random );
    TestMonitor monitor( 0, 0 );
    std::map<std::string, bool> exists;
    struct Follower : CbHandler<const OsFileEvent> {
        explicit Follower( std::map<std::string, bool>& theFiles )
            : files( theFiles ) {}

        void call( const OsFileEvent& event ) override {
            bool& isThere = files[event.getPath().toString()];
            const bool isCreated = dynamic_cast<const OsFileEvent::Created*>( &event ) != nullptr;
            EXPECT_EQ( isThere, !isCreated ) << event.getPath().toString();
            isThere = dynamic_cast<const OsFileEvent::Deleted*>( &event ) == nullptr;
        }

        std::map<std::string, bool>& files;
    } follower( exists );
    for( const std::string& name : storm.names() ) {
        monitor->addWatch( storm.files().path( name ), &follower, TestMonitor::EACH, std::nullopt );
    }
    const long nbGusts = scaledCount( 5000 );
    for( long gust = 0; gust < nbGusts; ++gust ) {
        storm.blow();
        if( storm.pick( 10 ) == 0 ) {
            monitor->iterateAsap( storm.pick( 2 ) == 0 );
            monitor.drain();
        }
    }
    monitor->iterateAsap( true );
    monitor.drain();
    for( const std::string& name : storm.names() ) {
        const OsFilePath path = storm.files().path( name );
        EXPECT_EQ( exists[path.toString()], stateOf( path.toString() ).has_value() ) << name;
    }
}

/// Four threads and the handlers themselves change what is watched, pause and ask, while the main
/// thread delivers.
TEST( OsFileMonitorStormTest, ThreadsAndHandlersMayDoWhateverTheyLikeAtOnce ) {
    constexpr std::size_t NB_HANDLERS = 5;
    const std::uint64_t seed = testSeed();
    std::mt19937_64 mainRandom( seed );
    Storm storm( mainRandom );
    TestMonitor monitor( 0, 0 );

    /// Of one thread: after a removal it isn't called, whatever the main thread does.
    struct Guarded : CbHandler<const OsFileEvent> {
        void call( const OsFileEvent& event ) override {
            EXPECT_TRUE( isAllowed );
            ++nbCalls;
            if( action ) {
                action( event );
            }
        }

        std::atomic<bool> isAllowed = false;
        std::atomic<long> nbCalls = 0;
        std::function<void( const OsFileEvent& )> action;
    };
    const auto work = [&]( std::uint64_t number ) {
        std::mt19937_64 random( seed + number );
        const auto pick = [&]( std::size_t count ) { return random() % count; };
        const auto pathOf = [&] { return storm.files().path( storm.names()[pick( 18 )] ); };
        std::vector<Guarded> handlers( NB_HANDLERS );
        std::vector<OsFilePath> paths( NB_HANDLERS );
        const long nbRounds = scaledCount( 2000 );
        for( long round = 0; round < nbRounds; ++round ) {
            const std::size_t i = pick( NB_HANDLERS );
            switch( pick( 12 ) ) {
            case 0:
                monitor->pause();
                monitor->iterateAsap( pick( 2 ) == 0 );
                monitor->getMonitoredFiles();
                monitor->resume();
                break;
            case 1:
                monitor->iterateAsap( pick( 2 ) == 0 );
                break;
            case 2:
                monitor->getMonitoredFiles();
                break;
            case 3:
                monitor->ignorePendingEvents( pathOf() );
                break;
            case 4:
                monitor->getSnapshot();
                break;
            default:
                if( !paths[i].isEmpty() ) {
                    monitor->removeWatch( paths[i], &handlers[i] );
                    handlers[i].isAllowed = false;
                    paths[i] = {};
                } else {
                    handlers[i].isAllowed = true;
                    paths[i] = pathOf();
                    monitor->addWatch( paths[i], &handlers[i],
                                       pick( 2 ) == 0 ? TestMonitor::EACH : TestMonitor::SETTLED,
                                       std::nullopt );
                }
                break;
            }
        }
        for( std::size_t i = 0; i < NB_HANDLERS; ++i ) {
            if( !paths[i].isEmpty() ) {
                monitor->removeWatch( paths[i], &handlers[i] );
            }
        }
    };
    TestThreads threads( 4, [&]( std::uint64_t number ) { work( number + 1 ); } );

    Guarded wild;
    wild.isAllowed = true;
    auto victim = std::make_unique<NotingHandler>();
    wild.action = [&]( const OsFileEvent& event ) {
        switch( storm.pick( 6 ) ) {
        case 0:
            monitor->removeWatch( event.getPath(), &wild );
            break;
        case 1:
            monitor->pause();
            monitor->iterateAsap( true );
            monitor->resume();
            break;
        case 2:
            throw std::runtime_error( "wild" );
        case 3:
            victim = std::make_unique<NotingHandler>();
            monitor->addWatch( event.getPath(), victim.get() );
            break;
        case 4:
            monitor.drain();
            break;
        default:
            monitor->ignorePendingEvents( event.getPath() );
            break;
        }
    };
    for( long round = 0; !threads.areDone() || wild.nbCalls == 0; ++round ) {
        storm.blow();
        if( round % 20 == 0 ) {
            monitor->addWatch( storm.files().path( storm.any() ), &wild );
        }
        static_cast<void>( raisedBy<std::runtime_error>( [&] { monitor.drain(); } ) );
    }
    threads.join();
    monitor->removeAllWatches();
    monitor->iterateAsap( true );
    EXPECT_THAT( *monitor->getMonitoredFiles(), ::testing::IsEmpty() );
    EXPECT_EQ( monitor->getSnapshot().nbFailures, 0 );
}

} // namespace
} // namespace Qv
