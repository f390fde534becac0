#include <resmgt/threads/src/posix/mtSchedulerPosix.h>

#include <base/failure/assertions.h>
#include <base/trace/traceManager.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <set>
#include <sstream>

#include <dirent.h>
#include <sys/resource.h>
#include <unistd.h>

namespace Qv {

constinit std::atomic<bool> MtSchedulerPosix::_isRealTime{ false };

namespace {

constexpr int NICE_STEP = -3;
constexpr int LEAST_NICE = -20;
// RLIMIT_NICE counts upwards from the nice value 19, which is 1.
constexpr int NICE_LIMIT_BASE = 20;
constexpr std::array<int, MtSchedulerPosix::NB_LEVELS> REAL_TIME_PRIORITIES{ 1,  7,  8, 9,
                                                                             10, 11, 16 };
constexpr int PRIORITY_WITHOUT_LEVEL = 9;
constexpr int ROUND_ROBIN = SCHED_RR | SCHED_RESET_ON_FORK;
constexpr int ORDINARY = SCHED_OTHER | SCHED_RESET_ON_FORK;
// New threads may show up while others are raised; nobody can start them faster than this for long.
constexpr int MAX_NB_ROUNDS = 10;

// Written at the package's start, before threads start.
int processNice = 0;

enum Refusal { RAISING, REAL_TIME, PROCESSORS, NB_REFUSALS };
constexpr std::array<const char*, NB_REFUSALS> REFUSAL_TEXTS{
    "Threads can't have higher priorities than the process (see RLIMIT_NICE): ",
    "The process can't run in real time (see RLIMIT_RTPRIO): ",
    "Threads can't be given processors: " };
// Relaxed: they order nothing.
constinit std::array<std::atomic<bool>, NB_REFUSALS> isTraced{};

bool isRefusal( int error ) {
    return error == EPERM || error == EACCES;
}

void traceOnce( Refusal refusal, int error ) noexcept {
    if( isTraced[refusal].exchange( true, std::memory_order_relaxed ) ) {
        return;
    }
    try {
        std::ostringstream text;
        text << REFUSAL_TEXTS[refusal] << std::strerror( error );
        TraceManager::getInstance().getTrace().log( text, QV_HERE );
    } catch( ... ) {
        Trace::printCurrentException( "MtSchedulerPosix", QV_HERE );
    }
}

int getLimit( __rlimit_resource resource ) {
    rlimit limit{};
    QV_SYS_ASSERT( ::getrlimit( resource, &limit ) == 0, errno );
    return static_cast<int>( std::min<rlim_t>( limit.rlim_cur, 1000 ) );
}

/// True if the call succeeded, false if it was refused.
bool isDone( int result, const char* call ) {
    if( result != 0 && !isRefusal( errno ) ) {
        Assertions::throwSysAssertionFailed( QV_HERE, call, errno );
    }
    return result == 0;
}

bool setNice( pid_t thread, int value ) {
    return isDone( ::setpriority( PRIO_PROCESS, static_cast<id_t>( thread ), value ),
                   "::setpriority( PRIO_PROCESS, thread, value ) == 0" );
}

void applyNice( pid_t thread, int level ) {
    const int wanted = std::max( processNice + MtSchedulerPosix::getNiceStep( level ), LEAST_NICE );
    if( setNice( thread, wanted ) ) {
        return;
    }
    traceOnce( RAISING, errno );
    const int allowed = std::min( processNice, NICE_LIMIT_BASE - getLimit( RLIMIT_NICE ) );
    if( wanted < allowed ) {
        static_cast<void>( setNice( thread, allowed ) );
    }
}

bool setPolicy( pid_t thread, int policy, int priority ) {
    sched_param parameters{};
    parameters.sched_priority = priority;
    return isDone( ::sched_setscheduler( thread, policy, &parameters ),
                   "::sched_setscheduler( thread, policy, &parameters ) == 0" );
}

bool applyRealTime( pid_t thread, int priority ) {
    if( setPolicy( thread, ROUND_ROBIN, priority ) ) {
        return true;
    }
    const int error = errno;
    const int allowed = std::min( priority, getLimit( RLIMIT_RTPRIO ) );
    if( allowed > 0 && allowed < priority && setPolicy( thread, ROUND_ROBIN, allowed ) ) {
        return true;
    }
    traceOnce( REAL_TIME, error );
    return false;
}

/// Back from real time, if it is there by this class.
void makeOrdinary( pid_t thread ) {
    if( ::sched_getscheduler( thread ) == ROUND_ROBIN ) {
        static_cast<void>( setPolicy( thread, ORDINARY, 0 ) );
    }
}

/// The numbers of all threads of the process, of which any may have ended by now.
std::set<pid_t> getTasks() {
    struct Closing {
        void operator()( DIR* directory ) const noexcept { ::closedir( directory ); }
    };
    const std::unique_ptr<DIR, Closing> directory( ::opendir( "/proc/self/task" ) );
    QV_SYS_ASSERT( directory, errno );
    std::set<pid_t> tasks;
    errno = 0;
    while( const dirent* const entry = ::readdir( directory.get() ) ) {
        const int number = std::atoi( entry->d_name );
        if( number > 0 ) {
            tasks.insert( number );
        }
    }
    QV_SYS_ASSERT( errno == 0, errno );
    return tasks;
}

/// Calls `change` for every thread of the process, until no new one shows up or it answers false.
template <class Change>
bool changeAll( const Change& change ) {
    std::set<pid_t> seen;
    for( int round = 0; round < MAX_NB_ROUNDS; ++round ) {
        const std::size_t nbBefore = seen.size();
        for( const pid_t task : getTasks() ) {
            if( seen.insert( task ).second && !change( task ) ) {
                return false;
            }
        }
        if( seen.size() == nbBefore ) {
            break;
        }
    }
    return true;
}

/// Runs `change`; a thread that has ended meanwhile is no failure.
template <class Change>
bool unlessEnded( pid_t thread, const Change& change ) {
    try {
        return change();
    } catch( const ExAssertionFailed& ) {
        if( ::sched_getscheduler( thread ) == -1 && errno == ESRCH ) {
            return true;
        }
        throw;
    }
}

} // namespace

void MtSchedulerPosix::initialize() {
    errno = 0;
    const int nice = ::getpriority( PRIO_PROCESS, static_cast<id_t>( ::getpid() ) );
    QV_SYS_ASSERT( errno == 0, errno );
    processNice = nice;
    getProcessSet();
}

const MtProcessorSetPosix& MtSchedulerPosix::getProcessSet() {
    // Never destroyed: threads may still start while the process ends.
    static const auto* const set =
        new MtProcessorSetPosix( MtProcessorSetPosix::ofThread( ::getpid() ) );
    return *set;
}

int MtSchedulerPosix::getNiceStep( int level ) {
    if( level < 0 || level >= NB_LEVELS ) {
        Assertions::throwProgramAborted( QV_HERE, nullptr );
    }
    return NICE_STEP * level;
}

bool MtSchedulerPosix::applyLevel( pid_t thread, int level ) {
    if( isRealTime() &&
        applyRealTime( thread, REAL_TIME_PRIORITIES[static_cast<std::size_t>( level )] ) ) {
        return true;
    }
    applyNice( thread, level );
    return !isRealTime();
}

bool MtSchedulerPosix::switchLevel( pid_t thread, int level ) {
    if( !isRealTime() ) {
        makeOrdinary( thread );
    }
    return applyLevel( thread, level );
}

int MtSchedulerPosix::getNice( pid_t thread ) noexcept {
    return ::getpriority( PRIO_PROCESS, static_cast<id_t>( thread ) );
}

int MtSchedulerPosix::getScheduledPriority( pid_t thread ) noexcept {
    sched_param parameters{};
    const bool isRealTimeThread = ::sched_getscheduler( thread ) == ROUND_ROBIN &&
                                  ::sched_getparam( thread, &parameters ) == 0;
    return isRealTimeThread ? parameters.sched_priority : getNice( thread );
}

void MtSchedulerPosix::applyProcessors( pid_t thread, const MtProcessorSetPosix& processors ) {
    if( !isDone( processors.applyTo( thread ) ? 0 : -1, "::sched_setaffinity() == 0" ) ) {
        traceOnce( PROCESSORS, errno );
    }
}

bool MtSchedulerPosix::raiseAll( Formers& formers ) {
    return changeAll( [&]( pid_t task ) {
        return unlessEnded( task, [&] {
            const int policy = ::sched_getscheduler( task );
            sched_param parameters{};
            if( policy > SCHED_OTHER && ::sched_getparam( task, &parameters ) == 0 ) {
                formers[task] = { policy, parameters.sched_priority };
            }
            return applyRealTime( task, PRIORITY_WITHOUT_LEVEL );
        } );
    } );
}

void MtSchedulerPosix::lowerAll( const Formers& formers ) {
    changeAll( [&]( pid_t task ) {
        const auto former = formers.find( task );
        return unlessEnded( task, [&] {
            if( former == formers.end() ) {
                makeOrdinary( task );
            } else if( ::sched_getscheduler( task ) == ROUND_ROBIN ) {
                static_cast<void>( setPolicy( task, former->second.policy | SCHED_RESET_ON_FORK,
                                              former->second.priority ) );
            }
            return true;
        } );
    } );
}

} // namespace Qv
