#include <resmgt/memoryBuffers/src/mbAskers.h>
#include <resmgt/memoryBuffers/test/mbLivenessTest.h>

#include <atomic>
#include <random>
#include <vector>

#include <tests/support/holdPoint.h>
#include <tests/support/testSettings.h>
#include <tests/support/testThread.h>

namespace Qv {

namespace {

class MbLargeRequestsTest : public MbLivenessTest {
protected:
    /// Returns once `large`, which asks for more than there is, has been overtaken so often that
    /// all others let it go first.
    void waitUntilAlone( TestThread& large ) const {
        large.waitUntilBlocked();
        for( unsigned i = 0; i < MbAskers::MAX_OVERTAKEN; ++i ) {
            makeLoaded();
        }
    }
};

INSTANTIATE_TEST_SUITE_P(, MbLargeRequestsTest, testing::Bool() );

TEST_P( MbLargeRequestsTest, ALargeRequestIsServedAmongSmallOnes ) {
    useHeap( 8 );
    std::atomic<bool> isServed = false;
    std::atomic<long> nbTurns = 0;
    // Always all of the memory but one is in use.
    std::vector<MbBuffer> buffers;
    for( int i = 0; i < 12; ++i ) {
        buffers.push_back( makePlain() );
    }
    TestThreads small( 4, [&]( std::size_t number ) {
        for( std::size_t turn = 0; !isServed; ++turn ) {
            const MbBufferRdGuardImp one( buffers[3 * number + turn % 3] );
            const MbBufferRdGuardImp another( buffers[3 * number + ( turn + 1 ) % 3] );
            ++nbTurns;
        }
    } );
    waitUntil( [&] { return nbTurns > 100; }, "traffic" );
    {
        const MbBufferRdGuardImp large( makePlain( 8 * SIZE ) );
        isServed = true;
    }
    small.join();
}

TEST_P( MbLargeRequestsTest, AHolderNeedNotWaitForALargeRequestWhateverElseIsGivenBack ) {
    useHeap( 4 );
    std::atomic<bool> isRefusing = true;
    std::atomic<long> nbAsked = 0;
    const MbBuffer refusing = makeRefusing( isRefusing, nbAsked );
    HoldPoint holding( "holding" );
    TestThread holder( [&] {
        const MbBufferRdGuardImp first( makePlain() );
        holding.pass();
        const MbBufferRdGuardImp second( makePlain() );
    } );
    holding.waitUntilReached();
    TestThread large( [&] { const MbBufferRdGuardImp lock( makePlain( 4 * SIZE ) ); } );
    waitUntilAlone( large );
    holding.release();
    waitUntil(
        [&] {
            const MbBufferRdGuardImp lock( refusing );
            return holder.isDone();
        },
        "the holder" );
    isRefusing = false;
    large.join();
}

TEST_P( MbLargeRequestsTest, SmallRequestsGoOnBesideALargeOneThatWaitsInVain ) {
    useHeap( 4 );
    Guard held( std::in_place, makeLoaded() );
    TestThread large( [&] { const MbBufferRdGuardImp lock( makePlain( 4 * SIZE ) ); } );
    // They lose a second after 16, then after 32.
    waitUntilAlone( large );
    TestThread( [&] {
        for( unsigned i = 0; i < 6 * MbAskers::MAX_OVERTAKEN; ++i ) {
            makeLoaded();
        }
    } ).join();
    held.reset();
    large.join();
}

TEST_P( MbLargeRequestsTest, AReplayedPrefetchDoesNotWaitForALargeRequestEither ) {
    useHeap( 4 );
    Guard held( std::in_place, makeLoaded() );
    const MbBuffer hinted = make( MbStateMachine::STRICT, MbStateMachine::UNTRACED, SIZE );
    send( "prefetch" );
    TestThread large( [&] { const MbBufferRdGuardImp lock( makePlain( 4 * SIZE ) ); } );
    waitUntilAlone( large );
    inside( "asyncLoadFailed", [&] { send( "prefetch" ); } );
    recorder.take();
    send( "asyncOpFailed" );
    EXPECT_EQ( recorder.take(), "asyncLoadFailed" );
    held.reset();
    large.join();
}

TEST_P( MbLargeRequestsTest, EachReturnServesSomebodyWhoeverComesAndGoes ) {
    // Threads hold nothing while they ask, so that each is served; the sizes differ, and some
    // give up their buffers, some leave them to be evicted.
    useHeap( 4 );
    const long nbTurns = scaledCount( 4000 );
    TestThreads( 8, [this, nbTurns]( unsigned int id ) {
        std::mt19937_64 random( testSeed() + id );
        std::vector<MbBuffer> own;
        for( const int size : { SIZE / 2, SIZE, 2 * SIZE, 4 * SIZE } ) {
            own.push_back( makePlain( size ) );
        }
        for( long turn = 0; turn < nbTurns; ++turn ) {
            MbBuffer& chosen = own[random() % own.size()];
            { const MbBufferWrGuardImp lock( chosen ); }
            if( random() % 4 == 0 ) {
                chosen.free();
            }
        }
    } ).join();
    EXPECT_EQ( manager->getFreeSpace(), 4 * NEEDED );
}

} // namespace

} // namespace Qv
