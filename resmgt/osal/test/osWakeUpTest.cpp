#include <base/events/evQueueEventManager.h>
#include <base/events/evRequestEvent.h>
#include <base/failure/assertions.h>
#include <base/failure/exSysError.h>
#include <resmgt/osal/osMultiplexer.h>
#include <resmgt/osal/osWakeUp.h>
#include <resmgt/osal/test/failingCalls.h>
#include <tests/support/testSettings.h>
#include <tests/support/testThread.h>

#include <gtest/gtest.h>

#include <fcntl.h>
#include <poll.h>
#include <unistd.h>

#include <cerrno>
#include <cstdint>

namespace Qv {
namespace {

int pollFor( const OsWakeUp& wakeUp, int milliseconds ) {
    pollfd waited{ wakeUp.getDescriptor(), POLLIN, 0 };
    return ::poll( &waited, 1, milliseconds );
}

TEST( OsWakeUpTest, StaysUntilItIsDrainedAndManyAreAsOne ) {
    OsWakeUp wakeUp;
    EXPECT_EQ( ::fcntl( wakeUp.getDescriptor(), F_GETFD ), FD_CLOEXEC );
    EXPECT_EQ( pollFor( wakeUp, 0 ), 0 );
    EXPECT_FALSE( wakeUp.drain() );
    for( int i = 0; i < 3; ++i ) {
        wakeUp.wakeUp();
    }
    EXPECT_EQ( pollFor( wakeUp, -1 ), 1 );
    EXPECT_EQ( pollFor( wakeUp, 0 ), 1 );
    EXPECT_TRUE( wakeUp.drain() );
    EXPECT_FALSE( wakeUp.drain() );
    EXPECT_EQ( pollFor( wakeUp, 0 ), 0 );
    // More than the system counts.
    const std::uint64_t most = ~std::uint64_t{ 1 };
    EXPECT_EQ( ::write( wakeUp.getDescriptor(), &most, sizeof( most ) ), 8 );
    errno = ENOENT;
    wakeUp.wakeUp();
    EXPECT_EQ( errno, ENOENT );
    EXPECT_TRUE( wakeUp.drain() );
}

TEST( OsWakeUpTest, LackOfDescriptorsIsAnExceptionAndAForeignCloseAnAssertion ) {
    {
        const FailingCall failing( "eventfd", EMFILE );
        EXPECT_THROW( OsWakeUp(), ExSysErrorWindows );
    }
    for( const char* const call : { "write", "read" } ) {
        OsWakeUp wakeUp;
        const FailingCall failing( call, EBADF );
        EXPECT_THROW( call[0] == 'w' ? wakeUp.wakeUp() : static_cast<void>( wakeUp.drain() ),
                      ExAssertionFailed );
    }
}

/// Counts, on the main thread.
class CountEvent : public EvRequestEvent {
public:
    explicit CountEvent( long& count )
        : _count( count ) {}

    OPtrRet<EvEvent> clone() const override { return OPtr<EvEvent>( new CountEvent( *this ) ); }
    void execute() override { ++_count; }

private:
    long& _count;
};

TEST( OsWakeUpTest, LoopInPollOrMultiplexerMissesNoEventOfOtherThreads ) {
    constexpr int NB_POSTERS = 3;
    const long nbEvents = scaledCount( 20'000 );
    for( const bool usesMultiplexer : { false, true } ) {
        OsWakeUp wakeUp;
        EvQueueEventManager events( [&wakeUp] { wakeUp.wakeUp(); } );
        OsMultiplexer multiplexer;
        multiplexer.registerEvent( wakeUp.getDescriptor(), OsMultiplexer::READABLE );
        long nbExecuted = 0;
        const TestThreads posters( NB_POSTERS, [&] {
            for( long event = 0; event < nbEvents; ++event ) {
                events.post( OPtr<EvEvent>( new CountEvent( nbExecuted ) ) );
            }
        } );
        // A wake-up that is lost is a hang, which the watchdog ends.
        while( nbExecuted < NB_POSTERS * nbEvents ) {
            if( usesMultiplexer ) {
                EXPECT_EQ( multiplexer.waitFor( OsMultiplexer::INFINITE_TIMEOUT ), 1 );
            } else {
                EXPECT_EQ( pollFor( wakeUp, -1 ), 1 );
            }
            EXPECT_TRUE( wakeUp.drain() );
            events.drain();
        }
    }
}

} // namespace
} // namespace Qv
