#include <resmgt/threads/src/posix/mtThreadPosix.h>

#include <base/failure/assertions.h>
#include <base/trace/traceManager.h>
#include <resmgt/threads/mtPriorityMgr.h>
#include <resmgt/threads/mtThreadMgr.h>
#include <resmgt/threads/priority.h>
#include <resmgt/threads/src/mtCurrentThread.h>
#include <resmgt/threads/src/mtThreadTrace.h>
#include <resmgt/threads/src/posix/mtSchedulerPosix.h>

#include <exception>
#include <ostream>

namespace Qv {

namespace {

// Only 32 processors can be named by their number.
constexpr unsigned int NB_NUMBERED_PROCESSORS = 32;

/// Whether no object stands for the main thread. Written on that thread.
bool first = true;

/// The steps of a destructor: all are taken, and the first failure is raised behind the last.
class Steps {
public:
    template <class Step>
    void take( const Step& step ) noexcept {
        try {
            step();
        } catch( ... ) {
            if( _failure == nullptr ) {
                _failure = std::current_exception();
            } else {
                Trace::printCurrentException( "MtThread::~MtThread", QV_HERE );
            }
        }
    }

    void raiseFailure() const {
        if( _failure == nullptr ) {
            return;
        }
        try {
            std::rethrow_exception( _failure );
        } catch( ... ) {
            // A second exception while one unwinds the stack would end the process.
            if( std::uncaught_exceptions() == 0 ) {
                throw;
            }
            Trace::printCurrentException( "MtThread::~MtThread", QV_HERE );
        }
    }

private:
    std::exception_ptr _failure;
};

std::uint64_t checkedStackSize( int stackSize ) {
    QV_ASSERT( stackSize >= 0 );
    return static_cast<std::uint64_t>( stackSize != 0 ? stackSize
                                                      : MtThread::getDefaultStackSize() );
}

} // namespace

MtThreadPosix::MtThreadPosix( const LiString& name, OPtr<MtThreadProtocol>& protocol,
                              MtThreadMgr& mgr, bool isNewThread, bool terminateOnUnhandled,
                              int stackSize )
    : _mgr( mgr )
    , _isMainThread( !isNewThread )
    , _stackSize( checkedStackSize( stackSize ) )
    , _body( std::make_shared<MtThreadBodyPosix>( *this, name, terminateOnUnhandled ) )
    , _affinity( getAllProcessorAffinityMask() ) {
    if( _isMainThread ) {
        QV_ASSERT( first );
        _body->adoptCurrent();
    }
    _priority.reset( new Priority( name, MtPriorityMgr::getInstance(), Priority::NOT_SET, this ) );
    _mgr.addThread( this );
    try {
        attachProtocol( protocol );
    } catch( ... ) {
        _mgr.removeThread( this );
        throw;
    }
    if( _isMainThread ) {
        first = false;
        MtCurrentThread::set( this );
    }
}

MtThreadPosix::~MtThreadPosix() noexcept( false ) {
    Steps steps;
    steps.take( [&] { stop(); } );
    if( !_isMainThread ) {
        steps.take( [&] { join(); } );
        steps.take( [&] { detachProtocol(); } );
    }
    leaveThread();
    steps.take( [&] { _mgr.removeThread( this ); } );
    steps.raiseFailure();
}

/// Whatever runs on has no object from now on.
void MtThreadPosix::leaveThread() {
    if( isCurrentThread() ) {
        MtCurrentThread::set( nullptr );
    }
    if( _isMainThread ) {
        first = true;
    } else {
        _body->abandon();
    }
}

void MtThreadPosix::attachProtocol( OPtr<MtThreadProtocol>& protocol ) {
    if( !protocol ) {
        return;
    }
    MtThreadProtocol& attached = *protocol;
    {
        const LkGuard<LkRecLock> guard( _body->_lock );
        _body->_protocol = protocol;
    }
    try {
        attached.performAttach( this );
    } catch( ... ) {
        const LkGuard<LkRecLock> guard( _body->_lock );
        protocol = _body->_protocol;
        throw;
    }
}

void MtThreadPosix::detachProtocol() {
    MtThreadProtocol* const protocol = getProtocol();
    if( protocol != nullptr ) {
        protocol->performDetach( this );
    }
}

void MtThreadPosix::start() {
    {
        const LkGuard<LkRecLock> guard( _body->_lock );
        QV_ASSERT( !isRunningNoLock() );
        QV_ASSERT( canStart() );
        _body->create( _stackSize );
    }
    _body->meet();
    try {
        const LkGuard<LkRecLock> guard( _body->_lock );
        applyLevel( _level );
    } catch( ... ) {
        _body->callOff();
        throw;
    }
    _body->meet();
}

void MtThreadPosix::stop() {
    const LkGuard<LkRecLock> guard( _body->_lock );
    if( _body->_protocol ) {
        _body->_protocol->performStop( this );
    }
}

void MtThreadPosix::join() {
    joinRun( nullptr );
}

bool MtThreadPosix::timedJoin( double seconds ) {
    return joinRun( &seconds );
}

bool MtThreadPosix::joinRun( const double* seconds ) {
    QV_ASSERT( !isCurrentThread() );
    QV_ASSERT( !_isMainThread );
    std::optional<ExRethrow<ExBase>> kept;
    const bool hasEnded = _body->waitForEnd( seconds, kept );
    if( kept ) {
        TraceManager::getInstance().getTrace().printException( *kept, QV_HERE );
        throw ExRethrow<ExBase>( *kept );
    }
    return hasEnded;
}

bool MtThreadPosix::isCurrentThread() const noexcept {
    return MtCurrentThread::get() == this;
}

bool MtThreadPosix::isProcessorPlaceable() const {
    return true;
}

void MtThreadPosix::setProcessorNb( int nb ) {
    const LkGuard<LkRecLock> guard( _body->_lock );
    if( nb < 0 ) {
        place( getAllProcessorAffinityMask(), true );
    } else {
        setAffinity( 1U << ( static_cast<unsigned int>( nb ) % NB_NUMBERED_PROCESSORS ) );
    }
}

bool MtThreadPosix::isProcessorAffinityPlaceable() const {
    return true;
}

unsigned long long MtThreadPosix::getProcessorAffinity() const {
    const LkGuard<LkRecLock> guard( _body->_lock );
    return _affinity;
}

unsigned long long MtThreadPosix::getAllProcessorAffinityMask() const {
    return MtSchedulerPosix::getProcessSet().getMask();
}

void MtThreadPosix::setProcessorAffinity( unsigned long long mask ) {
    const LkGuard<LkRecLock> guard( _body->_lock );
    QV_ASSERT( isProcessorAffinityPlaceable() );
    setAffinity( mask );
}

void MtThreadPosix::setAffinity( unsigned long long threadAffinity ) {
    QV_ASSERT( threadAffinity != 0 );
    QV_ASSERT( ( threadAffinity & ~getAllProcessorAffinityMask() ) == 0 );
    place( threadAffinity, threadAffinity == getAllProcessorAffinityMask() );
}

void MtThreadPosix::place( unsigned long long affinity, bool isWholeSet ) {
    const pid_t number = _body->getNumber();
    if( number != 0 ) {
        MtSchedulerPosix::applyProcessors( number, isWholeSet ? MtSchedulerPosix::getProcessSet()
                                                              : MtProcessorSetPosix( affinity ) );
    }
    _affinity = affinity;
    _hasWholeSet = isWholeSet;
}

void MtThreadPosix::applyStoredAffinity() {
    const LkGuard<LkRecLock> guard( _body->_lock );
    place( _affinity, _hasWholeSet );
}

bool MtThreadPosix::isRunning() const {
    const LkGuard<LkRecLock> guard( _body->_lock );
    return isRunningNoLock();
}

void* MtThreadPosix::getBaseStackAddress() const {
    return _body->_stackBase;
}

std::uint64_t MtThreadPosix::getMaximumStackSize() const {
    return _stackSize;
}

std::string MtThreadPosix::getName() const {
    return _body->_name;
}

Priority& MtThreadPosix::getPriority() {
    return *_priority;
}

const MtThreadProtocol* MtThreadPosix::getProtocol() const {
    const LkGuard<LkRecLock> guard( _body->_lock );
    return _body->_protocol.get();
}

MtThreadProtocol* MtThreadPosix::getProtocol() {
    const LkGuard<LkRecLock> guard( _body->_lock );
    return _body->_protocol.get();
}

OPtrRet<MtThreadProtocol> MtThreadPosix::releaseProtocol() {
    OPtr<MtThreadProtocol> released;
    {
        const LkGuard<LkRecLock> guard( _body->_lock );
        released = _body->_protocol;
    }
    if( released ) {
        try {
            // Not under the lock: it may change the graph, whose lock comes first.
            released->performDetach( this );
        } catch( ... ) {
            const LkGuard<LkRecLock> guard( _body->_lock );
            _body->_protocol = released;
            throw;
        }
    }
    return released;
}

LkThreadId MtThreadPosix::getId() {
    return _body->_threadId;
}

void MtThreadPosix::dump( std::ostream& stream ) const {
    // Before the thread's lock, as the graph's comes first.
    const int prio = _priority->getPriority();
    const LkGuard<LkRecLock> guard( _body->_lock );
    stream << _body->_name << " prio " << prio << " NTprio "
           << MtSchedulerPosix::getNiceStep( _level ) << " pol RR SYSTEM ex? "
           << ( _body->_exception ? _body->_exception->getReason() : "no exception" )
           << " processor Affnity " << _affinity << ( isRunningNoLock() ? "RUNNING" : "STOPPED" );
}

void MtThreadPosix::applyLevel( int level ) {
    const pid_t number = _body->getNumber();
    const auto trace = [number]( const char* label, int ( *getValue )( pid_t ) ) {
        if( MtThreadTrace::isOn() ) {
            MtThreadTrace::print( QV_HERE, label, getValue( number ) );
        }
    };
    MtThreadTrace::print( QV_HERE, "Setting priority of thread ", _body->_name,
                          " to NT priority enum ", MtSchedulerPosix::getNiceStep( level ) );
    trace( "Old NT priority: ", &MtSchedulerPosix::getNice );
    MtSchedulerPosix::applyLevel( number, level );
    trace( "New NT priority: ", &MtSchedulerPosix::getNice );
    trace( "Scheduled priority: ", &MtSchedulerPosix::getScheduledPriority );
}

void MtThreadPosix::updatePriority( int prio ) {
    const LkGuard<LkRecLock> guard( _body->_lock );
    // Aborts for one that is no level.
    static_cast<void>( MtSchedulerPosix::getNiceStep( prio ) );
    if( prio != _level ) {
        if( _body->getNumber() != 0 ) {
            applyLevel( prio );
        }
        _level = prio;
    }
}

bool MtThreadPosix::applyScheduling() {
    const LkGuard<LkRecLock> guard( _body->_lock );
    return _body->getNumber() == 0 || MtSchedulerPosix::switchLevel( _body->getNumber(), _level );
}

void MtThreadPosix::performReadTimes( std::uint64_t& kernel, std::uint64_t& user ) const {
    const LkGuard<LkRecLock> guard( _body->_lock );
    _body->readTimes( kernel, user );
}

} // namespace Qv
