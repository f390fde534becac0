#include <resmgt/fileLocks/osFileLock.h>

#include <base/callbacks/cbMethod.h>
#include <base/init/inBuildInfoMgr.h>
#include <base/init/inSingletonEx.h>
#include <resmgt/fileLocks/test/lockTests.h>
#include <resmgt/osal/osUtils.h>
#include <resmgt/osal/osWorkingDirectory.h>
#include <resmgt/threadExtensions/mtAlarmManager.h>
#include <resmgt/threads/mtLogger.h>
#include <resmgt/threads/mtThreadMgr.h>
#include <resmgt/threads/priority.h>
#include <tests/support/failingNew.h>
#include <tests/support/fakeBuildInfo.h>
#include <tests/support/holdPoint.h>
#include <tests/support/loggedLines.h>
#include <tests/support/testThread.h>

#include <limits>
#include <optional>

extern "C" {
int __real_clock_gettime( clockid_t clock, struct timespec* time );
int __wrap_clock_gettime( clockid_t clock, struct timespec* time );
}

int __wrap_clock_gettime( clockid_t clock, struct timespec* time ) {
    const int result = __real_clock_gettime( clock, time );
    time->tv_sec += clock == CLOCK_BOOTTIME   ? Qv::lockClockShift.load()
                    : clock == CLOCK_REALTIME ? Qv::calendarShift.load()
                                              : 0;
    return result;
}

namespace Qv {
namespace {

using ::testing::IsEmpty;
using ::testing::StartsWith;

const std::string NO_FILE = "OsFile::remove";

TEST( OsFileLockTest, LockFileHasThePathsNameAndOddPathsAreRefused ) {
    const std::pair<const char*, const char*> paths[] = {
        { "dir/a.tif", "dir/.a.tif.omlock" },
        { "a", "./.a.omlock" },
        { "/a", "/.a.omlock" },
        { ".a", "./..a.omlock" },
        { "dir/a*?", "dir/.a*?.omlock" },
        { "//server/share/a", "//server/share/.a.omlock" } };
    for( const auto& [path, expected] : paths ) {
        EXPECT_EQ( OsFileLock::getLockPath( path ), OsFilePath( expected ) ) << path;
    }
    EXPECT_NE( raisedBy<OsFileEx::ExNullFilePath>( [] { OsFileLock::getLockPath( "" ); } ), "" );
    for( const char* const path : { "/", ".", "..", "../..", "C:/", "//server/share/" } ) {
        EXPECT_NE(
            raisedBy<OsFileEx::ExIllegalPathConcat>( [&] { OsFileLock::getLockPath( path ); } ),
            "" )
            << path;
    }
    // Also where the path could be made absolute first.
    for( const char* const path : { "", ".", "..", "a/.." } ) {
        EXPECT_NE( raisedBy( [&] { OsFileLock::isLocked( path ); } ), "" ) << path;
        EXPECT_NE( raisedBy( [&] { OPtr<OsFileLock>( OsFileLock::lock( path ) ); } ), "" ) << path;
    }
    EXPECT_EQ( OsFileLock::getLockFileExtension(), "omlock" );
}

TEST( OsFileLockTest, OneHasTheLockUntilItGoesAndThenNothingIsLeft ) {
    const LockFiles files;
    EXPECT_FALSE( files.isLocked() );
    OPtr<OsFileLock> lock = files.lock();
    ASSERT_FALSE( lock.isNull() );
    EXPECT_TRUE( lock->isHeld() );
    EXPECT_TRUE( lock->verify() );
    EXPECT_TRUE( files.isLocked() );
    EXPECT_TRUE( files.lock().isNull() );
    EXPECT_EQ( lock->getLockFilePath(), files.path( LockFiles::LOCK ) );
    EXPECT_THAT( files.names(), ElementsAre( LockFiles::LOCK ) );
    lock.reset();
    EXPECT_THAT( files.names(), IsEmpty() );
    EXPECT_FALSE( files.isLocked() );
    lock = files.lock();
    lock->release();
    EXPECT_FALSE( lock->isHeld() );
    EXPECT_FALSE( lock->verify() );
    lock->release();
    EXPECT_THAT( files.names(), IsEmpty() );
}

TEST( OsFileLockTest, LockFileDescribesItsHolderInOneEmptyElement ) {
    const LockFiles files;
    const std::string holder = "\" host=\"" + OsUtils::getHostName() + "\" user=\"" +
                               OsUtils::getUserName( true ) + "\"/>";
    {
        const OPtr<OsFileLock> lock = files.lock();
        EXPECT_EQ( files.read( LockFiles::LOCK ), "<OmLock build=\"\" process=\"" + holder );
    }
    InBuildInfoMgr::registerAppInfo( OPtr<InBuildInfo>( new FakeBuildInfo( "lib" ) ) );
    const OPtr<OsFileLock> lock = files.lock();
    EXPECT_EQ( files.read( LockFiles::LOCK ),
               "<OmLock build=\"" + InBuildInfoMgr::getAppInfo().getBuildInformationString() +
                   "\" process=\"Painter" + holder );
}

TEST( OsFileLockTest, OnlyALockOfTheMaximumLifeIsDead ) {
    const struct {
        std::int64_t age;
        bool isAlive;
    } cases[] = {
        { 44, true }, { 45, false }, { 1000000, false }, { -100, true }, { -1L << 33, true } };
    for( const auto& [age, isAlive] : cases ) {
        for( const bool isAsked : { false, true } ) {
            const LockFiles files( ".f.omlock=theirs" );
            files.age( age );
            if( isAsked ) {
                EXPECT_EQ( files.isLocked(), isAlive ) << age;
            } else {
                const OPtr<OsFileLock> lock = files.lock();
                EXPECT_EQ( lock.isNull(), isAlive ) << age;
                EXPECT_TRUE( isAlive || lock->verify() );
                EXPECT_EQ( files.read( LockFiles::LOCK ) == "theirs", isAlive );
            }
            EXPECT_EQ( files.has( LockFiles::LOCK ), isAlive );
        }
    }
}

/// Remembers all times for too long, unless it is forced to ask.
class ForgetfulVolume : public OtherVolume {
public:
    int statx( int folder, const char* path, int flags, unsigned int mask,
               struct statx& facts ) override {
        const int result = OtherVolume::statx( folder, path, flags, mask, facts );
        facts.stx_mtime.tv_sec -= ( flags & AT_STATX_FORCE_SYNC ) != 0 ? 0 : 1000;
        return result;
    }
};

TEST( OsFileLockTest, AgeIsAskedOfTheServerBothOfTheLockAndOfTheClock ) {
    const ForgetfulVolume volume;
    for( const bool isAlive : { true, false } ) {
        const LockFiles files( ".f.omlock=theirs" );
        files.age( isAlive ? 30 : 60 );
        EXPECT_EQ( files.isLocked(), isAlive );
    }
}

TEST( OsFileLockTest, WhatIsNoRegularFileIsLeftAloneAndNoLinkIsFollowed ) {
    for( const char* const entry :
         { ".f.omlock/", ".f.omlock|", ".f.omlock>nowhere", ".f.omlock>other", ".f.omlock>." } ) {
        const LockFiles files( "other=text " + std::string( entry ) );
        const struct stat before = files.facts();
        files.age( 1000 );
        EXPECT_TRUE( files.lock().isNull() ) << entry;
        EXPECT_TRUE( files.isLocked() ) << entry;
        EXPECT_EQ( files.facts().st_ino, before.st_ino ) << entry;
        EXPECT_THAT( files.names(), ElementsAre( LockFiles::LOCK, "other" ) ) << entry;
        EXPECT_EQ( files.read( "other" ), "text" );
    }
}

TEST( OsFileLockTest, PlacesWithoutALockFileAreNotLockedAndNamesMayBeAsLongAsTheVolumeGrants ) {
    const LockFiles files( "file dir/" );
    EXPECT_FALSE( OsFileLock::isLocked( files.path( "missing/f" ) ) );
    EXPECT_TRUE( OPtr<OsFileLock>( OsFileLock::lock( files.path( "missing/f" ) ) ).isNull() );
    EXPECT_TRUE( OPtr<OsFileLock>( OsFileLock::lock( files.path( "file/f" ) ) ).isNull() );
    EXPECT_TRUE( OPtr<OsFileLock>( OsFileLock::lock( "C:/f" ) ).isNull() );
    EXPECT_TRUE( OPtr<OsFileLock>( OsFileLock::lock( std::string( "/tmp/f\0g", 8 ) ) ).isNull() );
    for( const std::size_t length : { 1u, 247u, 248u } ) {
        const OsFilePath path = files.path( "dir/" + std::string( length, 'n' ) );
        const OPtr<OsFileLock> lock = OsFileLock::lock( path );
        EXPECT_EQ( lock.isNull(), length > 247 ) << length;
        EXPECT_EQ( OsFileLock::isLocked( path ), length <= 247 );
    }
}

TEST( OsFileLockTest, RelativePathMeansThePlaceOfTheMomentItWasLocked ) {
    const LockFiles files( "dir/" );
    OPtr<OsFileLock> lock;
    const OsFilePath before = OsWorkingDirectory::get();
    OsWorkingDirectory::set( files.path() );
    lock = OsFileLock::lock( "f" );
    OsWorkingDirectory::set( before );
    fs::remove( files.at( LockFiles::LOCK ) );
    refreshAll();
    EXPECT_TRUE( files.has( LockFiles::LOCK ) );
    lock.reset();
    EXPECT_THAT( files.names(), ElementsAre( "dir" ) );
}

TEST( OsFileLockTest, RefreshMovesTheTimeOnInPlaceAndMakesALostFileAnew ) {
    const LockFiles files( "dir/" );
    const OPtr<OsFileLock> lock = files.lock();
    const std::string text = files.read( LockFiles::LOCK );
    const ino_t number = files.facts().st_ino;
    files.age( 30 );
    {
        // Whoever reads meanwhile finds the text: it isn't cut off first.
        const CallHook hook( "pwrite", [&]( const SystemCall& ) {
            EXPECT_EQ( files.read( LockFiles::LOCK ), text );
            return 0;
        } );
        refreshAll();
        EXPECT_EQ( hook.nbCalls(), 1 );
    }
    EXPECT_LT( files.getAge(), 15.0 );
    EXPECT_EQ( files.facts().st_ino, number );
    EXPECT_EQ( files.read( LockFiles::LOCK ), text );

    fs::remove( files.at( LockFiles::LOCK ) );
    EXPECT_FALSE( lock->verify() );
    EXPECT_FALSE( lock->isHeld() );
    OsFileLockManager::getInstance().getRefreshHandler().callNoArg();
    EXPECT_EQ( files.read( LockFiles::LOCK ), text );
    waitUntil( [&] { return lock->verify(); }, "the lock that was made anew" );
}

TEST( OsFileLockTest, HolderThatWasLateHoldsAgainOnlyHalfASecondLaterAndIfThePathIsItsOwn ) {
    const LockFiles files;
    const OPtr<OsFileLock> lock = files.lock();
    {
        const LateBy late( 35 );
        EXPECT_TRUE( lock->isHeld() );
    }
    const LateBy late( 36 );
    EXPECT_FALSE( lock->isHeld() );
    EXPECT_FALSE( lock->verify() );
    const std::int64_t before = getLockClock();
    refreshAll();
    EXPECT_FALSE( lock->isHeld() );
    waitUntil( [&] { return lock->isHeld(); }, "the confirmation" );
    EXPECT_GE( getLockClock() - before, 500000000 );

    // Taken meanwhile, before the refresh and behind it.
    const LateBy later( 36 );
    fs::rename( files.at( LockFiles::LOCK ), files.at( "aside" ) );
    files.write( LockFiles::LOCK, "theirs" );
    refreshAll();
    EXPECT_FALSE( lock->verify() );
    EXPECT_EQ( files.read( LockFiles::LOCK ), "theirs" );
    // Should its own come back, it is nobody's.
    EXPECT_EQ( files.facts( "aside" ).st_mtime, 0 );
    fs::remove( files.at( LockFiles::LOCK ) );
    refreshAll();
    const std::int64_t made = getLockClock();
    fs::rename( files.at( LockFiles::LOCK ), files.at( "aside" ) );
    files.write( LockFiles::LOCK, "theirs" );
    waitUntil( [&] { return getLockClock() > made + 1000000000; }, "the confirmation's time" );
    EXPECT_FALSE( lock->isHeld() );
    EXPECT_THAT( raisedBy<OsFileEx::ExInvalidPath>( [&] { lock->release(); } ),
                 StartsWith( NO_FILE ) );
    EXPECT_EQ( files.read( LockFiles::LOCK ), "theirs" );
    EXPECT_THAT( files.names(), ElementsAre( LockFiles::LOCK, "aside" ) );
}

TEST( OsFileLockTest, HolderThatIsStoppedInItsRefreshUntilOthersHaveTakenOverDoesntHold ) {
    // In the writing, and in the making anew of a file that was gone.
    for( const char* const call : { "pwrite", "open" } ) {
        const LockFiles files;
        const OPtr<OsFileLock> lock = files.lock();
        const LateBy old( 30 );
        if( std::string( call ) == "open" ) {
            fs::remove( files.at( LockFiles::LOCK ) );
        }
        std::optional<LateBy> stop;
        const CallHook hook( call, [&]( const SystemCall& ) {
            if( !stop ) {
                stop.emplace( 20 );
            }
            return 0;
        } );
        EXPECT_TRUE( lock->isHeld() );
        refreshAll();
        EXPECT_TRUE( stop );
        EXPECT_FALSE( lock->isHeld() ) << call;
        waitUntil( [&] { return lock->isHeld(); }, "the confirmation" );
    }
}

TEST( OsFileLockTest, ConfirmationIsntPutOffByRefreshesThatComeAgainAndAgain ) {
    const LockFiles files;
    const OPtr<OsFileLock> lock = files.lock();
    const LateBy late( 36 );
    waitUntil(
        [&] {
            refreshAll();
            return lock->isHeld();
        },
        "the confirmation among refreshes" );
}

TEST( OsFileLockTest, NobodyIsAskedWhileALivingFileLiesAside ) {
    const LockFiles files( ".f.omlock=dead" );
    files.age( 45 );
    const CallHook move( "rename", [&]( const SystemCall& call ) {
        if( call.number == 1 ) {
            files.write( LockFiles::LOCK, "alive" );
        }
        return 0;
    } );
    const CallHook scratch( "open", [&]( const SystemCall& ) {
        EXPECT_TRUE( files.has( LockFiles::LOCK ) );
        return 0;
    } );
    const CallHook scratchAt( "openat", [&]( const SystemCall& ) {
        EXPECT_TRUE( files.has( LockFiles::LOCK ) );
        return 0;
    } );
    EXPECT_TRUE( files.isLocked() );
    EXPECT_EQ( files.read( LockFiles::LOCK ), "alive" );
}

TEST( OsFileLockTest, DeadHoldersThatOthersTookOverFromAreTakenOverInTheirTurn ) {
    const LockFiles files;
    const OPtr<OsFileLock> lock = files.lock();
    fs::remove( files.at( LockFiles::LOCK ) );
    files.write( LockFiles::LOCK, "theirs" );
    refreshAll();
    EXPECT_FALSE( lock->isHeld() );
    EXPECT_EQ( files.read( LockFiles::LOCK ), "theirs" );
    files.age( 45 );
    refreshAll();
    EXPECT_NE( files.read( LockFiles::LOCK ), "theirs" );
    EXPECT_FALSE( lock->isHeld() );
    waitUntil( [&] { return lock->verify(); }, "the confirmation" );
}

TEST( OsFileLockTest, TakeOverThatComesToNothingLeavesNoFileToWaitFor ) {
    const LockFiles files( ".f.omlock=dead" );
    files.age( 45 );
    TestThread taker( [&] { EXPECT_TRUE( files.lock().isNull() ); } );
    waitUntil( [&] { return files.read( LockFiles::LOCK ).starts_with( "<OmLock" ); },
               "the taker" );
    fs::rename( files.at( LockFiles::LOCK ), files.at( "aside" ) );
    files.write( LockFiles::LOCK, "theirs" );
    taker.join();
    EXPECT_EQ( files.read( LockFiles::LOCK ), "theirs" );
    EXPECT_EQ( files.facts( "aside" ).st_mtime, 0 );
}

/// What a taker finds when it has moved the dead file aside.
TEST( OsFileLockTest, FileThatLivesAfterAllIsPutBackButNeverOverAnother ) {
    for( const bool isTaken : { false, true } ) {
        // Volumes know one of these ways to give a file back its name, or none.
        for( const int nbWays : { 0, 1, 2 } ) {
            const LockFiles files( ".f.omlock=dead" );
            files.age( 45 );
            const CallHook refusal( nullptr, [&]( const SystemCall& call ) {
                const std::string name = call.name;
                return ( name == "renameat2" && nbWays < 2 ) || ( name == "link" && nbWays < 1 )
                           ? EINVAL
                           : 0;
            } );
            const CallHook move( "rename", [&]( const SystemCall& call ) {
                if( call.number == 1 ) {
                    files.write( LockFiles::LOCK, "alive" );
                }
                return 0;
            } );
            const CallHook look( "statx", [&]( const SystemCall& call ) {
                if( isTaken && std::string( call.path ).find( ".omlock-" ) != std::string::npos ) {
                    files.write( LockFiles::LOCK, "third" );
                }
                return 0;
            } );
            EXPECT_TRUE( files.lock().isNull() );
            EXPECT_EQ( files.read( LockFiles::LOCK ), isTaken ? "third" : "alive" ) << nbWays;
            EXPECT_THAT( files.names(), ElementsAre( LockFiles::LOCK ) ) << nbWays;
        }
    }
}

/// A call-back that keeps what it is called with.
class Changes : public CbHandler<const bool> {
public:
    void call( const bool& isHeld ) override {
        const std::lock_guard guard( _mutex );
        _all.push_back( isHeld );
        if( onCall ) {
            onCall();
        }
    }
    std::vector<bool> get() const {
        const std::lock_guard guard( _mutex );
        return _all;
    }
    void await( std::size_t number ) const {
        waitUntil( [&] { return get().size() >= number; }, "a call about a lock" );
    }

    std::function<void()> onCall;

private:
    mutable std::mutex _mutex;
    std::vector<bool> _all;
};

TEST( OsFileLockTest, LossAndRegainAreReportedOnceEach ) {
    const LockFiles files;
    Changes changes;
    OPtr<OsFileLock> lock = files.lock();
    lock->setCallback( &changes );
    refreshAll();
    fs::remove( files.at( LockFiles::LOCK ) );
    files.write( LockFiles::LOCK, "theirs" );
    refreshAll();
    changes.await( 1 );
    refreshAll();
    fs::remove( files.at( LockFiles::LOCK ) );
    refreshAll();
    changes.await( 2 );
    // By time alone, and with a call-back that comes after the loss.
    lock->setCallback( nullptr );
    const LateBy late( 36 );
    lock->setCallback( &changes );
    changes.await( 3 );
    EXPECT_THAT( changes.get(), ElementsAre( false, true, false ) );
    // Also a loss that another call-back has heard of.
    Changes other;
    other.onCall = [&] { lock.reset(); };
    lock->setCallback( &other );
    other.await( 1 );
    waitUntil( [&] { return !files.has( LockFiles::LOCK ); }, "the release in the call" );
    EXPECT_THAT( other.get(), ElementsAre( false ) );
    EXPECT_EQ( changes.get().size(), 3u );
}

TEST( OsFileLockTest, ReportThatCantBeArmedIsMadeUpForByTheNextPass ) {
    const LockFiles files;
    Changes changes;
    const OPtr<OsFileLock> lock = files.lock();
    const LateBy late( 36 );
    {
        const FailingNew none( 0 );
        lock->setCallback( &changes );
    }
    refreshAll();
    changes.await( 2 );
    EXPECT_THAT( changes.get(), ElementsAre( false, true ) );
}

TEST( OsFileLockTest, DirectoryMadeAnewGetsTheLockAndTheFormerFileIsDead ) {
    const LockFiles files( "d/" );
    const OPtr<OsFileLock> lock( OsFileLock::lock( files.path( "d/f" ) ) );
    fs::rename( files.at( "d" ), files.at( "former" ) );
    EXPECT_FALSE( lock->verify() );
    refreshAll();
    EXPECT_FALSE( lock->isHeld() );
    fs::create_directory( files.at( "d" ) );
    refreshAll();
    EXPECT_TRUE( OsFileLock::isLocked( files.path( "d/f" ) ) );
    waitUntil( [&] { return lock->verify(); }, "the lock in the new directory" );
    EXPECT_FALSE( OsFileLock::isLocked( files.path( "former/f" ) ) );
}

TEST( OsFileLockTest, LockIsLostAtItsTimeAlsoWhileNobodyRefreshes ) {
    const LockFiles files;
    Changes changes;
    const std::int64_t before = getLockClock();
    const OPtr<OsFileLock> lock = files.lock();
    const LateBy late( 35 );
    lock->setCallback( &changes );
    changes.await( 1 );
    EXPECT_GE( getLockClock() - before, 36'000'000'000 );
    EXPECT_THAT( changes.get(), ElementsAre( false ) );
}

TEST( OsFileLockTest, ReleaseRaisesAndDestructorsReportWhileTheStackUnwinds ) {
    const LockFiles files;
    OPtr<OsFileLock> lock = files.lock();
    fs::remove( files.at( LockFiles::LOCK ) );
    EXPECT_THAT( raisedBy<OsFileEx::ExInvalidPath>( [&] { lock->release(); } ),
                 StartsWith( NO_FILE ) );
    EXPECT_THAT( raisedBy( [&] { lock->release(); } ), IsEmpty() );
    lock = files.lock();
    fs::remove( files.at( LockFiles::LOCK ) );
    EXPECT_THAT( raisedBy<OsFileEx::ExInvalidPath>( [&] { delete lock.release(); } ),
                 StartsWith( NO_FILE ) );
    EXPECT_EQ( raisedBy( [&] {
                   const std::unique_ptr<OsFileLock> own(
                       OPtr<OsFileLock>( files.lock() ).release() );
                   fs::remove( files.at( LockFiles::LOCK ) );
                   throw std::runtime_error( "first" );
               } ),
               "first" );
}

TEST( OsFileLockTest, WaiterGetsTheLockWhenItIsReleasedOrNothingWhenItsTimeIsOver ) {
    const LockFiles files;
    OPtr<OsFileLock> first = files.lock();
    const auto lockFor = [&]( double seconds ) {
        return OPtr<OsFileLock>( OsFileLock::lock( files.path( "f" ), seconds ) );
    };
    for( const double seconds : { -1.0, 0.0, 0.06 } ) {
        EXPECT_TRUE( lockFor( seconds ).isNull() ) << seconds;
    }
    EXPECT_NE( raisedBy( [&] { lockFor( std::nan( "" ) ); } ), "" );
    TestThread waiter(
        [&] { EXPECT_FALSE( lockFor( std::numeric_limits<double>::infinity() ).isNull() ); } );
    waiter.waitUntilBlocked();
    first.reset();
    waiter.join();
    EXPECT_THAT( files.names(), IsEmpty() );
}

TEST( OsFileLockManagerTest, ComesAndGoesWithItsPackageAndLocksThatOutliveItRemoveTheirOwnFile ) {
    const LockFiles files;
    EXPECT_NE(
        raisedBy<InSingletonEx::ExAlreadyInitialized>( [] { OsFileLockManager::initialize(); } ),
        "" );
    OPtr<OsFileLock> lock = files.lock();
    const int nbThreads = MtThreadMgr::getInstance().getNbThreads();
    OsFileLockManager::finalize();
    EXPECT_EQ( MtThreadMgr::getInstance().getNbThreads(), nbThreads - 1 );
    EXPECT_NE( raisedBy<InSingletonEx::ExAlreadyDestroyed>( [&] { files.lock(); } ), "" );
    EXPECT_NE( raisedBy<InSingletonEx::ExAlreadyDestroyed>( [&] { refreshAll(); } ), "" );
    EXPECT_TRUE( files.isLocked() );
    lock.reset();
    EXPECT_THAT( files.names(), IsEmpty() );
    OsFileLockManager::initialize();
    EXPECT_EQ( MtThreadMgr::getInstance().getNbThreads(), nbThreads );
    EXPECT_FALSE( files.lock().isNull() );
}

TEST( OsFileLockManagerTest, ThreadIsTiedToTheAlarmManagersPriority ) {
    MtThread* const thread = MtThreadMgr::getInstance().findThread( "FileLockThread" );
    ASSERT_NE( thread, nullptr );
    std::ostringstream dump;
    MtAlarmManager::getInstance().getPriority().dump( dump, true );
    EXPECT_THAT( dump.str(), HasSubstr( "\"equalToAlarmManager\"" ) );
    EXPECT_THAT( dump.str(), HasSubstr( "FileLockThread" ) );
}

TEST( OsFileLockManagerTest, OneLocksFailureIsLoggedAndTheOthersAreRefreshed ) {
    const LockFiles files;
    const OPtr<OsFileLock> first( OsFileLock::lock( files.path( "f" ) ) );
    const OPtr<OsFileLock> second( OsFileLock::lock( files.path( "g" ) ) );
    MtLogger::end();
    {
        LoggedLines lines;
        for( const bool isFirst : { false, true } ) {
            files.age( 30 );
            const std::string failing = files.at( isFirst ? ".f.omlock" : ".g.omlock" );
            const CallHook hook( "statx", [&]( const SystemCall& call ) {
                return call.path != nullptr && call.path == failing ? EIO : 0;
            } );
            refreshAll();
            EXPECT_THAT( lines.takeWithLevels(), ElementsAre( HasSubstr( "[FileLocks" ) ) );
            EXPECT_EQ( files.getAge() < 15.0, !isFirst );
        }
        fs::remove( files.at( LockFiles::LOCK ) );
        files.write( LockFiles::LOCK, "theirs" );
        refreshAll();
        EXPECT_THAT( lines.takeWithLevels(),
                     ElementsAre( "Support: [FileLocks      ] Failed to refresh lock " +
                                  files.at( LockFiles::LOCK ).string() + ".  Will retry later." ) );
    }
    MtLogger::start();
    fs::remove( files.at( LockFiles::LOCK ) );
    refreshAll();
}

} // namespace
} // namespace Qv
