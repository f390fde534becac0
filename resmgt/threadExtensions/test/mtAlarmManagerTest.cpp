#include <resmgt/threadExtensions/mtAlarmManager.h>

#include <resmgt/osal/test/failingCalls.h>
#include <resmgt/threadExtensions/mtAlarmHandleCallback.h>
#include <resmgt/threadExtensions/src/mtAlarmManagerImp.h>
#include <resmgt/threadExtensions/src/mtAlarmQueue.h>
#include <resmgt/threadExtensions/test/job.h>
#include <resmgt/threads/mtPriorityMgr.h>
#include <tests/support/holdPoint.h>
#include <tests/support/raisedBy.h>
#include <tests/support/testSettings.h>
#include <tests/support/testThread.h>

#include <gmock/gmock.h>

#include <array>
#include <chrono>
#include <cmath>
#include <deque>
#include <limits>
#include <random>

namespace Qv {
namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using Clock = std::chrono::steady_clock;

constexpr double LONG = 3600.0;

double secondsSince( Clock::time_point start ) {
    return std::chrono::duration<double>( Clock::now() - start ).count();
}

/// An alarm whose call-back is a function; it is cancelled at its end.
class TestAlarm : private MtAlarmHandle::Callback {
public:
    explicit TestAlarm( std::function<void()> body, double duration = 0.0, int nbRepeats = 0 )
        : handle( "test" )
        , _body( std::move( body ) ) {
        handle.setDuration( duration );
        handle.setRequestedRepeats( nbRepeats );
        handle.setCallback( this );
    }
    ~TestAlarm() override { cancel(); }

    void arm() { MtAlarmManager::getInstance().registerAlarm( handle ); }
    bool cancel() { return MtAlarmManager::getInstance().cancelAlarm( handle ); }
    bool isArmed() const { return MtAlarmManager::getInstance().isArmed( handle ); }
    void awaitCalls( int nb ) const {
        waitUntil( [&] { return nbCalls >= nb; }, "calls of an alarm" );
    }

    MtAlarmHandle handle;
    std::atomic<int> nbCalls = 0;

private:
    void alarmFired( const MtAlarmHandle& alarm ) override {
        EXPECT_EQ( alarm, handle );
        _body();
        ++nbCalls;
    }

    const std::function<void()> _body;
};

/// Keeps the alarms' thread in a call-back until its end.
class HeldThread {
public:
    HeldThread() {
        _alarm.arm();
        point.waitUntilReached();
    }
    ~HeldThread() { point.release(); }

    HoldPoint point{ "held alarm" };

private:
    TestAlarm _alarm{ [this] { point.pass(); } };
};

TEST( MtAlarmQueueTest, OrderIsThatOfTimesThenOfPushesWhateverIsRemoved ) {
    std::mt19937_64 random( testSeed() );
    MtAlarmQueue queue;
    std::vector<RCShdPtr<MtAlarm>> alarms;
    for( int i = 0; i < 60; ++i ) {
        alarms.emplace_back( new MtAlarm( "" ) );
    }
    std::deque<std::pair<std::int64_t, MtAlarm*>> expected;
    const auto isIn = [&]( const MtAlarm* alarm ) {
        return alarm->queueIndex != MtAlarm::NOT_QUEUED;
    };
    for( long round = 0; round < scaledCount( 50000 ); ++round ) {
        const RCShdPtr<MtAlarm>& alarm = alarms[random() % alarms.size()];
        if( isIn( alarm.get() ) ) {
            queue.remove( *alarm );
            std::erase_if( expected, [&]( const auto& e ) { return e.second == alarm.get(); } );
        } else {
            const auto due = static_cast<std::int64_t>( random() % 8 );
            queue.push( alarm, due );
            const auto place = std::upper_bound(
                expected.begin(), expected.end(), due,
                []( std::int64_t time, const auto& entry ) { return time < entry.first; } );
            expected.insert( place, { due, alarm.get() } );
        }
        ASSERT_EQ( queue.isEmpty(), expected.empty() );
        if( !expected.empty() ) {
            ASSERT_EQ( queue.getFirstTime(), expected.front().first );
            ASSERT_EQ( queue.getFirst().get(), expected.front().second );
        }
    }
    queue.clear();
    EXPECT_TRUE( std::none_of( alarms.begin(), alarms.end(),
                               [&]( const auto& alarm ) { return isIn( alarm.get() ); } ) );
}

TEST( MtAlarmManagerTest, OddSettingsAreRefusedAndOddTimesAreAtOnceOrNever ) {
    MtAlarmHandle handle( "odd" );
    EXPECT_THAT( raisedBy( [&] { handle.setDuration( std::nan( "" ) ); } ),
                 HasSubstr( "!std::isnan( seconds )" ) );
    EXPECT_THAT( raisedBy( [&] { handle.setRequestedRepeats( -2 ); } ),
                 HasSubstr( "nbRepeats >= FOR_EVER" ) );
    MtAlarmManager& manager = MtAlarmManager::getInstance();
    EXPECT_THAT( raisedBy( [&] { manager.registerAlarm( handle ); } ),
                 HasSubstr( "callback != nullptr" ) );
    EXPECT_NE( raisedBy( [&] { manager.registerAlarm( MtAlarmHandle() ); } ), "" );
    EXPECT_FALSE( manager.cancelAlarm( MtAlarmHandle() ) );
    EXPECT_FALSE( manager.cancelAlarm( handle ) );
    EXPECT_EQ( handle.getName(), "odd" );

    const double infinity = std::numeric_limits<double>::infinity();
    for( const double never : { infinity, 1e300, 1e10 } ) {
        TestAlarm alarm( [] {}, never, 3 );
        alarm.arm();
        TestAlarm after( [] {} );
        after.arm();
        after.awaitCalls( 1 );
        EXPECT_TRUE( alarm.isArmed() );
        EXPECT_EQ( alarm.nbCalls, 0 );
    }
    for( const double atOnce : { 0.0, -1.0, -infinity, 1e-12 } ) {
        TestAlarm alarm( [] {}, atOnce );
        alarm.arm();
        alarm.awaitCalls( 1 );
        EXPECT_FALSE( alarm.cancel() );
    }
}

TEST( MtAlarmManagerTest, RepeatsAreAsManyAsAskedForAndNoCallComesEarly ) {
    for( const int nbRepeats : { 0, 1, 3 } ) {
        const auto start = Clock::now();
        double last = 0.0;
        TestAlarm alarm( [&] { last = secondsSince( start ); }, 0.002, nbRepeats );
        alarm.arm();
        alarm.awaitCalls( nbRepeats + 1 );
        EXPECT_FALSE( alarm.isArmed() );
        EXPECT_GE( last, 0.002 * ( nbRepeats + 1 ) );
    }
    TestAlarm endless( [] {}, 0.0, MtAlarmHandle::FOR_EVER );
    endless.arm();
    endless.awaitCalls( 100 );
    EXPECT_TRUE( endless.cancel() );
    const int nbCalls = endless.nbCalls;
    TestAlarm after( [] {} );
    after.arm();
    after.awaitCalls( 1 );
    EXPECT_EQ( endless.nbCalls, nbCalls );
}

TEST( MtAlarmManagerTest, OverdueAlarmsFireInTheirOrderAndTheMissedTimesOfARepeatedOneAsOne ) {
    constexpr double STEP = 0.004;
    std::vector<int> order;
    std::vector<double> times;
    std::vector<std::unique_ptr<TestAlarm>> alarms;
    const auto before = Clock::now();
    double armed = 0.0;
    TestAlarm repeated( [&] { times.push_back( secondsSince( before ) ); }, STEP,
                        MtAlarmHandle::FOR_EVER );
    {
        const HeldThread held;
        repeated.arm();
        armed = secondsSince( before );
        for( const double duration : { 0.003, 0.002, 0.001 } ) {
            const int number = static_cast<int>( alarms.size() );
            alarms.push_back( std::make_unique<TestAlarm>(
                [&order, number] { order.push_back( number ); }, duration ) );
            alarms.back()->arm();
        }
        waitUntil( [&] { return secondsSince( before ) > armed + 5.5 * STEP; }, "missed times" );
    }
    repeated.awaitCalls( 4 );
    repeated.cancel();
    EXPECT_THAT( order, ElementsAre( 2, 1, 0 ) );
    // In each step at most one call; the first one lies in a step that was late.
    for( std::size_t i = 1; i < times.size(); ++i ) {
        EXPECT_GT( times[i], ( std::floor( ( times[i - 1] - armed ) / STEP ) + 1.0 ) * STEP );
    }
}

TEST( MtAlarmManagerTest, ArmingAnArmedAlarmReplacesItAndAnEarlierOneWakesTheThread ) {
    TestAlarm late( [] {}, LONG );
    late.arm();
    TestAlarm replaced( [] {}, LONG );
    replaced.arm();
    replaced.handle.setDuration( 0.001 );
    EXPECT_EQ( replaced.nbCalls, 0 );
    replaced.arm();
    replaced.awaitCalls( 1 );
    EXPECT_FALSE( replaced.isArmed() );
    EXPECT_TRUE( late.cancel() );
    EXPECT_FALSE( late.cancel() );
}

TEST( MtAlarmManagerTest, CancellingWaitsForACallThatRunsAndDropsWhatThatArms ) {
    HoldPoint point( "call-back" );
    TestAlarm* self = nullptr;
    TestAlarm alarm(
        [&] {
            point.pass();
            self->arm();
        },
        0.0, 5 );
    self = &alarm;
    alarm.arm();
    point.waitUntilReached();
    TestThread first( [&] { alarm.cancel(); } );
    TestThread second( [&] { alarm.cancel(); } );
    first.waitUntilBlocked();
    second.waitUntilBlocked();
    // Others needn't wait, and neither does a look.
    TestAlarm other( [] {}, LONG );
    other.arm();
    EXPECT_TRUE( other.cancel() );
    EXPECT_FALSE( alarm.isArmed() );
    EXPECT_FALSE( first.isDone() || second.isDone() );
    point.release();
    first.join();
    second.join();
    EXPECT_EQ( alarm.nbCalls, 1 );
    EXPECT_FALSE( alarm.isArmed() );
}

TEST( MtAlarmManagerTest, CallBacksArmAndCancelThemselvesAndOthersAndMayRaise ) {
    TraceRecord traces;
    TestAlarm late( [] {}, LONG );
    late.arm();
    TestAlarm never( [] {}, 0.0 );
    TestAlarm endless( [] {}, 0.0, MtAlarmHandle::FOR_EVER );
    TestAlarm* self = nullptr;
    int nbRounds = 0;
    TestAlarm alarm(
        [&] {
            EXPECT_EQ( late.cancel(), nbRounds == 0 );
            never.arm();
            EXPECT_TRUE( never.cancel() );
            // Its next call was armed before this one.
            EXPECT_TRUE( self->cancel() );
            if( ++nbRounds < 3 ) {
                self->arm();
            } else {
                endless.arm();
            }
            throw std::runtime_error( "call-back's own" );
        },
        0.0, 7 );
    self = &alarm;
    alarm.arm();
    endless.awaitCalls( 2 );
    EXPECT_EQ( nbRounds, 3 );
    EXPECT_EQ( never.nbCalls, 0 );
    EXPECT_THAT( traces.getText(), HasSubstr( "call-back's own" ) );
}

TEST( MtAlarmManagerTest, ThreadEndsWithThePackageAndComesBackWithIt ) {
    struct Caller {
        void call() { ++nbCalls; }
        std::atomic<int> nbCalls = 0;
    } caller;
    MtAlarmHandleCallback<Caller> callback( caller, &Caller::call );
    TestAlarm dropped( [] {}, LONG );
    dropped.arm();
    const unsigned int nbThreads = countThreads();
    MtAlarmManagerImp::stop();
    EXPECT_EQ( countThreads(), nbThreads - 1 );
    EXPECT_FALSE( dropped.isArmed() );
    EXPECT_THAT( raisedBy( [&] { dropped.arm(); } ), HasSubstr( "isStarted()" ) );
    EXPECT_THAT( raisedBy( [] { MtAlarmManager::getInstance().getPriority(); } ),
                 HasSubstr( "isStarted()" ) );
    MtAlarmManagerImp::allowStart();
    {
        const FailingCall failing( "pthread_create", EAGAIN );
        EXPECT_NE( raisedBy( [&] { dropped.arm(); } ), "" );
    }
    EXPECT_FALSE( dropped.isArmed() );
    EXPECT_EQ( countThreads(), nbThreads - 1 );
    MtAlarmHandle again( "again" );
    again.setCallback( &callback );
    MtAlarmManager::getInstance().registerAlarm( again );
    waitUntil( [&] { return caller.nbCalls == 1; }, "a call after the new start" );
    EXPECT_EQ( &MtAlarmManager::getInstance().getPriority().getMgr(),
               &MtPriorityMgr::getInstance() );
    EXPECT_EQ( countThreads(), nbThreads );
}

TEST( MtAlarmManagerTest, AfterACancellationNoCallComesFromWhateverThread ) {
    struct Target {
        explicit Target()
            : alarm( [this] { EXPECT_TRUE( mayRun ); }, 0.0, 2 ) {}
        std::mutex mutex;
        std::atomic<bool> mayRun = false;
        TestAlarm alarm;
    };
    std::array<Target, 6> targets;
    TestThreads( 4, [&]( unsigned int number ) {
        std::mt19937_64 random( testSeed() + number );
        for( long round = 0; round < scaledCount( 3000 ); ++round ) {
            Target& target = targets[random() % targets.size()];
            const std::lock_guard guard( target.mutex );
            if( random() % 2 == 0 ) {
                target.mayRun = true;
                target.alarm.handle.setDuration( static_cast<double>( random() % 50 ) * 1e-6 );
                target.alarm.arm();
            } else {
                target.alarm.cancel();
                target.mayRun = false;
            }
        }
    } ).join();
}

} // namespace
} // namespace Qv
