#include <base/init/src/inPackageFrame.h>
#include <resmgt/threads/mtPriorityMgr.h>
#include <resmgt/threads/mtUtil.h>
#include <resmgt/threads/priority.h>
#include <resmgt/threads/priorityRelation.h>
#include <resmgt/threads/src/posix/mtProcessSearchPosix.h>
#include <resmgt/threads/src/posix/mtProcessorSetPosix.h>
#include <resmgt/threads/src/posix/mtSchedulerPosix.h>
#include <resmgt/threads/test/testProtocol.h>
#include <resmgt/threads/test/threadCalls.h>
#include <resmgt/threads/test/tracedText.h>
#include <tests/support/childProcess.h>
#include <tests/support/holdPoint.h>
#include <tests/support/scopedEnvironment.h>
#include <tests/support/testThread.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cerrno>
#include <map>
#include <memory>

#include <pthread.h>
#include <sched.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

namespace Qv {
namespace {

constexpr int NB_LEVELS = 7;
constexpr int NOBODY = 65534;

pid_t numberOf( MtThread& thread ) {
    return static_cast<pid_t>( thread.getId().getNum() );
}

int niceOf( pid_t thread ) {
    return ::getpriority( PRIO_PROCESS, static_cast<id_t>( thread ) );
}

/// Policy and static priority.
std::pair<int, int> policyOf( pid_t thread ) {
    sched_param parameters{};
    ::sched_getparam( thread, &parameters );
    return { ::sched_getscheduler( thread ) & ~SCHED_RESET_ON_FORK, parameters.sched_priority };
}

const std::pair<int, int> ORDINARY{ SCHED_OTHER, 0 };

rlim_t limitOf( __rlimit_resource resource ) {
    rlimit limit{};
    ::getrlimit( resource, &limit );
    return limit.rlim_cur;
}

/// Whether the machine lets this process do more than its limits say.
bool isPrivileged() {
    const int before = niceOf( 0 );
    const bool isRaised = before > -20 && ::setpriority( PRIO_PROCESS, 0, before - 1 ) == 0;
    ::setpriority( PRIO_PROCESS, 0, before );
    return isRaised && limitOf( RLIMIT_NICE ) <= static_cast<rlim_t>( 20 - before );
}

int expectedNice( int level, int processNice ) {
    const int wanted = std::max( processNice - 3 * level, -20 );
    const int limit = 20 - static_cast<int>( std::min<rlim_t>( limitOf( RLIMIT_NICE ), 40 ) );
    return isPrivileged() ? wanted : std::max( wanted, std::min( processNice, limit ) );
}

/// A thread that lives, at a level.
class LevelThread {
public:
    explicit LevelThread( int level )
        : _thread( makeThread( [this]( MtThread& ) { _body.pass(); } ) )
        , _node( "level", MtPriorityMgr::getInstance(), level )
        , _relation( "equal", _node, PriorityRelation::EQUAL, _thread->getPriority() ) {}
    ~LevelThread() { _body.release(); }

    void start() { _thread->start(); }
    void setLevel( int level ) { _node.setPriority( level ); }
    pid_t number() { return numberOf( *_thread ); }

private:
    HoldPoint _body{ "level" };
    // After the relation, which uses its node, whatever a failed test leaves.
    const OPtr<MtThread> _thread;
    Priority _node;
    const PriorityRelation _relation;
};

bool haveLevelsTheirNiceValues() {
    const int processNice = niceOf( ::getpid() );
    bool isRight = true;
    LevelThread moved( 0 );
    moved.start();
    for( int level = 0; level < NB_LEVELS; ++level ) {
        LevelThread thread( level );
        thread.start();
        moved.setLevel( level );
        const int expected = expectedNice( level, processNice );
        EXPECT_EQ( niceOf( thread.number() ), expected ) << "started at level " << level;
        EXPECT_EQ( niceOf( moved.number() ), expected ) << "moved to level " << level;
        isRight = isRight && niceOf( thread.number() ) == expected &&
                  niceOf( moved.number() ) == expected;
    }
    moved.setLevel( 0 );
    return isRight && niceOf( moved.number() ) == processNice &&
           niceOf( ::getpid() ) == processNice;
}

TEST( MtSchedulingTest, ALevelIsANiceValueFromTheFirstInstructionOfABody ) {
    EXPECT_TRUE( haveLevelsTheirNiceValues() );
    Priority node( "urgent", MtPriorityMgr::getInstance(), 2 );
    int seen = 99;
    const OPtr<MtThread> thread = makeThread( [&]( MtThread& ) { seen = niceOf( 0 ); } );
    {
        const PriorityRelation relation( "r", node, PriorityRelation::EQUAL,
                                         thread->getPriority() );
        thread->start();
        thread->join();
    }
    EXPECT_EQ( seen, expectedNice( 2, niceOf( ::getpid() ) ) );
}

TEST( MtSchedulingTest, WhatIsNoLevelAbortsTheProgram ) {
    for( const int level : { -1, NB_LEVELS, 200 } ) {
        EXPECT_THROW( MtSchedulerPosix::getNiceStep( level ), ExProgramAborted );
    }
}

std::size_t countIn( const std::string& text, const std::string& part ) {
    std::size_t count = 0;
    for( auto at = text.find( part ); at != std::string::npos; at = text.find( part, at + 1 ) ) {
        ++count;
    }
    return count;
}

/// From now on the process has no privileges, where it had any.
void dropPrivileges() {
    if( ::geteuid() == 0 && ::setresuid( NOBODY, NOBODY, NOBODY ) != 0 ) {
        std::abort();
    }
}

/// Runs `check` in this process, which is a child made for that, and ends it: with 7 if it holds.
[[noreturn]] void endWith( const std::function<bool()>& check ) {
    std::_Exit( check() && !testing::Test::HasFailure() ? 7 : 1 );
}

const testing::ExitedWithCode SUCCESS( 7 );

TEST( MtSchedulingDeathTest, WithoutPrivilegesLevelsAreCutAndThatIsTracedOnce ) {
    EXPECT_EXIT( endWith( [] {
                     dropPrivileges();
                     captureTrace();
                     const bool isRight =
                         haveLevelsTheirNiceValues() && haveLevelsTheirNiceValues();
                     const std::string traced = takeTrace();
                     EXPECT_EQ( countIn( traced, "Threads can't have higher priorities" ), 1U );
                     return isRight;
                 } ),
                 SUCCESS, "" );
}

TEST( MtSchedulingTest, ALimitCutsLevelsWithoutMakingThemAlike ) {
    if( !isPrivileged() ) {
        // The system's own refusals are seen above.
        return;
    }
    const int processNice = niceOf( ::getpid() );
    const RefusedPriorities refused( 20 - ( processNice - 5 ), 0 );
    LevelThread thread( 0 );
    thread.start();
    for( const auto& [level, expected] : std::map<int, int>{ { 1, -3 }, { 2, -5 }, { 6, -5 } } ) {
        thread.setLevel( level );
        EXPECT_EQ( niceOf( thread.number() ), processNice + expected );
    }
    thread.setLevel( 0 );
    EXPECT_EQ( niceOf( thread.number() ), processNice );
}

TEST( MtSchedulingDeathTest, AProcessWithANiceValueKeepsIt ) {
    EXPECT_EXIT( endWith( [] {
                     InPackageFrame& frame = InPackageFrame::getInstance();
                     frame.stop();
                     ::setpriority( PRIO_PROCESS, 0, 5 );
                     frame.start();
                     return haveLevelsTheirNiceValues();
                 } ),
                 SUCCESS, "" );
}

// --- Real time

bool mayRunInRealTime() {
    const sched_param parameters{ 1 };
    const sched_param none{ 0 };
    const bool may = ::sched_setscheduler( 0, SCHED_RR, &parameters ) == 0;
    ::sched_setscheduler( 0, SCHED_OTHER, &none );
    return may;
}

/// What the threads of a process with threads of all levels are scheduled by.
class Everybody {
public:
    Everybody() {
        for( int level = 0; level < NB_LEVELS; ++level ) {
            _threads.push_back( std::make_unique<LevelThread>( level ) );
            _threads.back()->start();
        }
        _foreign.waitUntilBlocked();
    }
    ~Everybody() { _gate.open(); }

    std::vector<std::pair<int, int>> getPolicies() {
        std::vector<std::pair<int, int>> policies{ policyOf( ::getpid() ), policyOf( _number ) };
        for( const auto& thread : _threads ) {
            policies.push_back( policyOf( thread->number() ) );
        }
        return policies;
    }
    pid_t getForeign() const { return _number; }

    static std::vector<std::pair<int, int>> ordinary() {
        return std::vector( NB_LEVELS + 2, ORDINARY );
    }
    static std::vector<std::pair<int, int>> realTime( int limit = 99 ) {
        std::vector<std::pair<int, int>> policies;
        for( const int priority : { 1, 9, 1, 7, 8, 9, 10, 11, 16 } ) {
            policies.emplace_back( SCHED_RR, std::min( priority, limit ) );
        }
        return policies;
    }

private:
    Gate _gate{ "a foreign thread's end" };
    std::atomic<pid_t> _number = 0;
    TestThread _foreign{ [this] {
        _number = ::gettid();
        _gate.wait();
    } };
    std::vector<std::unique_ptr<LevelThread>> _threads;
};

TEST( MtRealTimeTest, IsRefusedUntilTheEnvironmentAllowsIt ) {
    ASSERT_TRUE( MtUtil::isRealTimeDisabled() );
    mgr().setRealTime( true );
    EXPECT_FALSE( mgr().isRealTime() );
    EXPECT_EQ( policyOf( ::getpid() ), ORDINARY );
    mgr().setRealTime( false );
}

TEST( MtRealTimeDeathTest, TakesAllThreadsAndGivesThemBack ) {
    const ScopedEnvironment allowed( "QV_THREAD_NO_REALTIME", "0" );
    EXPECT_EXIT( endWith( [] {
                     const bool isAllowed = mayRunInRealTime();
                     const auto expected =
                         isAllowed ? Everybody::realTime() : Everybody::ordinary();
                     for( int time = 0; time < 2; ++time ) {
                         Everybody everybody;
                         mgr().setRealTime( true );
                         EXPECT_EQ( mgr().isRealTime(), isAllowed );
                         EXPECT_EQ( everybody.getPolicies(), expected );
                         LevelThread later( 3 );
                         later.start();
                         later.setLevel( 6 );
                         EXPECT_EQ( policyOf( later.number() ), expected.back() );
                         mgr().setRealTime( false );
                         EXPECT_FALSE( mgr().isRealTime() );
                         EXPECT_EQ( everybody.getPolicies(), Everybody::ordinary() );
                         EXPECT_EQ( niceOf( later.number() ), expectedNice( 6, niceOf( 0 ) ) );
                     }
                     return true;
                 } ),
                 SUCCESS, "" );
}

TEST( MtRealTimeDeathTest, LastsFromThePackagesStartToItsEndWhenItIsForced ) {
    const ScopedEnvironment allowed( "QV_THREAD_NO_REALTIME", "0" );
    const ScopedEnvironment forced( "QV_THREAD_FORCE_REALTIME", "1" );
    EXPECT_EXIT( endWith( [] {
                     const bool isOn = mgr().isRealTime();
                     EXPECT_EQ( policyOf( ::getpid() ).first, isOn ? SCHED_RR : SCHED_OTHER );
                     InPackageFrame::getInstance().stop();
                     EXPECT_EQ( policyOf( ::getpid() ), ORDINARY );
                     return isOn == mayRunInRealTime();
                 } ),
                 SUCCESS, "" );
}

TEST( MtRealTimeDeathTest, IsCutToItsLimitAndARefusalIsUndoneAndTracedOnce ) {
    const ScopedEnvironment allowed( "QV_THREAD_NO_REALTIME", "0" );
    EXPECT_EXIT( endWith( [] {
                     const bool isAllowed = mayRunInRealTime();
                     const RefusedPriorities refused( 99, 8 );
                     Everybody everybody;
                     mgr().setRealTime( true );
                     EXPECT_EQ( everybody.getPolicies(),
                                isAllowed ? Everybody::realTime( 8 ) : Everybody::ordinary() );
                     mgr().setRealTime( false );
                     return everybody.getPolicies() == Everybody::ordinary();
                 } ),
                 SUCCESS, "" );
    EXPECT_EXIT( endWith( [] {
                     dropPrivileges();
                     const RefusedPriorities refused( 99, 0 );
                     Everybody everybody;
                     captureTrace();
                     for( int time = 0; time < 2; ++time ) {
                         mgr().setRealTime( true );
                         EXPECT_FALSE( mgr().isRealTime() );
                         EXPECT_EQ( everybody.getPolicies(), Everybody::ordinary() );
                     }
                     const std::string traced = takeTrace();
                     return countIn( traced, "The process can't run in real time" ) == 1;
                 } ),
                 SUCCESS, "" );
}

TEST( MtRealTimeDeathTest, WhateverFailsInBetweenIsUndone ) {
    const ScopedEnvironment allowed( "QV_THREAD_NO_REALTIME", "0" );
    EXPECT_EXIT( endWith( [] {
                     const bool isAllowed = mayRunInRealTime();
                     Everybody everybody;
                     const sched_param own{ 3 };
                     auto before = Everybody::ordinary();
                     if( isAllowed ) {
                         // Whatever its owner has set comes back.
                         ::sched_setscheduler( everybody.getForeign(), SCHED_FIFO, &own );
                         before[1] = { SCHED_FIFO, 3 };
                     }
                     for( const auto& [call, error, times] :
                          { std::tuple( "sched_setscheduler", EPERM, FailingCall::ONCE ),
                            { "sched_setscheduler", EINVAL, FailingCall::ONCE },
                            { "opendir", EMFILE, FailingCall::ONCE } } ) {
                         bool hasFailed = true;
                         for( long nth = 1; hasFailed && nth < 100; ++nth ) {
                             {
                                 const ProcessFailingCall failing( call, error, times, nth );
                                 const std::string raised =
                                     assertedBy( [] { mgr().setRealTime( true ); } );
                                 hasFailed = failing.hasFailed();
                                 EXPECT_EQ( mgr().isRealTime(), isAllowed && !hasFailed ) << nth;
                                 EXPECT_TRUE( error == EPERM || !hasFailed || raised != "" ) << nth;
                             }
                             if( hasFailed ) {
                                 EXPECT_EQ( everybody.getPolicies(), before ) << call << nth;
                             }
                             if( !isAllowed ) {
                                 break;
                             }
                         }
                         mgr().setRealTime( false );
                         before[1] = ORDINARY;
                     }
                     return true;
                 } ),
                 SUCCESS, "" );
}

TEST( MtProcessSearchTest, FindsAProcessByTheNameThatTheSystemShows ) {
    int ends[2];
    ASSERT_EQ( ::pipe( ends ), 0 );
    const pid_t child = ::fork();
    if( child == 0 ) {
        char end = 0;
        ::pthread_setname_np( ::pthread_self(), "Companion.exe" );
        ::close( ends[1] );
        ::_exit( ::read( ends[0], &end, 1 ) == 0 ? 0 : 1 );
    }
    ::close( ends[0] );
    waitUntil( [] { return MtProcessSearchPosix::find( "companion.EXE" ) != 0; },
               "a child's name" );
    EXPECT_EQ( MtProcessSearchPosix::find( "companion.exe" ), child );
    ::close( ends[1] );
    expectSuccess( child );
    EXPECT_EQ( MtProcessSearchPosix::find( "companion.exe" ), 0 );
}

// --- Processors

unsigned long long maskOf( pid_t thread ) {
    return MtProcessorSetPosix::ofThread( thread ).getMask();
}

TEST( MtPlacementTest, AMaskIsKeptAndAppliedWhileTheThreadLives ) {
    HoldPoint body( "body" );
    unsigned long long atStart = 0;
    const OPtr<MtThread> thread = makeThread( [&]( MtThread& ) {
        atStart = maskOf( 0 );
        body.pass();
    } );
    const unsigned long long all = thread->getAllProcessorAffinityMask();
    const unsigned long long first = all & ~( all - 1 );
    const int firstNb = __builtin_ctzll( all );
    EXPECT_EQ( thread->getProcessorAffinity(), all );
    {
        // Nobody is asked for a thread that doesn't run.
        const ProcessFailingCall failing( "sched_setaffinity", EINVAL );
        thread->setProcessorNb( -1 );
        EXPECT_EQ( thread->getProcessorAffinity(), all );
        thread->setProcessorNb( firstNb + 32 );
        EXPECT_FALSE( failing.hasFailed() );
    }
    EXPECT_EQ( thread->getProcessorAffinity(), first );
    EXPECT_EQ( assertedBy( [&] { thread->setProcessorAffinity( 0 ); } ), "threadAffinity != 0" );
    EXPECT_EQ( assertedBy( [&] { thread->setProcessorAffinity( ~all | first ); } ),
               "( threadAffinity & ~getAllProcessorAffinityMask() ) == 0" );
    thread->start();
    body.waitUntilReached();
    EXPECT_EQ( atStart, first );
    thread->setProcessorAffinity( all );
    EXPECT_EQ( maskOf( numberOf( *thread ) ), all );
    {
        const ProcessFailingCall failing( "sched_setaffinity", EINVAL, FailingCall::ONCE );
        EXPECT_THAT( assertedBy( [&] { thread->setProcessorAffinity( first ); } ),
                     testing::HasSubstr( "sched_setaffinity" ) );
    }
    EXPECT_EQ( thread->getProcessorAffinity(), all );
    thread->setProcessorNb( firstNb );
    EXPECT_EQ( maskOf( numberOf( *thread ) ), first );
    EXPECT_EQ( mgr().getMainThread()->getProcessorAffinity(), all );
    body.release();
    thread->join();
}

TEST( MtPlacementDeathTest, AThreadWithoutAMaskGetsTheWholeSetUnlessTheEnvironmentForbids ) {
    for( const char* const runOn : { "1", "0" } ) {
        const ScopedEnvironment environment( "QV_RUNON", runOn );
        EXPECT_EXIT( endWith( [&] {
                         const unsigned long long all = maskOf( 0 );
                         const unsigned long long first = all & ~( all - 1 );
                         mgr().getMainThread()->setProcessorAffinity( first );
                         unsigned long long atStart = 0;
                         runThread( [&]( MtThread& ) { atStart = maskOf( 0 ); } );
                         EXPECT_EQ( mgr().getMainThread()->getAllProcessorAffinityMask(), all );
                         return atStart == ( runOn[0] == '1' ? all : first );
                     } ),
                     SUCCESS, "" );
    }
}

TEST( MtPlacementTest, ASetHoldsAnyNumberOfProcessors ) {
    const ProcessFailingCall small( "sched_getaffinity", EINVAL, FailingCall::ONCE );
    const MtProcessorSetPosix set = MtProcessorSetPosix::ofThread( 0 );
    EXPECT_TRUE( small.hasFailed() );
    EXPECT_TRUE( set.applyTo( 0 ) );
    EXPECT_EQ( set.getMask(), maskOf( 0 ) );
    EXPECT_EQ( set.getCount(), MtProcessorSetPosix( set.getMask() ).getCount() );
    EXPECT_EQ( MtProcessorSetPosix( ~0ULL ).getCount(), 64 );
}

} // namespace
} // namespace Qv
