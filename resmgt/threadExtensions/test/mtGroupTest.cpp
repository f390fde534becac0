#include <resmgt/threadExtensions/mtGroup.h>

#include <resmgt/threadExtensions/test/job.h>
#include <tests/support/dumpOf.h>
#include <tests/support/failingNew.h>
#include <tests/support/holdPoint.h>
#include <tests/support/raisedBy.h>
#include <tests/support/testThread.h>

#include <gmock/gmock.h>

#include <atomic>

namespace Qv {
namespace {

using ::testing::AllOf;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::StartsWith;

constexpr double INF = std::numeric_limits<double>::infinity();

/// With a single worker, which a test can keep busy.
template <class G>
class MtGroupTest : public ::testing::Test {
protected:
    using Group = G;

    /// The worker takes an item and stands in it.
    void occupyWorker( const Producer<Group>& producer ) {
        producer.push( [this] { busy.pass(); }, 1000 );
        busy.waitUntilReached();
    }

    HoldPoint busy{ "the worker" };
};

using Groups = ::testing::Types<JobGroup, PriorityJobGroup>;
TYPED_TEST_SUITE( MtGroupTest, Groups );

TYPED_TEST( MtGroupTest, PushesWaitInTurnForRoomAndTheirTimeMayRunOut ) {
    TypeParam group( "group", 1, { .maximumSize = 1 } );
    const Producer producer( group );
    this->occupyWorker( producer );
    std::vector<int> order;
    producer.push( [&] { order.push_back( 0 ); }, 100 );
    EXPECT_FALSE( group.tryPush( producer.make() ) );
    EXPECT_FALSE( group.timedPush( producer.make(), 0.002 ) );
    EXPECT_FALSE( group.timedPush( producer.make(), std::nan( "" ) ) );
    EXPECT_EQ( producer.count(), 2u ) << "a push that failed is still counted";
    std::deque<TestThread> pushers;
    for( int i = 1; i <= 4; ++i ) {
        pushers.emplace_back( [&, i] {
            EXPECT_TRUE( group.timedPush(
                producer.make( [&order, i] { order.push_back( i ); }, 100 - i ), INF ) );
        } );
        awaitBlocked( group, static_cast<unsigned int>( i ) );
    }
    EXPECT_EQ( producer.count(), 6u ) << "blocked pushes are counted";
    EXPECT_GT( group.getSnapshot().longestWait, 0.0 );
    EXPECT_EQ( group.getSnapshot().nbWaits, 5u );
    this->busy.release();
    pushers.clear();
    producer.wait();
    EXPECT_THAT( order, ElementsAre( 0, 1, 2, 3, 4 ) );
    const MtPoolSnapshot snapshot = group.getSnapshot();
    EXPECT_EQ( snapshot.mostQueued, 1u );
    EXPECT_EQ( snapshot.nbDone, 6u );
    EXPECT_EQ( snapshot.nbRunning + snapshot.nbQueued + snapshot.nbBlockedProducers, 0u );
}

TYPED_TEST( MtGroupTest, RaisedMaximumLetsBlockedPushesInAndNoneIsAnAssertion ) {
    TypeParam group( "group", 1, { .maximumSize = 1 } );
    const Producer producer( group );
    this->occupyWorker( producer );
    producer.push( nullptr );
    std::deque<TestThread> pushers;
    for( unsigned int i = 1; i <= 3; ++i ) {
        pushers.emplace_back( [&] { producer.push( nullptr ); } );
        awaitBlocked( group, i );
    }
    EXPECT_THAT( raisedBy<ExAssertionFailed>( [&] { group.getContainer().setMaximumSize( 0 ); } ),
                 HasSubstr( "maximumSize != 0" ) );
    group.getContainer().setMaximumSize( 4 );
    pushers.clear();
    EXPECT_EQ( group.getContainer().getSize(), 4u );
    EXPECT_FALSE( group.tryPush( producer.make() ) );
    this->busy.release();
    const unsigned int nbThreads = countThreads();
    EXPECT_THAT(
        raisedBy<ExAssertionFailed>( [] { TypeParam( "none", 1, { .maximumSize = 0 } ); } ),
        HasSubstr( "maximumSize != 0" ) );
    EXPECT_EQ( countThreads(), nbThreads );
}

TYPED_TEST( MtGroupTest, StopOfAFullGroupDoesAllWorkOfClientsFirst ) {
    // In a priority queue the stop items come before the clients' of a lower key.
    TypeParam group( "group", 2, { .maximumSize = 2 } );
    const Producer producer( group );
    std::atomic<int> nbDone = 0;
    for( int i = 0; i < 2; ++i ) {
        producer.push( [&] { this->busy.pass(); }, 10 );
    }
    this->busy.waitUntilReached( 2 );
    for( int i = 0; i < 2; ++i ) {
        producer.push(
            [&] {
                ++nbDone;
                // By a worker of a group that stops.
                producer.push( [&] { ++nbDone; }, -2 );
            },
            -1 );
    }
    std::deque<TestThread> pushers;
    for( unsigned int i = 1; i <= 5; ++i ) {
        pushers.emplace_back( [&] { producer.push( [&] { ++nbDone; }, -3 ); } );
        awaitBlocked( group, i );
    }
    TestThread stopper( [&] { group.stop(); } );
    waitUntil( [&] { return !group.isRunning(); }, "the stop" );
    this->busy.release();
    stopper.join();
    pushers.clear();
    EXPECT_EQ( nbDone, 9 );
    EXPECT_EQ( producer.count(), 0u );
    EXPECT_EQ( group.getContainer().getSize(), 0u );
    EXPECT_THAT( raisedBy<ExAssertionFailed>( [&] { producer.push( nullptr ); } ),
                 HasSubstr( "_nbServing != 0" ) );
    EXPECT_EQ( producer.count(), 0u );
    group.start( 1 );
    producer.push( [&] { ++nbDone; } );
    producer.wait();
    EXPECT_EQ( nbDone, 10 );
}

TYPED_TEST( MtGroupTest, GroupWithoutWorkersTakesNoItem ) {
    TypeParam group( "group", 0 );
    const Producer producer( group );
    EXPECT_THAT( raisedBy<ExAssertionFailed>( [&] { producer.push( nullptr ); } ),
                 HasSubstr( "_nbServing != 0" ) );
    EXPECT_THAT( raisedBy<ExAssertionFailed>( [&] { group.push( Job() ); } ),
                 HasSubstr( "tag.isValid()" ) );
    EXPECT_EQ( producer.count(), 0u );
    group.workAlong( producer.getTag() );
}

TYPED_TEST( MtGroupTest, PushesOfWorkersAndOfThoseWhoWorkAlongGoPastTheLimit ) {
    TypeParam group( "group", 1, { .maximumSize = 1 } );
    const Producer producer( group );
    std::atomic<int> nbDone = 0;
    const auto feed = [&] {
        for( int i = 0; i < 10; ++i ) {
            producer.push( [&] { ++nbDone; } );
        }
    };
    producer.push( feed );
    producer.wait();
    EXPECT_EQ( nbDone, 10 );
    const Producer other( group );
    this->occupyWorker( other );
    producer.push( feed );
    group.workAlong( producer.getTag() );
    EXPECT_EQ( nbDone, 20 );
    EXPECT_GE( group.getSnapshot().mostQueued, 10u );
    this->busy.release();
}

TYPED_TEST( MtGroupTest, WaitForTheTagOfOnesOwnItemIsAnAssertion ) {
    TypeParam group( "group", 1 );
    const Producer producer( group );
    const std::function<void()> waits[] = {
        [&] { producer.wait(); },
        [&] { group.workAlong( producer.getTag() ); },
        [&] { group.timedWaitRequestCountZero( producer.getTag(), 0.0 ); },
        [&] { group.getRequestMgr().waitRequestCountZero( producer.getTag() ); },
    };
    for( const auto& wait : waits ) {
        std::string raised;
        producer.push( [&] { raised = raisedBy<ExAssertionFailed>( wait ); } );
        producer.wait();
        EXPECT_THAT( raised, HasSubstr( "isInWork( tag )" ) );
    }
}

TYPED_TEST( MtGroupTest, WorkingAlongRunsTheItemsOfItsTagAndNoOthers ) {
    TypeParam group( "group", 1 );
    const Producer own( group );
    const Producer foreign( group );
    this->occupyWorker( foreign );
    const std::uint32_t self = ThreadNumber::get();
    std::vector<int> ran;
    std::atomic<bool> isForeignHere = false;
    for( int i = 0; i < 3; ++i ) {
        foreign.push( [&] { isForeignHere = isForeignHere || ThreadNumber::get() == self; } );
        own.push(
            [&, i] {
                EXPECT_EQ( ThreadNumber::get(), self );
                EXPECT_EQ( group.getSnapshot().nbRunning, 2u );
                ran.push_back( i );
            },
            -i );
    }
    group.workAlong( own.getTag() );
    EXPECT_THAT( ran, ElementsAre( 0, 1, 2 ) );
    EXPECT_EQ( group.getContainer().getSize(), 3u );
    // What it raises goes to the caller.
    own.push( [] { throw std::runtime_error( "from the item" ); } );
    EXPECT_THROW( group.workAlong( own.getTag() ), std::runtime_error );
    EXPECT_EQ( own.count(), 0u );
    this->busy.release();
    foreign.wait();
    EXPECT_FALSE( isForeignHere );
}

TYPED_TEST( MtGroupTest, WorkingAlongRunsItemsThatComeLate ) {
    TypeParam group( "group", 1 );
    const Producer own( group );
    const Producer foreign( group );
    HoldPoint late( "own item at work" );
    own.push( [&] { late.pass(); } );
    late.waitUntilReached();
    EXPECT_FALSE( group.timedWorkAlong( own.getTag(), 0.002 ) );
    std::uint32_t ranOn = 0;
    TestThread helper( [&] {
        group.workAlong( own.getTag() );
        EXPECT_EQ( ranOn, ThreadNumber::get() );
    } );
    helper.waitUntilBlocked();
    Gate hasRun( "the late item" );
    own.push( [&] {
        ranOn = ThreadNumber::get();
        hasRun.open();
    } );
    hasRun.wait();
    late.release();
    helper.join();
}

TYPED_TEST( MtGroupTest, WorkerThatWaitsForATagRunsItsItemsAndLetsItsPushesIn ) {
    // The only worker of a full group.
    for( const bool isTimed : { false, true } ) {
        TypeParam group( "group", 1, { .maximumSize = 1 } );
        const Producer waiter( group );
        const Producer awaited( group );
        HoldPoint begun( "begun" );
        std::atomic<int> nbDone = 0;
        waiter.push( [&] {
            begun.pass();
            if( isTimed ) {
                EXPECT_TRUE( group.timedWaitRequestCountZero( awaited.getTag(), 1e300 ) );
            } else {
                awaited.wait();
            }
            EXPECT_EQ( nbDone, 2 );
        } );
        begun.waitUntilReached();
        waiter.push( nullptr );
        std::deque<TestThread> pushers;
        for( unsigned int i = 1; i <= 2; ++i ) {
            pushers.emplace_back( [&] { awaited.push( [&] { ++nbDone; } ); } );
            awaitBlocked( group, i );
        }
        begun.release();
        waiter.wait();
    }
}

TYPED_TEST( MtGroupTest, ItemIsGoneBeforeItsCountFalls ) {
    TypeParam group( "group", 1 );
    const Producer producer( group );
    unsigned int countAtEnd = 0;
    auto held = std::shared_ptr<int>( new int, [&]( int* value ) {
        countAtEnd = producer.count();
        delete value;
    } );
    this->occupyWorker( producer );
    producer.push( [held] {} );
    held.reset();
    this->busy.release();
    producer.wait();
    EXPECT_EQ( countAtEnd, 1u );
}

TYPED_TEST( MtGroupTest, PushThatRaisesLeavesNothingAndPassesThePlaceOn ) {
    TypeParam group( "group", 1, { .maximumSize = 1 } );
    const Producer producer( group );
    this->occupyWorker( producer );
    const std::string large( 100, 'x' );
    const Job job = producer.make( [large] { EXPECT_EQ( large.size(), 100u ); } );
    EXPECT_GT( forEachFailingNew(
                   [&] { group.push( job ); },
                   [&]( bool hasFailed ) { ASSERT_EQ( producer.count(), hasFailed ? 1u : 2u ); } ),
               0 );
    EXPECT_EQ( group.getSnapshot().nbQueued, 1u );
    // Blocked at the first allocation of a wait, and of an item that has waited.
    TestThread unlucky( [&] {
        const FailingNew none( 0 );
        EXPECT_THROW( group.push( job ), std::bad_alloc );
    } );
    unlucky.join();
    Gate hasWaited( "a wait whose time ran out" );
    TestThread late( [&] {
        // The thread's place in a queue is made before.
        EXPECT_FALSE( group.timedPush( job, 0.001 ) );
        hasWaited.open();
        const FailingNew none( 0 );
        EXPECT_THROW( group.push( job ), std::bad_alloc );
    } );
    hasWaited.wait();
    awaitBlocked( group, 1 );
    TestThread next( [&] { producer.push( nullptr ); } );
    awaitBlocked( group, 2 );
    this->busy.release();
    late.join();
    next.join();
    producer.wait();
}

/// Writes down what it is told of, and raises each time.
template <class Group>
class Recorder : public Group::Observer {
public:
    explicit Recorder( std::vector<std::string>& notes )
        : _notes( notes ) {}
    void containerDestroyed( typename Group::Queue& ) override { note( "destroyed" ); }
    void itemPushed( typename Group::Queue&, const Job& job ) override {
        note( "pushed " + std::to_string( job.key ) );
    }
    void itemPopped( typename Group::Queue&, const Job& job ) override {
        note( "popped " + std::to_string( job.key ) );
    }

private:
    void note( const std::string& text ) {
        {
            const std::lock_guard guard( _mutex );
            _notes.push_back( text );
        }
        throw std::runtime_error( "observer raises" );
    }
    std::mutex _mutex;
    std::vector<std::string>& _notes;
};

TYPED_TEST( MtGroupTest, ObserversAreInformedAndTheirExceptionsReported ) {
    const TraceRecord trace;
    std::vector<std::string> notes;
    {
        TypeParam group( "group", 1 );
        const Producer producer( group );
        this->occupyWorker( producer );
        group.getContainer().setObserver(
            RCShdPtr<typename TypeParam::Observer>( new Recorder<TypeParam>( notes ) ) );
        producer.push( nullptr, 5 );
        Job copied = producer.make( nullptr, 4 );
        group.push( copied );
        EXPECT_TRUE( group.tryPush( std::move( copied ) ) );
        EXPECT_EQ( group.discard( producer.getTag() ), 3u );
        this->busy.release();
    }
    // The worker may report the pop of its stop item first.
    if( notes.size() > 7 && notes[6] == "popped 0" ) {
        std::swap( notes[6], notes[7] );
    }
    EXPECT_THAT( notes, ElementsAre( "pushed 5", "pushed 4", "pushed 4", "popped 5", "popped 4",
                                     "popped 4", "pushed 0", "popped 0", "destroyed" ) );
    EXPECT_THAT( trace.getText(), HasSubstr( "observer raises" ) );
}

TYPED_TEST( MtGroupTest, DiscardDropsTheQueuedItemsOfOneTagWithoutTheLock ) {
    TypeParam group( "group", 1, { .maximumSize = 4 } );
    const Producer kept( group );
    const Producer dropped( group );
    this->occupyWorker( dropped );
    std::vector<int> ran;
    int nbDestroyed = 0;
    for( int i = 0; i < 2; ++i ) {
        kept.push( [&, i] { ran.push_back( i ); }, -i );
        const std::shared_ptr<int> held( new int, [&]( int* value ) {
            // The lock is free, or this would hang.
            TestThread( [&] { EXPECT_EQ( group.getSnapshot().nbQueued, 2u ); } ).join();
            EXPECT_EQ( dropped.count(),
                       1u + 2u - static_cast<unsigned int>( nbDestroyed ) + 1u /* blocked */ );
            ++nbDestroyed;
            delete value;
        } );
        dropped.push( [&, held] { ran.push_back( 100 ); } );
    }
    group.getContainer().setMaximumSize( 2 );
    TestThread blocked( [&] { dropped.push( [&] { ran.push_back( 7 ); }, -7 ); } );
    awaitBlocked( group, 1 );
    {
        const FailingNew none( 0 );
        EXPECT_THROW( group.discard( dropped.getTag() ), std::bad_alloc );
    }
    EXPECT_EQ( nbDestroyed, 0 );
    EXPECT_EQ( group.discard( dropped.getTag() ), 2u );
    EXPECT_EQ( nbDestroyed, 2 );
    this->busy.release();
    blocked.join();
    kept.wait();
    dropped.wait();
    EXPECT_THAT( ran, ElementsAre( 0, 1, 7 ) );
    EXPECT_EQ( group.getSnapshot().nbDiscarded, 2u );
    EXPECT_EQ( group.getSnapshot().nbDone, 4u );
    EXPECT_EQ( group.discard( dropped.getTag() ), 0u );
}

TYPED_TEST( MtGroupTest, DestructorRefusesProducersThatHaventEndedAfterAllElseIsDone ) {
    const unsigned int nbThreads = countThreads();
    int nbDone = 0;
    const auto leak = [&] {
        TypeParam group( "group", 1 );
        const MtRequestTag tag = group.registerProducer();
        group.push( Job( tag, [&] { ++nbDone; } ) );
    };
    EXPECT_THAT( raisedBy<ExAssertionFailed>( leak ), HasSubstr( "0 == _producers" ) );
    EXPECT_EQ( nbDone, 1 );
    const TraceRecord trace;
    const auto leakWhileUnwinding = [&] {
        TypeParam group( "group", 1 );
        static_cast<void>( group.registerProducer() );
        throw std::runtime_error( "the first one" );
    };
    EXPECT_EQ( raisedBy<std::runtime_error>( leakWhileUnwinding ), "the first one" );
    EXPECT_THAT( trace.getText(), HasSubstr( "0 == _producers" ) );
    EXPECT_EQ( countThreads(), nbThreads );
}

TYPED_TEST( MtGroupTest, ConstructionThatFailsAnywhereLeavesNoWorker ) {
    const unsigned int nbThreads = countThreads();
    const int nbFailures = forEachFailingNew<std::exception>(
        [] { const TypeParam group( "group", 2 ); },
        [&]( bool ) { ASSERT_EQ( countThreads(), nbThreads ); } );
    EXPECT_GE( nbFailures, 10 );
}

TYPED_TEST( MtGroupTest, DerivedGroupHasItsHooksCalledAndMayPushInThem ) {
    struct Hooked : TypeParam {
        explicit Hooked( std::vector<std::string>& notes )
            : TypeParam( "hooked", 1, { .isStarted = false } )
            , _notes( notes ) {
            this->start();
        }
        ~Hooked() noexcept( false ) override {
            this->stop();
            this->endProducer( _tag );
        }
        void beginWorker( unsigned int ) override {
            _notes.push_back( "begin" );
            this->push( Job( _tag, [this] { _notes.push_back( "item" ); } ) );
        }
        void endWorker( unsigned int ) override {
            // Nobody would execute it.
            _notes.push_back(
                raisedBy<ExAssertionFailed>( [this] { this->push( Job( _tag, nullptr ) ); } ) );
        }

        std::vector<std::string>& _notes;
        const MtRequestTag _tag = this->registerProducer();
    };
    std::vector<std::string> notes;
    { const Hooked group( notes ); }
    EXPECT_THAT( notes, ElementsAre( "begin", "item", HasSubstr( "_nbServing != 0" ) ) );
}

TEST( MtGroupDumpTest, DumpHasThePoolAndItsSnapshot ) {
    JobGroup group( "painters", 1 );
    const Producer producer( group );
    HoldPoint busy( "the worker" );
    producer.push( [&] { busy.pass(); } );
    busy.waitUntilReached();
    producer.push( nullptr );
    EXPECT_EQ( dumpOf( group ),
               "painters threads 1 running prio 0 queued 1 most 1 running 1 done 0 "
               "discarded 0 blocked producers 0 waits 0 longest wait 0 s" );
    busy.release();
}

} // namespace
} // namespace Qv
