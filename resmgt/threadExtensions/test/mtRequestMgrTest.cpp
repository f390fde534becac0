#include <resmgt/threadExtensions/mtRequestMgr.h>

#include <resmgt/locks/test/futexWaitHook.h>
#include <resmgt/threadExtensions/mtGroupCommand.h>
#include <resmgt/threadExtensions/mtTask.h>
#include <tests/support/failingNew.h>
#include <tests/support/raisedBy.h>
#include <tests/support/testSettings.h>
#include <tests/support/testThread.h>

#include <gmock/gmock.h>

#include <cerrno>
#include <utility>

namespace Qv {
namespace {

using ::testing::HasSubstr;

TEST( MtRequestMgrTest, MisuseIsAnAssertionAndLeavesTheCounts ) {
    MtRequestMgr mgr;
    const MtRequestTag tag = mgr.acquireTag();
    const MtRequestTag none;
    EXPECT_FALSE( none.isValid() );
    EXPECT_TRUE( tag.isValid() );
    EXPECT_FALSE( tag == none );
    EXPECT_FALSE( tag == mgr.acquireTag() );
    const std::pair<std::function<void()>, const char*> cases[] = {
        { [&] { mgr.incRequestCount( none ); }, "tag.isValid()" },
        { [&] { mgr.decRequestCount( none ); }, "tag.isValid()" },
        { [&] { mgr.waitRequestCountZero( none ); }, "tag.isValid()" },
        { [&] { mgr.timedWaitRequestCountZero( none, 0.0 ); }, "tag.isValid()" },
        { [&] { mgr.releaseTag( none ); }, "tag.isValid()" },
        { [&] { mgr.decRequestCount( tag ); }, "(*tag._id).first != 0" },
        { [&] {
             mgr.incRequestCount( tag );
             mgr.releaseTag( tag );
         },
          "(*tag._id).first == 0" },
        { [&] {
             const MtRequestMgr::InWork outer( mgr, tag );
             const MtRequestMgr::InWork inner( mgr, mgr.acquireTag() );
             mgr.waitRequestCountZero( tag );
         },
          "!isInWork( tag )" },
    };
    for( const auto& [misuse, text] : cases ) {
        EXPECT_THAT( raisedBy<ExAssertionFailed>( misuse ), HasSubstr( text ) );
    }
    EXPECT_EQ( mgr.getRequestCount( tag ), 1u );
    mgr.decRequestCount( tag );
    mgr.releaseTag( tag );
}

TEST( MtRequestMgrTest, WaitOnNoRequestReturnsWithoutMakingACondition ) {
    MtRequestMgr mgr;
    const MtRequestTag tag = mgr.acquireTag();
    const FailingNew none( 0 );
    mgr.waitRequestCountZero( tag );
    EXPECT_TRUE( mgr.timedWaitRequestCountZero( tag, 1e300 ) );
}

TEST( MtRequestMgrTest, FailedAllocationLeavesTheTagAsItWas ) {
    MtRequestMgr mgr;
    const MtRequestTag tag = mgr.acquireTag();
    mgr.incRequestCount( tag );
    {
        const FailingNew none( 0 );
        EXPECT_THROW( mgr.acquireTag(), std::bad_alloc );
        EXPECT_THROW( mgr.waitRequestCountZero( tag ), std::bad_alloc );
    }
    EXPECT_FALSE( mgr.timedWaitRequestCountZero( tag, 0.001 ) );
    mgr.decRequestCount( tag );
    mgr.releaseTag( tag );
}

TEST( MtRequestMgrTest, WaitThatRaisesEndsNoOther ) {
    MtRequestMgr mgr;
    const MtRequestTag tag = mgr.acquireTag();
    mgr.incRequestCount( tag );
    Gate sleeps( "the waiter sleeps" );
    Gate sleepsAgain( "it was woken, and sleeps again" );
    TestThread waiter( [&] {
        const FutexWaitHook hook( [&] {
            ( sleeps.isOpen() ? sleepsAgain : sleeps ).open();
            return 0;
        } );
        mgr.waitRequestCountZero( tag );
    } );
    sleeps.wait();
    waiter.waitUntilBlocked();
    {
        const FutexWaitHook hook( [] { return EPERM; } );
        EXPECT_THROW( mgr.waitRequestCountZero( tag ), ExAssertionFailed );
    }
    sleepsAgain.wait();
    mgr.decRequestCount( tag );
    waiter.join();
    mgr.releaseTag( tag );
}

TEST( MtRequestMgrTest, TagMayBeReleasedWhileItsWaitersReturn ) {
    for( long round = scaledCount( 500 ); round > 0; --round ) {
        MtRequestMgr mgr;
        const MtRequestTag tag = mgr.acquireTag();
        mgr.incRequestCount( tag );
        TestThread unlimited( [&] { mgr.waitRequestCountZero( tag ); } );
        // About as long as the count takes to fall.
        TestThread limited(
            [&] { static_cast<void>( mgr.timedWaitRequestCountZero( tag, 0.001 ) ); } );
        unlimited.waitUntilBlocked();
        if( round % 2 == 0 ) {
            limited.join();
        }
        mgr.decRequestCount( tag );
        unlimited.join();
        limited.join();
        mgr.releaseTag( tag );
    }
}

TEST( MtRequestMgrTest, WaiterIsReleasedByTheFirstZeroAndReleasesTheTagItself ) {
    // The one who counts down must touch nothing of the tag after its zero.
    MtRequestMgr mgr;
    for( long round = scaledCount( 20'000 ); round > 0; --round ) {
        const MtRequestTag tag = mgr.acquireTag();
        mgr.incRequestCount( tag );
        mgr.incRequestCount( tag );
        TestThread counter( [&] {
            mgr.decRequestCount( tag );
            mgr.decRequestCount( tag );
        } );
        if( round % 2 == 0 ) {
            mgr.waitRequestCountZero( tag );
        } else {
            EXPECT_TRUE( mgr.timedWaitRequestCountZero( tag, 1e300 ) );
        }
        EXPECT_EQ( mgr.getRequestCount( tag ), 0u );
        mgr.releaseTag( tag );
        counter.join();
    }
}

TEST( MtTaskTest, DefaultMadeItemsDoNothingAndCopiesShareTheWork ) {
    MtGroupCommand().execute();
    MtTask().execute();
    int nbCalls = 0;
    MtGroupCommand( []( void* data ) { ++*static_cast<int*>( data ); }, &nbCalls ).execute();
    struct Counting : MtTaskImp {
        explicit Counting( int& count )
            : _count( count ) {}
        ~Counting() override { _count += 100; }
        void perform() override { ++_count; }
        int& _count;
    };
    MtRequestMgr mgr;
    {
        const MtTask first( mgr.acquireTag(), RCShdPtr<MtTaskImp>( new Counting( nbCalls ) ) );
        MtTask second;
        second = first;
        EXPECT_EQ( second.getTag(), first.getTag() );
        second.execute();
        EXPECT_EQ( nbCalls, 2 );
    }
    EXPECT_EQ( nbCalls, 102 );
}

} // namespace
} // namespace Qv
