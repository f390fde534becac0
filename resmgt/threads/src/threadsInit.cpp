#include <base/failure/assertions.h>
#include <base/init/inContextAlias.h>
#include <base/init/inInit.h>
#include <base/init/inSingleton.h>
#include <base/init/inVariable.h>
#include <base/trace/traceManager.h>
#include <resmgt/initVars/envVar.h>
#include <resmgt/logger/qvLog.h>
#include <resmgt/resmgtPackages.h>
#include <resmgt/threads/mtLogger.h>
#include <resmgt/threads/mtThread.h>
#include <resmgt/threads/mtThreadTimes.h>
#include <resmgt/threads/src/mtThreadMgrImp.h>
#include <resmgt/threads/src/mtTraceMgr.h>

#include <sstream>
#include <utility>

namespace Qv {

using namespace QvInit;

const std::type_info* threads::getType() noexcept {
    return &typeid( threads );
}

/// What the package has between its start and its stop.
class MtThreadsPackage {
public:
    static void start();
    static void stop();

private:
    static void endTracing();
    static void stopManager( bool isAlone );
    static void report( MtThreadMgr& mgr );

    // Neither is destroyed when the process ends without a stop: threads may still trace.
    static inline MtTraceMgr* _traceManager = nullptr;
    // A former start's manager that threads were left with.
    static inline MtThreadMgr* _leftManager = nullptr;
};

template <>
InInit<threads>::InInit()
    : InPackageInit( "threads" ) {
    registerPackage();
    dependsOn<testing, profiling, osSupport, osal, messages, logger, literals, locks, initVars,
              base>();
}

template <>
void InInit<threads>::initializePackage() {
    LgGroups::MinorLevelThreads.create( [] { MtThreadsPackage::start(); } );
}

template <>
void InInit<threads>::finalizePackage() {
    LgGroups::MinorLevelThreads.destroy( [] { MtThreadsPackage::stop(); } );
}

namespace {

InInit<threads> package;

const char* const STACK_SIZE_HELP = "Size of a thread's stack in Ombra.";
const InEnvironment stackSizeEnv( "QV_THREAD_STACK_SIZE_DEFAULT", STACK_SIZE_HELP );
const InDefault stackSizeDefault( "2097152", "By default, Ombra threads have two Mbs of stack." );
const InVariable<int> stackSize( "ombra::threads::stackSize", package, stackSizeEnv,
                                 stackSizeDefault );
constexpr int USUAL_STACK_SIZE = 2097152;

EnvIntVar forceRealTime( __FILE__, "QV_THREAD_FORCE_REALTIME", 0 );

} // namespace

int MtThread::getDefaultStackSize() {
    return stackSize.getValue() > 0 ? stackSize.getValue() : USUAL_STACK_SIZE;
}

void MtThreadsPackage::start() {
    InSingleton<MtThreadMgr>::initialize( MtThreadMgrImp::create() );
    try {
        QV_LOG( Threads, Informational, "Thread stack size : ", MtThread::getDefaultStackSize() );
        _traceManager = new MtTraceMgr;
        if( MtThreadMgr::getRealTimeParam() == MtThreadMgr::NOT_INDICATED ) {
            forceRealTime.refresh();
            if( forceRealTime.getValue() > 0 ) {
                MtThreadMgr::indicateAppIsRealTime( false );
            }
        }
        if( MtThreadMgr::getRealTimeParam() != MtThreadMgr::NOT_INDICATED ) {
            MtThreadMgr::getInstance().setRealTime( true );
        }
        MtThread::allowStart();
        MtThreadTimes::initialize();
        MtLogger::start();
    } catch( ... ) {
        if( _traceManager != nullptr ) {
            stop();
        } else {
            InSingleton<MtThreadMgr>::finalize();
        }
        throw;
    }
}

void MtThreadsPackage::stop() {
    MtThreadMgr& mgr = MtThreadMgr::getInstance();
    try {
        if( mgr.isRealTime() ) {
            mgr.setRealTime( false );
        }
    } catch( ... ) {
        // The rest ends all the same.
        Trace::printCurrentException( "the end of the package threads", QV_HERE );
    }
    MtThread::forbidStart();
    // The calling one, and the logger's reader if that was started.
    if( mgr.getNbThreads() <= 2 ) {
        MtLogger::end();
    }
    // Without a reader that an output holds up.
    const bool isAlone = mgr.getNbThreads() == 1;
    if( isAlone ) {
        endTracing();
    } else {
        // Those that remain go on tracing.
        report( mgr );
        MtLogger::haltAndFlushOnCrash();
    }
    MtThreadTimes::finalize();
    stopManager( isAlone );
}

void MtThreadsPackage::endTracing() {
    MtTraceMgr* const traceManager = std::exchange( _traceManager, nullptr );
    QV_ASSERT( traceManager != 0 );
    delete traceManager;
}

void MtThreadsPackage::stopManager( bool isAlone ) {
    if( isAlone ) {
        InSingleton<MtThreadMgr>::finalize();
    } else {
        _leftManager = InSingleton<MtThreadMgr>::release().release();
    }
}

void MtThreadsPackage::report( MtThreadMgr& mgr ) {
    std::ostringstream dump;
    dump << mgr;
    QV_LOG( Threads, Warning, "mgr = ", dump.str() );
    QV_LOG( Threads, Warning,
            "ERROR: \nERROR: The thread package was not cleaned up properly, because \n"
            "     : some threads are still running. Since they might \n"
            "     : still do some logging, the logger is being flushed, \n"
            "     : but it is not being finalized.\n" );
}

} // namespace Qv
