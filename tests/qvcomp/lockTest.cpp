#include <tests/qvcomp/testCommand.h>

#include <resmgt/fileLocks/osFileLock.h>
#include <resmgt/osal/test/failingCalls.h>
#include <tests/support/testThread.h>

#include <gmock/gmock.h>

#include <fstream>

namespace Qv::Comp {
namespace {

namespace fs = std::filesystem;
using ::testing::HasSubstr;

class QvcompLockTest : public QvcompTest {
protected:
    fs::path getLockFile() const { return _outputs.path() / ".out.exr.omlock"; }

    void expectFailure( const std::string& text, const char* option ) const {
        const Outcome outcome = runInside( makeArguments( { option } ) );
        EXPECT_EQ( outcome.status, 1 );
        EXPECT_THAT( outcome.errors, HasSubstr( text ) );
        EXPECT_FALSE( fs::exists( getOutput() ) );
    }
};

TEST_F( QvcompLockTest, PictureIsMadeUnderItsLockAndTheHolderIsNamedWhoKeepsItOut ) {
    OPtr<OsFileLock> lock( OsFileLock::lock( getOutput().string() ) );
    ASSERT_FALSE( lock.isNull() );
    const std::string held = '\'' + getOutput().string() + "' is locked by ";
    expectFailure( held, "--lock" );
    expectFailure( " on ", "--lock=0" );
    expectFailure( " since ", "--lock=1" );
    TestThread waiter( [this] { run( { "--lock=100" } ); } );
    lock.reset();
    waiter.join();
    EXPECT_TRUE( fs::exists( getOutput() ) );
    EXPECT_FALSE( fs::exists( getLockFile() ) );
    EXPECT_EQ( runInside( makeArguments( { "--lock=soon" } ) ).status, 2 );
    // In a job it may have a value or none.
    const std::string job = ( _outputs.path() / "job.xml" ).string();
    for( const char* const option : { "--lock", "--lock=7" } ) {
        run( { option, "--write-job", job } );
        lock = OsFileLock::lock( getOutput().string() );
        const Outcome outcome = runInside( { "--job", job, "--lock=0" } );
        EXPECT_EQ( outcome.status, 1 );
        EXPECT_THAT( outcome.errors, HasSubstr( held ) );
        lock.reset();
        EXPECT_EQ( runInside( { "--job", job } ).status, 0 ) << option;
    }
}

TEST_F( QvcompLockTest, PictureGetsNoNameWhenTheLockIsLostMeanwhile ) {
    // The picture is synced when it is complete.
    const CallHook hook( "fsync", [this]( const SystemCall& ) {
        fs::remove( getLockFile() );
        std::ofstream( getLockFile() ) << "theirs";
        return 0;
    } );
    expectFailure( "the lock '" + getLockFile().string() + "' was lost; nothing was written",
                   "--lock" );
    EXPECT_GT( hook.nbCalls(), 0 );
    EXPECT_TRUE( fs::exists( getLockFile() ) );
}

} // namespace
} // namespace Qv::Comp
