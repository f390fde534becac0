#include <resmgt/osal/osMultiplexer.h>
#include <resmgt/osal/test/testFiles.h>
#include <tests/support/testThread.h>

#include <chrono>
#include <climits>
#include <fcntl.h>
#include <sys/ioctl.h>
#include <sys/select.h>
#include <termios.h>

namespace Qv {
namespace {

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
    const int isOn = 1;
    ASSERT_TRUE( ::grantpt( master ) == 0 && ::unlockpt( master ) == 0 );
    ASSERT_EQ( ::ioctl( master, TIOCPKT, &isOn ), 0 );
    const int terminal = ::open( ::ptsname( master ), O_RDWR | O_NOCTTY | O_CLOEXEC );
    _multiplexer.registerEvent( master, EXCEPTIONAL );
    EXPECT_EQ( _multiplexer.waitFor( 0 ), 0 );
    ASSERT_EQ( ::tcflush( terminal, TCIFLUSH ), 0 );
    EXPECT_EQ( _multiplexer.waitFor( OsMultiplexer::INFINITE_TIMEOUT ), 1 );
    EXPECT_TRUE( _multiplexer.eventOccured( master, EXCEPTIONAL ) );
    ::close( terminal );
    ::close( master );
}

TEST_F( OsMultiplexerTest, SignalsNeitherEndNorProlongAWait ) {
    using std::chrono::steady_clock;
    _multiplexer.registerEvent( _ends[0], READABLE );
    {
        const FailingCall storm( "select", EINTR );
        const auto start = steady_clock::now();
        EXPECT_EQ( _multiplexer.waitFor( 30 ), 0 );
        EXPECT_GE( steady_clock::now() - start, std::chrono::milliseconds( 30 ) );
    }
    TestThread waiter( [&] {
        const FailingCall once( "select", EINTR, FailingCall::ONCE );
        EXPECT_EQ( _multiplexer.waitFor( OsMultiplexer::INFINITE_TIMEOUT ), 1 );
    } );
    waiter.waitUntilBlocked();
    fill();
    waiter.join();
}

TEST_F( OsMultiplexerTest, DescriptorsThatTheSetsCannotHoldAreRefused ) {
    for( const int fd : { -1, INT_MIN, FD_SETSIZE, INT_MAX } ) {
        for( const auto event : { READABLE, WRITABLE, EXCEPTIONAL } ) {
            EXPECT_THAT(
                raisedBy<ExSysErrorGeneric>( [&] { _multiplexer.registerEvent( fd, event ); } ),
                HasSubstr( "OsMultiplexer::registerEvent: " + std::to_string( fd ) ) );
            _multiplexer.unregisterEvent( fd, event );
            EXPECT_FALSE( _multiplexer.eventOccured( fd, event ) );
        }
    }
    EXPECT_EQ( _multiplexer.waitFor( 0 ), 0 );
    _multiplexer.registerEvent( FD_SETSIZE - 1, READABLE );
    EXPECT_THROW( _multiplexer.registerEvent( 0, OsMultiplexer::Event( 3 ) ), ExAssertionFailed );
}

TEST_F( OsMultiplexerTest, FailedWaitIsToldAndLeavesNoEvent ) {
    fill();
    const int closed = ::dup( _ends[0] );
    _multiplexer.registerEvent( _ends[0], READABLE );
    _multiplexer.registerEvent( closed, READABLE );
    EXPECT_EQ( _multiplexer.waitFor( 0 ), 2 );
    ::close( closed );
    EXPECT_THROW( _multiplexer.waitFor( 0 ), Sys );
    EXPECT_FALSE( _multiplexer.eventOccured( _ends[0], READABLE ) );
    EXPECT_THAT( raisedBy<ExAssertionFailed>( [&] { _multiplexer.waitFor( -2 ); } ),
                 HasSubstr( "timeout >= 0 || timeout == INFINITE_TIMEOUT" ) );
}

} // namespace
} // namespace Qv
