#include <base/failure/assertions.h>
#include <base/failure/exSysError.h>
#include <resmgt/osal/osMultiplexer.h>
#include <resmgt/osal/test/failingCalls.h>
#include <tests/support/testThread.h>

#include <gmock/gmock.h>

#include <cerrno>
#include <chrono>
#include <climits>
#include <fcntl.h>
#include <sys/ioctl.h>
#include <sys/select.h>
#include <termios.h>
#include <unistd.h>

namespace Qv {
namespace {

using ::testing::HasSubstr;
using enum OsMultiplexer::Event;

class OsMultiplexerTest : public ::testing::Test {
protected:
    OsMultiplexerTest() { EXPECT_EQ( ::pipe2( _ends, O_CLOEXEC ), 0 ); }
    ~OsMultiplexerTest() override {
        ::close( _ends[0] );
        ::close( _ends[1] );
    }
    void fill() { EXPECT_EQ( ::write( _ends[1], "x", 1 ), 1 ); }

    OsMultiplexer _multiplexer;
    int _ends[2];
};

TEST_F( OsMultiplexerTest, TellsWhichRegisteredEventsHaveOccurred ) {
    EXPECT_EQ( _multiplexer.waitFor( 0 ), 0 );
    _multiplexer.registerEvent( _ends[0], READABLE );
    _multiplexer.registerEvent( _ends[0], READABLE );
    EXPECT_EQ( _multiplexer.waitFor( 0 ), 0 );
    EXPECT_FALSE( _multiplexer.eventOccured( _ends[0], READABLE ) );

    fill();
    EXPECT_FALSE( _multiplexer.eventOccured( _ends[0], READABLE ) );
    _multiplexer.registerEvent( _ends[1], WRITABLE );
    _multiplexer.registerEvent( _ends[1], READABLE );
    EXPECT_EQ( _multiplexer.waitFor( LONG_MAX ), 2 );
    EXPECT_TRUE( _multiplexer.eventOccured( _ends[0], READABLE ) );
    EXPECT_TRUE( _multiplexer.eventOccured( _ends[1], WRITABLE ) );
    EXPECT_FALSE( _multiplexer.eventOccured( _ends[1], READABLE ) );
    EXPECT_FALSE( _multiplexer.eventOccured( _ends[0], EXCEPTIONAL ) );

    _multiplexer.unregisterEvent( _ends[1], WRITABLE );
    EXPECT_FALSE( _multiplexer.eventOccured( _ends[1], WRITABLE ) );
    EXPECT_EQ( _multiplexer.waitFor( 0 ), 1 );
    _multiplexer.clearEvents();
    EXPECT_FALSE( _multiplexer.eventOccured( _ends[0], READABLE ) );
    EXPECT_EQ( _multiplexer.waitFor( 0 ), 0 );
}

TEST_F( OsMultiplexerTest, TellsWhatIsExceptional ) {
    // A terminal in this mode announces so that its buffer was emptied.
    const int master = ::posix_openpt( O_RDWR | O_NOCTTY | O_CLOEXEC );
    ASSERT_EQ( ::grantpt( master ), 0 );
    ASSERT_EQ( ::unlockpt( master ), 0 );
    const int terminal = ::open( ::ptsname( master ), O_RDWR | O_NOCTTY | O_CLOEXEC );
    int isOn = 1;
    ASSERT_EQ( ::ioctl( master, TIOCPKT, &isOn ), 0 );
    _multiplexer.registerEvent( master, EXCEPTIONAL );
    EXPECT_EQ( _multiplexer.waitFor( 0 ), 0 );
    ASSERT_EQ( ::tcflush( terminal, TCIFLUSH ), 0 );
    EXPECT_EQ( _multiplexer.waitFor( OsMultiplexer::INFINITE_TIMEOUT ), 1 );
    EXPECT_TRUE( _multiplexer.eventOccured( master, EXCEPTIONAL ) );
    ::close( terminal );
    ::close( master );
}

TEST_F( OsMultiplexerTest, WaitsWithoutEndUntilSomethingOccurs ) {
    _multiplexer.registerEvent( _ends[0], READABLE );
    TestThread waiter(
        [&] { EXPECT_EQ( _multiplexer.waitFor( OsMultiplexer::INFINITE_TIMEOUT ), 1 ); } );
    waiter.waitUntilBlocked();
    fill();
    waiter.join();
}

TEST_F( OsMultiplexerTest, SignalsNeitherEndNorProlongAWait ) {
    using std::chrono::steady_clock;
    _multiplexer.registerEvent( _ends[0], READABLE );
    const auto start = steady_clock::now();
    {
        const FailingCall storm( "select", EINTR );
        EXPECT_EQ( _multiplexer.waitFor( 30 ), 0 );
        EXPECT_GT( storm.nbCalls(), 1 );
        EXPECT_GE( steady_clock::now() - start, std::chrono::milliseconds( 30 ) );
        fill();
        EXPECT_EQ( _multiplexer.waitFor( 0 ), 0 );
    }
    const FailingCall once( "select", EINTR, FailingCall::ONCE );
    EXPECT_EQ( _multiplexer.waitFor( OsMultiplexer::INFINITE_TIMEOUT ), 1 );
}

TEST_F( OsMultiplexerTest, DescriptorsThatTheSetsCannotHoldAreRefused ) {
    _multiplexer.registerEvent( FD_SETSIZE - 1, READABLE );
    _multiplexer.unregisterEvent( FD_SETSIZE - 1, READABLE );
    for( const int descriptor : { -1, INT_MIN, FD_SETSIZE, FD_SETSIZE + 7, INT_MAX } ) {
        for( const auto event : { READABLE, WRITABLE, EXCEPTIONAL } ) {
            try {
                _multiplexer.registerEvent( descriptor, event );
                ADD_FAILURE() << descriptor << " can't be held";
            } catch( const ExSysErrorGeneric& ex ) {
                EXPECT_THAT( ex.getReason(), HasSubstr( std::to_string( descriptor ) ) );
            }
            _multiplexer.unregisterEvent( descriptor, event );
            EXPECT_FALSE( _multiplexer.eventOccured( descriptor, event ) );
        }
    }
    EXPECT_EQ( _multiplexer.waitFor( 0 ), 0 );
}

TEST_F( OsMultiplexerTest, FailedWaitIsToldAndLeavesNoEvent ) {
    fill();
    _multiplexer.registerEvent( _ends[0], READABLE );
    const int closed = ::dup( _ends[0] );
    _multiplexer.registerEvent( closed, READABLE );
    EXPECT_EQ( _multiplexer.waitFor( 0 ), 2 );
    ::close( closed );
    try {
        static_cast<void>( _multiplexer.waitFor( 0 ) );
        ADD_FAILURE() << "a closed descriptor was waited for";
    } catch( const ExSysErrorWindows& ex ) {
        EXPECT_THAT( ex.getReason(), HasSubstr( "OsMultiplexer::waitFor" ) );
        EXPECT_THAT( ex.getReason(), HasSubstr( "select failed" ) );
    }
    EXPECT_FALSE( _multiplexer.eventOccured( _ends[0], READABLE ) );
    try {
        static_cast<void>( _multiplexer.waitFor( -2 ) );
        ADD_FAILURE() << "no such time-out";
    } catch( const ExAssertionFailed& ex ) {
        EXPECT_THAT( ex.getReason(), HasSubstr( "timeout >= 0 || timeout == INFINITE_TIMEOUT" ) );
    }
}

} // namespace
} // namespace Qv
