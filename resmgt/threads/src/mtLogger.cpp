#include <resmgt/threads/mtLogger.h>

#include <base/failure/assertions.h>
#include <base/failure/exDebuggerUtil.h>
#include <base/failure/exWrapper.h>
#include <base/locks/lkThreadId.h>
#include <base/text/exStdout.h>
#include <base/trace/trace.h>
#include <resmgt/locks/lkThreadOpaqueDataFactory.h>
#include <resmgt/locks/mtThreadDataRegistry.h>
#include <resmgt/logger/lgLog.h>
#include <resmgt/logger/lgQueue.h>
#include <resmgt/logger/lgReader.h>
#include <resmgt/logger/qvLog.h>
#include <resmgt/osal/osUtils.h>
#include <resmgt/profiling/sleeper.h>
#include <resmgt/testing/testInform.h>
#include <resmgt/threads/mtThread.h>
#include <resmgt/threads/mtThreadFactory.h>
#include <resmgt/threads/mtThreadProtocol.h>
#include <resmgt/threads/priority.h>
#include <resmgt/threads/priorityRelation.h>
#include <resmgt/threads/rtPriorities.h>
#include <resmgt/threads/src/mtCurrentThread.h>
#include <resmgt/threads/src/mtLoggerRegistry.h>
#include <resmgt/threads/src/mtProcess.h>
#include <resmgt/threads/src/mtQueueObserver.h>
#include <resmgt/threads/src/mtSignals.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <memory>
#include <optional>
#include <thread>
#include <utility>

namespace Qv {

void MtLogger::Registry::registerQueue( LgQueue* queue ) {
    const LkGuard<const LkLock> guard( _lock );
    if( std::find( _queues.begin(), _queues.end(), queue ) == _queues.end() ) {
        _queues.push_back( queue );
        noteChange();
    }
}

void MtLogger::Registry::deregisterQueue( LgQueue* queue ) {
    const LkGuard<const LkLock> guard( _lock );
    _queues.remove( queue );
    noteChange();
}

List<LgQueue*> MtLogger::Registry::getQueueList() const {
    const LkGuard<const LkLock> guard( _lock );
    return _queues;
}

class MtLogger::ReaderThread final : public MtThreadProtocol {
public:
    void performExecute( MtThread* ) override { readerLoop(); }
    void performStop( MtThread* ) override;
};

namespace {

constexpr float IDLE_STEP_SECONDS = 0.016F;
constexpr int MAX_IDLE_STEPS = 20;
// An output may have stalled for good.
constexpr double MAX_END_SECONDS = 5.0;
// For a statement that is being written at the reader's end; its thread may be the one that has
// crashed.
constexpr int MAX_END_STEPS = 100;
constexpr double END_STEP_SECONDS = 0.001;
// Of passes in a row, before the reader gives the processor up, or gives up.
constexpr int MAX_FAILURES = 100;

// Set by the start, cleared by whoever ends the reader; relaxed, since the join orders the rest.
constinit std::atomic<bool> running{ false };
// The process of the last start; relaxed, since a forked child has it from before.
constinit std::atomic<long> ownProcess{ 0 };

/// Its copies of the locks may be held for ever.
bool isForkedChild() noexcept {
    return ownProcess.load( std::memory_order_relaxed ) != MtProcess::getNumber();
}

/// Between `start` and `end`. Never destroyed: threads may outlive the statics.
struct State {
    const LkLock finalizationLock{ "MtLogger finalization lock" };
    // Held while the registry in force changes, and while a queue is entered into it. It comes
    // after the finalization lock and before "LogRegistry_Lock".
    const LkLock registryLock{ "MtLogger registry lock" };
    const RCShdPtr<LkThreadOpaqueData> slot;
    OPtr<LgReader> reader QV_GUARDED_BY( finalizationLock );
    OPtr<MtThread> thread QV_GUARDED_BY( finalizationLock );
    std::unique_ptr<PriorityRelation> priority QV_GUARDED_BY( finalizationLock );
    OPtr<LgRegistry> formerRegistry QV_GUARDED_BY( finalizationLock );
    std::terminate_handler formerTerminateHandler QV_GUARDED_BY( finalizationLock ) = nullptr;
    ExWrapper::LoggingFunction formerLoggingFunction QV_GUARDED_BY( finalizationLock ) = nullptr;
    bool isStarted QV_GUARDED_BY( finalizationLock ) = false;
    bool hasCrashed QV_GUARDED_BY( finalizationLock ) = false;
    // The thread of a former start that hadn't ended in time. Never destroyed.
    MtThread* leftThread QV_GUARDED_BY( finalizationLock ) = nullptr;
    // The reader thread's reader, and the queue that it leaves: the thread's start and end order
    // the accesses.
    LgReader* threadReader = nullptr;
    LgQueue* loggerThreadQueue = nullptr;

    State();
};

State& getState() {
    static State* const state = new State;
    return *state;
}

struct ThreadQueue {
    LgQueue* queue = nullptr;
    bool isBeingMade = false;
    // The thread has freed its data for good.
    bool isClosed = false;
    bool isReader = false;
};

// What each statement asks: no slower than it must be, and without memory of its own.
thread_local constinit ThreadQueue threadQueue
#if defined( __linux__ )
    __attribute__( ( tls_model( "initial-exec" ) ) )
#endif
    ;

class MakingGuard {
public:
    MakingGuard() { threadQueue.isBeingMade = true; }
    MakingGuard( const MakingGuard& ) = delete;
    MakingGuard& operator=( const MakingGuard& ) = delete;
    ~MakingGuard() { threadQueue.isBeingMade = false; }
};

void* createQueue() {
    const MakingGuard making;
    MtThread* const thread = MtCurrentThread::get();
    const std::string name = thread != nullptr ? thread->getName() : "unknown";
    OPtr<LgQueue> queue( new LgQueue( ThreadNumber::get(), name.c_str() ) );
    static_cast<void>( queue->changeObserver( OPtr<LgQueue::Observer>( new MtQueueObserver ) ) );
    const LkGuard<const LkLock> guard( getState().registryLock );
    LgRegistry* const registry = LgLog::getRegistry();
    QV_ASSERT( registry != nullptr );
    registry->registerQueue( queue.get() );
    threadQueue.queue = queue.get();
    return queue.release();
}

/// The reader destroys it.
void leaveQueue( void* queue ) {
    threadQueue.queue = nullptr;
    LgQueue::creatorExit( static_cast<LgQueue*>( queue ) );
}

State::State()
    : slot( LkThreadOpaqueDataFactory::create( "Log_Queue", &createQueue, &leaveQueue ) ) {}

void report() noexcept {
    Trace::printCurrentException( "MtLogger", QV_HERE );
}

template <class Step>
void attempt( const Step& step ) noexcept {
    try {
        step();
    } catch( ... ) {
        report();
    }
}

void logException( const char* text ) noexcept {
    attempt( [&] { ExStdout::printAtomically( text ); } );
    QV_LOG( Threads, FatalError, text );
    MtLogger::haltAndFlushOnCrash();
}

/// All that is there. Whether anything was.
bool flushPublished( LgReader& reader ) noexcept {
    bool hasFlushed = false;
    for( int nbFailures = 0; nbFailures < MAX_FAILURES; ) {
        try {
            if( !reader.flushEarliest() ) {
                break;
            }
            hasFlushed = true;
            nbFailures = 0;
        } catch( ... ) {
            ++nbFailures;
        }
    }
    return hasFlushed;
}

void sleepIdle( int nbSteps ) {
    for( int i = 0;
         i < nbSteps && running.load( std::memory_order_relaxed ) && !LgLog::isFlushWanted();
         ++i ) {
        Sleeper::getInstance().sleep( static_cast<double>( IDLE_STEP_SECONDS ) );
    }
}

std::unique_ptr<PriorityRelation> makePriority( MtThread& thread, Priority& equal ) {
    return std::make_unique<PriorityRelation>( "LoggerPriority", thread.getPriority(),
                                               PriorityRelation::EQUAL, equal );
}

void createReader( State& state ) QV_REQUIRES( state.finalizationLock ) {
    state.reader.reset( new LgReader );
    state.threadReader = state.reader.get();
    OPtr<MtThreadProtocol> protocol( new MtLogger::ReaderThread );
    state.thread =
        MtThreadFactory::getInstance().createThread( "Log_Reader_Thread", protocol, false, 0 );
    state.priority =
        makePriority( *state.thread, RtPriorities::getInstance().getBaseLinePriority() );
    state.thread->start();
}

/// Whether it has ended in time.
bool endReaderThread( MtThread& thread ) noexcept {
    running.store( false, std::memory_order_relaxed );
    bool hasEnded = false;
    attempt( [&] {
        thread.stop();
        hasEnded = thread.timedJoin( MAX_END_SECONDS );
    } );
    // Its own failure comes out of the join.
    attempt( [&] { hasEnded = hasEnded || !thread.isRunning(); } );
    return hasEnded;
}

void reinstateRegistry( State& state ) QV_REQUIRES( state.finalizationLock ) {
    const LkGuard<const LkLock> guard( state.registryLock );
    const OPtr<LgRegistry> own( LgLog::setRegistry( state.formerRegistry ) );
}

void destroyReader( State& state ) QV_REQUIRES( state.finalizationLock ) {
    std::unique_ptr<PriorityRelation> priority = std::move( state.priority );
    attempt( [&] { priority.reset(); } );
    OPtr<MtThread> thread( state.thread );
    attempt( [&] { thread.reset(); } );
    state.reader.reset();
    state.threadReader = nullptr;
}

/// What a thread still reads with can't be destroyed.
void abandonReader( State& state ) QV_REQUIRES( state.finalizationLock ) {
    static_cast<void>( state.priority.release() );
    static_cast<void>( state.reader.release() );
    state.leftThread = state.thread.release();
}

/// Whether no thread of a former start reads any more; two can't read the same queues.
bool hasNoLeftReader( State& state ) QV_REQUIRES( state.finalizationLock ) {
    if( state.leftThread != nullptr && endReaderThread( *state.leftThread ) ) {
        state.leftThread = nullptr;
        delete std::exchange( state.loggerThreadQueue, nullptr );
    }
    return state.leftThread == nullptr;
}

void destroyOwnQueue( State& state ) {
    const OPtr<LgQueue> queue( threadQueue.queue );
    if( queue ) {
        MtThreadDataRegistry::getInstance().removeThreadData( state.slot.get(),
                                                              LkThreadDataTypes::DELETE_AND_CLEAR );
        LgLog::getRegistry()->deregisterQueue( queue.get() );
    }
}

} // namespace

void MtLogger::ReaderThread::performStop( MtThread* ) {
    running.store( false, std::memory_order_relaxed );
}

void MtLogger::start() {
    QV_ASSERT( !LgLog::isLoggerActive() );
    State& state = getState();
    const LkGuard<const LkLock> guard( state.finalizationLock );
    ownProcess.store( MtProcess::getNumber(), std::memory_order_relaxed );
    if( !hasNoLeftReader( state ) ) {
        // The trace would wait for that output.
        std::fputs( "An output still holds up the log's former reader. Log statements write their "
                    "lines themselves.\n",
                    stderr );
        return;
    }
    running.store( true, std::memory_order_relaxed );
    {
        const LkGuard<const LkLock> registryGuard( state.registryLock );
        state.formerRegistry = LgLog::setRegistry( OPtr<LgRegistry>( new Registry ) );
    }
    LgLog::setQueueFunction( &queueCb );
    try {
        createReader( state );
    } catch( ... ) {
        destroyReader( state );
        reinstateRegistry( state );
        LgLog::setQueueFunction( nullptr );
        throw;
    }
    state.isStarted = true;
    state.hasCrashed = false;
    MtQueueObserver::allowWaits( true );
    LgLog::setLoggerActivation( true );
    enterThread();
    state.formerTerminateHandler = std::set_terminate( &terminateHandler );
    state.formerLoggingFunction = ExWrapper::setLoggingFunction( &logException );
    // `exit` leaves the frame of the packages without their stop.
    [[maybe_unused]] static const int result = std::atexit( &haltAndFlushOnCrash );
}

void MtLogger::end() {
    if( isForkedChild() ) {
        return;
    }
    State& state = getState();
    const LkGuard<const LkLock> guard( state.finalizationLock );
    if( !std::exchange( state.isStarted, false ) ) {
        return;
    }
    ExWrapper::setLoggingFunction( state.formerLoggingFunction );
    resetTerminateHandler();
    LgLog::setLoggerActivation( false );
    MtQueueObserver::allowWaits( false );
    if( !endReaderThread( *state.thread ) ) {
        abandonReader( state );
        return;
    }
    // What came between the reader's last look and the activation's end.
    flushPublished( *state.reader );
    destroyReader( state );
    destroyOwnQueue( state );
    reinstateRegistry( state );
    delete std::exchange( state.loggerThreadQueue, nullptr );
}

LgQueue* MtLogger::queueCb() noexcept {
    ThreadQueue& own = threadQueue;
    if( own.queue != nullptr || own.isBeingMade || own.isClosed ) {
        return own.queue;
    }
    try {
        return static_cast<LgQueue*>( getState().slot->getPointee() );
    } catch( const ExInternalError& ) {
        own.isClosed = true;
    } catch( ... ) {
        // Without memory the next statement tries again.
    }
    return nullptr;
}

void MtLogger::enterThread() noexcept {
    if( LgLog::isLoggerActive() ) {
        static_cast<void>( LgLog::getQueue() );
    }
}

void MtLogger::terminateHandler() noexcept {
    haltAndFlushOnCrash();
    if( TestInform::isRegressionTestSuite() ) {
        TestInform::abnormalTermination( "Terminate handler called." );
    }
    ExDebuggerUtil::invokeDebuggerFromTerminateHandler();
    OsUtils::exitOnCrash();
}

void MtLogger::resetTerminateHandler() noexcept {
    State& state = getState();
    const LkGuard<const LkLock> guard( state.finalizationLock );
    if( state.formerTerminateHandler != nullptr ) {
        std::set_terminate( std::exchange( state.formerTerminateHandler, nullptr ) );
    }
}

void MtLogger::haltAndFlushOnCrash() noexcept {
    if( threadQueue.isReader ) {
        // It can't wait for itself; nobody reads any more.
        LgLog::setLoggerActivation( false );
        return;
    }
    if( isForkedChild() ) {
        return;
    }
    State& state = getState();
    const LkGuard<const LkLock> guard( state.finalizationLock );
    if( !state.isStarted || std::exchange( state.hasCrashed, true ) ) {
        return;
    }
    state.reader->setCrashTime();
    // Those who are woken go on without room. One of them may hold what the priorities need.
    LgLog::setBlockingTrace( false );
    MtQueueObserver::allowWaits( false );
    MtThread& thread = *state.thread;
    std::unique_ptr<PriorityRelation> priority = std::move( state.priority );
    attempt( [&] {
        priority.reset();
        priority = makePriority( thread, RtPriorities::getInstance().getInterruptPriority() );
    } );
    state.priority = std::move( priority );
    endReaderThread( thread );
    LgLog::setLoggerActivation( false );
}

void MtLogger::readerLoop() {
    MtSignals::blockAll();
    threadQueue.isReader = true;
    // Without memory for a queue the thread reads all the same.
    std::optional<LgQueue::SuppressGuard> suppress;
    if( const LgQueue* const queue = LgLog::getQueue() ) {
        suppress.emplace( *queue );
    }
    LgReader& reader = *getState().threadReader;
    int nbIdle = 0;
    while( running.load( std::memory_order_relaxed ) ) {
        if( flushPublished( reader ) ) {
            nbIdle = 0;
        } else if( LgLog::isFlushWanted() ) {
            // For a statement that another thread is just writing.
            std::this_thread::yield();
        }
        LgLog::maintain();
        if( !LgLog::getBlockingTrace() ) {
            MtQueueObserver::wakeAll();
        }
        sleepIdle( nbIdle );
        nbIdle = std::min( nbIdle + 1, MAX_IDLE_STEPS );
    }
    readerFlush();
}

void MtLogger::readerFlush() {
    State& state = getState();
    flushPublished( *state.threadReader );
    for( int i = 0; state.threadReader->isAwaitingStatement() && i < MAX_END_STEPS; ++i ) {
        Sleeper::getInstance().sleep( END_STEP_SECONDS );
        flushPublished( *state.threadReader );
    }
    if( LgQueue* const queue = threadQueue.queue ) {
        LgLog::getRegistry()->deregisterQueue( queue );
        QV_ASSERT_TEXT( state.loggerThreadQueue == nullptr, "loggerThreadQueue == 0" );
        state.loggerThreadQueue = queue;
    }
}

} // namespace Qv
