#include <resmgt/fileLocks/test/lockTests.h>
#include <tests/support/scopedEnvironment.h>
#include <tests/support/testSettings.h>

#include <sys/syscall.h>

#include <array>
#include <chrono>
#include <iostream>
#include <map>
#include <mutex>
#include <optional>
#include <random>
#include <thread>

/// Eight processes that lock three files, and are stopped and killed. Each is this program again,
/// which runs the disabled test below, with a calendar of its own. What each of them holds stands
/// in a journal on the clock that all of them share.

namespace Qv {
namespace {

constexpr unsigned int NB_PROCESSES = 8;
constexpr unsigned int NB_PATHS = 3;
constexpr std::uint32_t MOST_RUNS = 100000;
constexpr std::uint32_t MOST_FILES = 200000;

/// On the steady clock, in nanoseconds.
std::int64_t now() {
    return std::chrono::steady_clock::now().time_since_epoch().count();
}

/// What all processes see, in a file that they map.
struct Shared {
    /// A span in which a lock was seen to be held again and again.
    struct Run {
        std::atomic<std::uint32_t> path;
        std::atomic<pid_t> process;
        std::atomic<std::int64_t> begin;
        std::atomic<std::int64_t> end;
        /// Made on a volume that has let two make the same file.
        std::atomic<bool> isAccepted;
    };
    /// Who has made a file.
    struct File {
        std::atomic<ino_t> number;
        std::atomic<pid_t> maker;
    };

    std::atomic<bool> mustStop;
    std::atomic<unsigned int> nbFailures;
    /// Who was the last to hold each path.
    std::array<std::atomic<pid_t>, NB_PATHS> holders;
    std::atomic<std::uint32_t> nbRuns;
    std::array<Run, MOST_RUNS> runs;
    std::atomic<std::uint32_t> nbFiles;
    std::array<File, MOST_FILES> files;

    /// 0 if nobody of the processes.
    pid_t findMaker( ino_t number ) const {
        for( std::uint32_t i = std::min( nbFiles.load(), MOST_FILES ); i-- > 0; ) {
            if( files[i].number == number ) {
                return files[i].maker;
            }
        }
        return 0;
    }
};

// ---- the children ------------------------------------------------------------------------------

/// How the volume is: as it is, or one that rounds times and forgets late what it has heard of a
/// file, unless it is forced to ask, and one that knows no exclusive creation.
struct Volume {
    std::int64_t rounding = 0;
    bool isCached = false;
    bool isExclusive = true;
};

/// What a child sees of the files. Takes down who makes which.
class ChildVolume : public OtherVolume {
public:
    ChildVolume( Shared& shared, const Volume& volume )
        : _shared( shared )
        , _volume( volume ) {}

    int open( const char* path, int flags, unsigned int mode ) override {
        const bool isLock = std::string_view( path ).ends_with( ".omlock" );
        if( !isLock || ( flags & O_CREAT ) == 0 ) {
            return OtherVolume::open( path, flags, mode );
        }
        int file = _volume.isExclusive ? -1 : OtherVolume::open( path, flags & ~O_CREAT, mode );
        if( file >= 0 ) {
            isAccepted = true;
            return file;
        }
        file = OtherVolume::open( path, flags, mode );
        struct stat facts {};
        if( file >= 0 && ::syscall( SYS_fstat, file, &facts ) == 0 ) {
            Shared::File& made = _shared.files[_shared.nbFiles++ % MOST_FILES];
            made.maker = ::getpid();
            made.number = facts.st_ino;
        }
        return file;
    }
    int statx( int folder, const char* path, int flags, unsigned int mask,
               struct statx& facts ) override {
        const int result = OtherVolume::statx( folder, path, flags, mask, facts );
        if( result != 0 ) {
            return result;
        }
        if( _volume.rounding > 0 ) {
            facts.stx_mtime.tv_sec -= facts.stx_mtime.tv_sec % _volume.rounding;
            facts.stx_mtime.tv_nsec = 0;
        }
        if( _volume.isCached ) {
            const std::lock_guard guard( _mutex );
            const auto [known, isNew] = _known.emplace( facts.stx_ino, facts );
            if( ( flags & AT_STATX_FORCE_SYNC ) != 0 ) {
                known->second = facts;
            }
            facts = known->second;
        }
        return result;
    }

    /// The lock was made where there was one.
    std::atomic<bool> isAccepted = false;

private:
    Shared& _shared;
    const Volume _volume;
    std::mutex _mutex;
    std::map<std::uint64_t, struct statx> _known;
};

/// One process: locks one of the files, looks at the lock for a while, and releases it.
class Worker {
public:
    Worker( Shared& shared, std::string place, const Volume& volume, int life, std::uint64_t seed )
        : _shared( shared )
        , _place( std::move( place ) )
        , _life( life )
        , _volume( shared, volume )
        , _random( seed ) {}

    void run() {
        const auto check = [this]( const SystemCall& call ) { return checkTouch( call ); };
        const CallHook writes( "pwrite", check, CallHook::PROCESS );
        const CallHook times( "futimens", check, CallHook::PROCESS );
        const CallHook removals( "unlink", check, CallHook::PROCESS );
        while( !_shared.mustStop ) {
            // The calendar may say anything, and change.
            calendarShift = static_cast<std::int64_t>( _random() % 2000000 ) - 1000000;
            const auto path = static_cast<std::uint32_t>( _random() % NB_PATHS );
            const std::string failure = raisedBy( [&] { holdOnce( path ); } );
            // Somebody has taken a lock over that was dead, or is looking at it.
            if( failure.find( "OsFile::remove" ) == std::string::npos && !failure.empty() ) {
                report( failure );
            }
        }
    }

private:
    void holdOnce( std::uint32_t path ) {
        _volume.isAccepted = false;
        const OPtr<OsFileLock> lock(
            OsFileLock::lock( OsFilePath( _place + "/" + std::to_string( path ) ), 0.2 ) );
        if( lock.isNull() ) {
            return;
        }
        // Looks each millisecond, however long it was stopped; some for longer than a lock lives.
        const std::uint64_t most = _random() % 4 == 0 ? 2500 : 500;
        Shared::Run* current = nullptr;
        for( auto nbLooks = _random() % most * static_cast<std::uint64_t>( _life );
             nbLooks > 0 && !_shared.mustStop; --nbLooks ) {
            const std::int64_t before = now();
            const bool isHeld = lock->isHeld();
            const std::int64_t after = now();
            // After a gap in which it could have been lost and regained it is another span.
            if( !isHeld || current == nullptr || before - current->end > 300'000'000 ) {
                current = isHeld ? begin( path, after ) : nullptr;
            } else {
                current->end = before;
            }
            if( current != nullptr ) {
                current->isAccepted = current->isAccepted || _volume.isAccepted;
            }
            std::this_thread::sleep_for( std::chrono::milliseconds( 1 ) );
        }
        lock->release();
    }

    Shared::Run* begin( std::uint32_t path, std::int64_t at ) {
        const std::uint32_t index = _shared.nbRuns++;
        Shared::Run& run = _shared.runs[index % MOST_RUNS];
        run.path = path;
        run.process = ::getpid();
        run.begin = at;
        run.end = at;
        _shared.holders[path] = ::getpid();
        return &run;
    }

    /// No living file of another process is written or removed, but for one whose name a newer
    /// file has.
    int checkTouch( const SystemCall& call ) {
        struct stat facts {};
        const bool isPath = call.path != nullptr;
        const bool isLock =
            !isPath || std::string( call.path ).find( "omlock" ) != std::string::npos;
        const int result = isPath ? ::lstat( call.path, &facts ) : ::fstat( call.handle, &facts );
        const pid_t maker = result == 0 && isLock ? _shared.findMaker( facts.st_ino ) : 0;
        if( maker == 0 || maker == ::getpid() || _volume.isAccepted ) {
            return 0;
        }
        std::timespec time{};
        ::syscall( SYS_clock_gettime, CLOCK_REALTIME_COARSE, &time );
        if( !isPath ||
            ( time.tv_sec - facts.st_mtim.tv_sec < _life - 1 && !isReplaced( facts ) ) ) {
            report( std::string( call.name ) + " of a file of process " + std::to_string( maker ) );
        }
        return 0;
    }
    bool isReplaced( const struct stat& moved ) const {
        bool isThere = false;
        for( std::uint32_t path = 0; path < NB_PATHS; ++path ) {
            struct stat facts {};
            isThere = isThere ||
                      ( ::lstat( ( _place + "/." + std::to_string( path ) + ".omlock" ).c_str(),
                                 &facts ) == 0 &&
                        facts.st_ino != moved.st_ino );
        }
        return isThere;
    }

    void report( const std::string& what ) {
        ++_shared.nbFailures;
        std::fprintf( stderr, "%d: %s\n", ::getpid(), what.c_str() );
    }

    Shared& _shared;
    const std::string _place;
    const int _life;
    ChildVolume _volume;
    std::mt19937_64 _random;
};

int numberOf( const char* name ) {
    return static_cast<int>( std::strtol( std::getenv( name ), nullptr, 10 ) );
}

/// Of a child of the processes below, with the settings and the volume that they give it.
TEST( OsFileLockChildTest, DISABLED_LocksAmongOthers ) {
    const std::string place = std::getenv( "QV_TEST_PLACE" );
    const SharedFile<Shared> shared( place + ".shared" );
    const bool isOdd = numberOf( "QV_TEST_ODD_VOLUME" ) != 0;
    const Volume volume = isOdd ? Volume{ 2, true, false } : Volume{};
    Worker( *shared.operator->(), place, volume, numberOf( "QV_MAXIMUM_LOCK_LIFE" ),
            std::strtoull( std::getenv( "QV_TEST_CHILD_SEED" ), nullptr, 10 ) )
        .run();
}

/// The same, when all others have ended.
TEST( OsFileLockChildTest, DISABLED_GetsAllLocks ) {
    const std::string place = std::getenv( "QV_TEST_PLACE" );
    const int life = numberOf( "QV_MAXIMUM_LOCK_LIFE" );
    for( std::uint32_t path = 0; path < NB_PATHS; ++path ) {
        const OsFilePath file( place + "/" + std::to_string( path ) );
        EXPECT_FALSE( OPtr<OsFileLock>( OsFileLock::lock( file, life + 3.0 ) ).isNull() ) << path;
    }
}

// ---- the parent --------------------------------------------------------------------------------

constexpr std::uint32_t FEWEST_RUNS = 6;

class Processes {
public:
    Processes( int life, bool isOdd )
        : _life( life )
        , _place( _files.at( "locks" ).string() )
        , _shared( _place + ".shared" )
        , _lifeText( "QV_MAXIMUM_LOCK_LIFE", std::to_string( life ).c_str() )
        , _interval( "QV_TIME_BETWEEN_LOCK_REFRESHES", std::to_string( life / 4 ).c_str() )
        , _placeText( "QV_TEST_PLACE", _place.c_str() )
        , _oddText( "QV_TEST_ODD_VOLUME", isOdd ? "1" : "0" )
        , _random( testSeed() ) {
        fs::create_directory( _place );
    }
    ~Processes() {
        for( const Child& child : _children ) {
            ::kill( child.id, SIGKILL );
            ::waitpid( child.id, nullptr, 0 );
        }
    }

    /// Stops, continues and kills them for so long, and until there are some spans; so many of a
    /// hundred steps kill one, and stop one.
    void run( double seconds, std::uint64_t nbKills, std::uint64_t nbStops ) {
        while( _children.size() < NB_PROCESSES ) {
            start();
        }
        const std::int64_t end = now() + static_cast<std::int64_t>( seconds * 1e9 );
        const std::int64_t last = end + 60'000'000'000;
        while( now() < end || ( _shared->nbRuns < FEWEST_RUNS && now() < last ) ) {
            const std::uint64_t choice = _random() % 100;
            if( choice < nbKills ) {
                kill( choose() );
            } else if( choice < nbKills + nbStops ) {
                stop( choose() );
            }
            wake( now() );
            std::this_thread::sleep_for( std::chrono::milliseconds( 50 ) );
        }
    }
    void end() {
        _shared->mustStop = true;
        wake( INT64_MAX );
        for( const Child& child : _children ) {
            expectSuccess( child.id );
        }
        _children.clear();
        EXPECT_EQ( _shared->nbFailures, 0u );
    }

    /// No two processes have held a lock at once. Answers how many spans there were.
    std::uint32_t expectNoTwoHolders() const {
        std::map<std::uint32_t, std::vector<const Shared::Run*>> byPath;
        const std::uint32_t nbRuns = _shared->nbRuns;
        EXPECT_LT( nbRuns, MOST_RUNS );
        unsigned int nbAccepted = 0;
        for( std::uint32_t i = 0; i < nbRuns; ++i ) {
            const Shared::Run& run = _shared->runs[i];
            nbAccepted += run.isAccepted ? 1u : 0u;
            if( !run.isAccepted ) {
                byPath[run.path].push_back( &run );
            }
        }
        EXPECT_LT( nbAccepted, nbRuns / 2 );
        for( auto& [path, runs] : byPath ) {
            std::sort( runs.begin(), runs.end(), []( const auto* left, const auto* right ) {
                return left->begin < right->begin;
            } );
            for( std::size_t i = 1; i < runs.size(); ++i ) {
                EXPECT_TRUE( runs[i - 1]->process == runs[i]->process ||
                             runs[i - 1]->end <= runs[i]->begin )
                    << "processes " << runs[i - 1]->process << " and " << runs[i]->process
                    << " both held path " << path << " for "
                    << ( runs[i - 1]->end - runs[i]->begin ) / 1000 << " us";
            }
        }
        return nbRuns;
    }
    /// Whoever was killed has lost its lock after its life.
    static void expectLocksToBeHad() {
        expectSuccess( startChild( "OsFileLockChildTest.DISABLED_GetsAllLocks" ) );
    }

private:
    struct Child {
        pid_t id;
        std::optional<std::int64_t> wakeTime;
    };

    /// More often one that holds a lock.
    Child& choose() {
        const pid_t holder = _shared->holders[_random() % NB_PATHS];
        for( Child& child : _children ) {
            if( child.id == holder && _random() % 4 != 0 ) {
                return child;
            }
        }
        return _children[_random() % NB_PROCESSES];
    }
    void kill( Child& child ) {
        ::kill( child.id, SIGKILL );
        EXPECT_EQ( ::waitpid( child.id, nullptr, 0 ), child.id );
        std::swap( child, _children.back() );
        _children.pop_back();
        start();
    }
    /// For up to two and a half lives.
    void stop( Child& child ) {
        if( !child.wakeTime ) {
            ::kill( child.id, SIGSTOP );
            child.wakeTime =
                now() + static_cast<std::int64_t>( _random() % 2500 ) * _life * 1000000;
        }
    }
    void start() {
        const ScopedEnvironment seed( "QV_TEST_CHILD_SEED", std::to_string( _random() ).c_str() );
        _children.push_back(
            { startChild( "OsFileLockChildTest.DISABLED_LocksAmongOthers" ), std::nullopt } );
    }
    void wake( std::int64_t time ) {
        for( Child& child : _children ) {
            if( child.wakeTime && *child.wakeTime <= time ) {
                ::kill( child.id, SIGCONT );
                child.wakeTime.reset();
            }
        }
    }

    const int _life;
    const TestFiles _files;
    const std::string _place;
    const SharedFile<Shared> _shared;
    const ScopedEnvironment _lifeText;
    const ScopedEnvironment _interval;
    const ScopedEnvironment _placeText;
    const ScopedEnvironment _oddText;
    std::mt19937_64 _random;
    std::vector<Child> _children;
};

TEST( OsFileLockProcessesTest, NoTwoHoldAndNobodysFileIsTouchedHoweverTheyAreStoppedAndKilled ) {
    Processes processes( 2, false );
    processes.run( static_cast<double>( scaledCount( 15 ) ), 2, 13 );
    processes.end();
    const std::uint32_t nbRuns = processes.expectNoTwoHolders();
    EXPECT_GE( nbRuns, FEWEST_RUNS );
    std::cout << nbRuns << " spans\n";
    Processes::expectLocksToBeHad();
}

TEST( OsFileLockProcessesTest, NorOverAVolumeThatRoundsTimesCachesThemAndMakesNothingExclusively ) {
    Processes processes( 10, true );
    processes.run( static_cast<double>( scaledCount( 30 ) ), 1, 1 );
    processes.end();
    const std::uint32_t nbRuns = processes.expectNoTwoHolders();
    EXPECT_GE( nbRuns, FEWEST_RUNS );
    std::cout << nbRuns << " spans\n";
}

} // namespace
} // namespace Qv
