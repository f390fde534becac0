#include <resmgt/fileLocks/test/lockTests.h>
#include <tests/support/holdPoint.h>
#include <tests/support/processLimit.h>
#include <tests/support/scopedEnvironment.h>
#include <tests/support/testThread.h>

#include <cstdlib>
#include <optional>

/// What becomes of locks when the system refuses, and in children.

namespace Qv {
namespace {

constexpr int ERRORS[] = { ENOSPC, EDQUOT, EIO, ESTALE, EMFILE, ENOMEM, EACCES };

/// The lock can be had by now. Where the system refuses to mark and to remove it for good, a file
/// stays until it dies by its age.
void expectFree( const LockFiles& files, const FailedRun& run, int error ) {
    if( run.times == FailingCall::ONCE ) {
        EXPECT_FALSE( files.isLocked() )
            << std::strerror( error ) << " of " << run.call << " as call " << run.number;
    }
}

TEST( OsFileLockFaultsTest, LockThatCantBeMadeLeavesNothingToWaitFor ) {
    for( const int error : ERRORS ) {
        OPtr<OsFileLock> lock;
        std::unique_ptr<LockFiles> files;
        forEachFailingCall(
            error,
            [&] {
                files = std::make_unique<LockFiles>();
                raisedBy( [&] { lock = files->lock(); } );
                // The descriptor that it keeps is no leak.
                raisedBy( [&] {
                    if( !lock.isNull() && lock->verify() ) {
                        lock->release();
                    }
                } );
                lock.reset();
            },
            [&]( const FailedRun& run ) { expectFree( *files, run, error ); } );
    }
}

TEST( OsFileLockFaultsTest, NobodysLivingFileIsTouchedWhateverFails ) {
    for( const int error : ERRORS ) {
        const LockFiles files( "other=x" );
        const OPtr<OsFileLock> lost = files.lock();
        fs::remove( files.at( LockFiles::LOCK ) );
        files.write( LockFiles::LOCK, "theirs" );
        const ino_t number = files.facts().st_ino;
        files.age( 20 );
        refreshAll();
        forEachFailingCall(
            error,
            [&] {
                raisedBy( [&] { files.isLocked(); } );
                raisedBy( [&] { EXPECT_TRUE( files.lock().isNull() ); } );
                refreshAll();
                lost->verify();
            },
            [&]( const FailedRun& run ) {
                EXPECT_EQ( files.read( LockFiles::LOCK ), "theirs" ) << run.call;
                EXPECT_EQ( files.facts().st_ino, number ) << run.call;
                EXPECT_GT( files.getAge(), 15.0 );
                EXPECT_TRUE( files.isLocked() );
            } );
        EXPECT_NE( raisedBy( [&] { lost->release(); } ), "" );
        EXPECT_EQ( files.read( LockFiles::LOCK ), "theirs" );
    }
}

TEST( OsFileLockFaultsTest, RefreshThatFailsIsMadeUpForByTheNext ) {
    for( const int error : { ENOSPC, EDQUOT, EIO, EMFILE, ENOMEM, EACCES } ) {
        const LockFiles files;
        const OPtr<OsFileLock> lock = files.lock();
        files.age( 30 );
        forEachFailingCall( error, refreshAll, [&]( const FailedRun& run ) {
            // What only looks has a second way, and a full volume takes the time at least.
            const std::string call = run.call == nullptr ? "none" : run.call;
            const bool isFull = error == ENOSPC || error == EDQUOT;
            if( run.times == FailingCall::ONCE && call != "statx" &&
                ( call != "pwrite" || isFull ) ) {
                EXPECT_LT( files.getAge(), 15.0 ) << call << std::strerror( error );
            }
            EXPECT_TRUE( lock->isHeld() ) << call;
            refreshAll();
            EXPECT_LT( files.getAge(), 15.0 ) << call;
            EXPECT_TRUE( lock->verify() ) << call;
            files.age( 30 );
        } );
    }
}

TEST( OsFileLockFaultsTest, FileThatTheServerHasForgottenIsMadeAnew ) {
    for( const long nth : { 3, 4 } ) {
        const LockFiles files;
        const OPtr<OsFileLock> lock = files.lock();
        {
            // The look at the path asks twice.
            const FailingCall stale( "statx", ESTALE, FailingCall::FOR_GOOD, nth );
            refreshAll();
            EXPECT_FALSE( lock->verify() );
        }
        refreshAll();
        EXPECT_TRUE( files.isLocked() );
        waitUntil( [&] { return lock->verify(); }, "the confirmation" );
    }
}

TEST( OsFileLockFaultsTest, ReleaseThatFailsOnceLeavesNoLockThatLives ) {
    for( const int error : ERRORS ) {
        std::unique_ptr<LockFiles> files;
        std::string raised;
        forEachFailingCall(
            error,
            [&] {
                files = std::make_unique<LockFiles>();
                OPtr<OsFileLock> lock;
                {
                    const CallHook none( nullptr, []( const SystemCall& ) { return 0; } );
                    raisedBy( [&] { lock = files->lock(); } );
                }
                raised = lock.isNull() ? "none" : raisedBy( [&] { lock->release(); } );
            },
            [&]( const FailedRun& run ) {
                expectFree( *files, run, error );
                EXPECT_TRUE( !raised.empty() || !files->has( LockFiles::LOCK ) ) << run.call;
            } );
    }
}

TEST( OsFileLockFaultsTest, DeadFileInAStickyDirectoryStaysAndIsLocked ) {
    const LockFiles files( ".f.omlock=theirs" );
    files.age( 1000 );
    const FailingCall refused( "rename", EPERM, FailingCall::FOR_GOOD );
    EXPECT_TRUE( files.isLocked() );
    EXPECT_TRUE( files.lock().isNull() );
    EXPECT_EQ( files.read( LockFiles::LOCK ), "theirs" );
}

TEST( OsFileLockFaultsTest, FileSizeLimitEndsNoProcessAndCountsAsAFullVolume ) {
    const LockFiles files;
    std::optional<ProcessLimit> none( std::in_place, RLIMIT_FSIZE, 0 );
    const OPtr<OsFileLock> lock = files.lock();
    EXPECT_FALSE( lock.isNull() );
    files.age( 30 );
    refreshAll();
    none.reset();
    EXPECT_EQ( files.read( LockFiles::LOCK ), "" );
    EXPECT_LT( files.getAge(), 15.0 );
    refreshAll();
    EXPECT_NE( files.read( LockFiles::LOCK ), "" );
}

TEST( OsFileLockFaultsTest, ForkedChildHoldsAndReleasesNothingWhateverItsParentWasAt ) {
    const LockFiles files;
    OPtr<OsFileLock> lock = files.lock();
    HoldPoint writing( "the refresh's write" );
    TestThread refresher( [&] {
        const CallHook hook( "pwrite", [&]( const SystemCall& ) {
            writing.pass();
            return 0;
        } );
        refreshAll();
    } );
    writing.waitUntilReached();
    const pid_t child = ::fork();
    if( child == 0 ) {
        ::alarm( 20 );
        const bool isHeld = lock->isHeld() || lock->verify();
        lock->release();
        lock.reset();
        ::_exit( isHeld ? 1 : 0 );
    }
    expectSuccess( child );
    writing.release();
    refresher.join();
    EXPECT_TRUE( lock->verify() );
}

// ---- settings, in processes of their own -------------------------------------------------------

/// Of a process with `QV_TEST_EXPECTED` settings.
TEST( OsFileLockChildTest, DISABLED_HasTheSettingsExpected ) {
    EXPECT_EQ( std::to_string( OsFileLockManager::getRefreshInterval() ) + " " +
                   std::to_string( OsFileLockManager::getMaximumLife() ),
               std::getenv( "QV_TEST_EXPECTED" ) );
}

/// Of a process that refreshes each second.
TEST( OsFileLockChildTest, DISABLED_HasOneChainOfPassesHoweverOftenItIsAskedForOne ) {
    const LockFiles files;
    const OPtr<OsFileLock> lock = files.lock();
    std::atomic<int> nbWrites = 0;
    const CallHook hook(
        "pwrite",
        [&]( const SystemCall& ) {
            ++nbWrites;
            return 0;
        },
        CallHook::PROCESS );
    for( int i = 0; i < 5; ++i ) {
        refreshAll();
    }
    EXPECT_EQ( nbWrites, 5 );
    const std::int64_t start = getLockClock();
    waitUntil( [&] { return nbWrites >= 8; }, "three passes" );
    EXPECT_GE( getLockClock() - start, 2'900'000'000 );
}

TEST( OsFileLockSettingsTest, ComeFromTheEnvironmentAndCountAtLeastOneSecond ) {
    const struct {
        const char* interval;
        const char* life;
        const char* expected;
    } cases[] = {
        { "", "", "15 45" }, { "0", "-3", "1 1" }, { "7", "2147483647", "7 2147483647" } };
    for( const auto& [interval, life, expectedText] : cases ) {
        const ScopedEnvironment intervalText( "QV_TIME_BETWEEN_LOCK_REFRESHES", interval );
        const ScopedEnvironment lifeText( "QV_MAXIMUM_LOCK_LIFE", life );
        const ScopedEnvironment expected( "QV_TEST_EXPECTED", expectedText );
        expectSuccess( startChild( "OsFileLockChildTest.DISABLED_HasTheSettingsExpected" ) );
    }
}

TEST( OsFileLockManagerTest, RefreshesOnRequestStartNoSecondChain ) {
    const ScopedEnvironment interval( "QV_TIME_BETWEEN_LOCK_REFRESHES", "1" );
    expectSuccess( startChild(
        "OsFileLockChildTest.DISABLED_HasOneChainOfPassesHoweverOftenItIsAskedForOne" ) );
}

} // namespace
} // namespace Qv
