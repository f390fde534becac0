#include <base/events/evQueueEventManager.h>
#include <base/events/evRequestEvent.h>
#include <base/failure/qvHere.h>
#include <base/init/inSingletonEx.h>
#include <tests/support/testSettings.h>
#include <tests/support/testThread.h>

#include <gmock/gmock.h>

#include <atomic>
#include <functional>
#include <memory>
#include <sstream>
#include <vector>

namespace Qv {

namespace {

using ::testing::ElementsAre;

class TestEvent : public EvRequestEvent {
public:
    explicit TestEvent( std::function<void()> action )
        : _action( std::move( action ) ) {}

    OPtrRet<EvEvent> clone() const override { return OPtr<EvEvent>( new TestEvent( *this ) ); }
    const char* getClassName() const override { return "TestEvent"; }
    void execute() override { _action(); }

private:
    const std::function<void()> _action;
};

void post( std::function<void()> action ) {
    EvEventManager::getInstance().post( OPtr<EvEvent>( new TestEvent( std::move( action ) ) ) );
}

std::atomic<int> nbWakeUps = 0;

TEST( EvQueueEventManagerTest, OneIsInstalledAtATimeAndTakesItsEventsAlong ) {
    EXPECT_THROW( EvEventManager::getInstance(), InSingletonEx::ExNotInitialized );
    const auto alive = std::make_shared<int>();
    {
        EvQueueEventManager events;
        EXPECT_THROW( EvQueueEventManager(), InSingletonEx::ExAlreadyInitialized );
        EXPECT_EQ( &EvEventManager::getInstance(), &events );
        post( [alive] { FAIL(); } );
    }
    EXPECT_FALSE( EvEventManager::isInitialized() );
    EXPECT_EQ( alive.use_count(), 1 );
}

TEST( EvQueueEventManagerTest, EventsPostedByAnEventWaitForTheNextDrain ) {
    EvQueueEventManager events;
    std::vector<int> order;
    post( [&] {
        order.push_back( 1 );
        post( [&] { order.push_back( 3 ); } );
    } );
    post( [&] { order.push_back( 2 ); } );
    for( const int expected : { 2, 1, 0 } ) {
        EXPECT_EQ( events.drain(), expected );
    }
    EXPECT_THAT( order, ElementsAre( 1, 2, 3 ) );
}

TEST( EvQueueEventManagerTest, AnEventMayDrainTheQueueItself ) {
    EvQueueEventManager events;
    std::vector<int> order;
    post( [&] {
        EXPECT_EQ( events.drain(), 2 );
        order.push_back( 1 );
        post( [&] { order.push_back( 4 ); } );
    } );
    post( [&] { order.push_back( 2 ); } );
    post( [&] { order.push_back( 3 ); } );
    EXPECT_EQ( events.drain(), 1 );
    EXPECT_THAT( order, ElementsAre( 2, 3, 1 ) );
    EXPECT_EQ( events.drain(), 1 );
    EXPECT_EQ( order.back(), 4 );
}

TEST( EvQueueEventManagerTest, AnEventsExceptionReachesTheDrainerAndLosesNoOtherEvent ) {
    nbWakeUps = 0;
    EvQueueEventManager events( [] { ++nbWakeUps; } );
    post( [&] { throw ExInternalError( QV_HERE, "event" ); } );
    post( [] {} );
    EXPECT_THROW( events.drain(), ExInternalError );
    EXPECT_EQ( nbWakeUps, 2 );
    EXPECT_EQ( events.drain(), 1 );
}

TEST( EvQueueEventManagerTest, TheMainLoopIsWokenOnceForEachDrainThatIsDue ) {
    nbWakeUps = 0;
    EvQueueEventManager events( [] { ++nbWakeUps; } );
    post( [] {} );
    post( [] {} );
    EXPECT_EQ( nbWakeUps, 1 );
    // Behind a drain that has begun: others are still in the queue, yet this one needs a new one.
    post( [] { post( [] {} ); } );
    post( [] {} );
    events.drain();
    EXPECT_EQ( nbWakeUps, 2 );
    events.drain();
    EXPECT_EQ( nbWakeUps, 2 );
}

TEST( EvQueueEventManagerTest, EachThreadsEventsArriveAllAndInItsOrder ) {
    EvQueueEventManager events;
    const long nbEvents = scaledCount( 20000 );
    constexpr int nbThreads = 4;
    std::vector<long> nextOf( nbThreads, 0 );
    TestThreads threads( nbThreads, [&]( std::size_t thread ) {
        for( long i = 0; i < nbEvents; ++i ) {
            post( [&nextOf, thread, i] { EXPECT_EQ( nextOf[thread]++, i ); } );
        }
    } );
    for( long nbExecuted = 0; nbExecuted < nbEvents * nbThreads; ) {
        nbExecuted += events.drain();
    }
    threads.join();
    EXPECT_EQ( events.drain(), 0 );
    EXPECT_THAT( nextOf, ::testing::Each( nbEvents ) );
}

TEST( EvRequestEventTest, WhatDumpWritesReadTakesAndNothingElse ) {
    TestEvent event( [] {} );
    std::stringstream stream;
    event.dump( stream );
    EXPECT_EQ( stream.str(), "TestEvent" );
    event.read( stream );
    EXPECT_FALSE( stream.fail() );
    for( const char* text : { "OtherEvent", "" } ) {
        std::istringstream other( text );
        event.read( other );
        EXPECT_TRUE( other.fail() ) << text;
    }
}

} // namespace

} // namespace Qv
