#include <resmgt/threads/src/posix/mtThreadBodyPosix.h>

#include <base/failure/assertions.h>
#include <base/failure/exWrapper.h>
#include <resmgt/initVars/envVar.h>
#include <resmgt/threads/mtLogger.h>
#include <resmgt/threads/src/mtCurrentThread.h>
#include <resmgt/threads/src/mtFatalEnd.h>
#include <resmgt/threads/src/mtProcess.h>
#include <resmgt/threads/src/mtThreadTrace.h>
#include <resmgt/threads/src/posix/mtThreadNamePosix.h>
#include <resmgt/threads/src/posix/mtThreadPosix.h>
#include <resmgt/threads/src/posix/mtThreadTimesPosix.h>

#include <algorithm>
#include <cerrno>
#include <new>

#include <unistd.h>

namespace Qv {

namespace {

const EnvIntVar runOn( __FILE__, "QV_RUNON", 1 );

// What a body needs beside the least that the system starts a thread with: the exception that ends
// it is taken apart on its own stack.
constexpr std::uint64_t LEAST_BODY_STACK = 128 * 1024;

constexpr const char* LOST_EXCEPTION = "an exception for which there was no memory";

std::uint64_t roundedStackSize( std::uint64_t size ) {
    const auto page = static_cast<std::uint64_t>( ::sysconf( _SC_PAGESIZE ) );
    const auto least = static_cast<std::uint64_t>( ::sysconf( _SC_THREAD_STACK_MIN ) );
    return ( std::max( size, least + LEAST_BODY_STACK ) + page - 1 ) / page * page;
}

class ThreadAttributes {
public:
    explicit ThreadAttributes( std::uint64_t stackSize ) {
        QV_SYS_CALL_ASSERT( ::pthread_attr_init( &_attributes ) );
        const int error = ::pthread_attr_setstacksize( &_attributes, stackSize );
        if( error != 0 ) {
            ::pthread_attr_destroy( &_attributes );
            Assertions::throwSysAssertionFailed(
                QV_HERE, "::pthread_attr_setstacksize( &attributes, stackSize ) == 0", error );
        }
    }
    ThreadAttributes( const ThreadAttributes& ) = delete;
    ThreadAttributes& operator=( const ThreadAttributes& ) = delete;
    ~ThreadAttributes() { ::pthread_attr_destroy( &_attributes ); }

    const pthread_attr_t* get() const noexcept { return &_attributes; }

private:
    pthread_attr_t _attributes;
};

} // namespace

/// Ends the run however the thread leaves it, by the system's own unwinding too.
class MtThreadBodyPosix::Ending {
public:
    explicit Ending( MtThreadBodyPosix& body )
        : _body( body )
        , _ended( body._ended ) {}
    Ending( const Ending& ) = delete;
    Ending& operator=( const Ending& ) = delete;
    ~Ending() {
        _body.end();
        _ended->set();
    }

private:
    MtThreadBodyPosix& _body;
    // Whoever has joined may begin the next run at once.
    const std::shared_ptr<LkEvent> _ended;
};

class MtThreadBodyPosix::Work final : public ExWrapper::Functor {
public:
    explicit Work( MtThreadBodyPosix& body )
        : _body( body ) {}

    void execute() override { _body.perform(); }

private:
    MtThreadBodyPosix& _body;
};

MtThreadBodyPosix::MtThreadBodyPosix( MtThreadPosix& owner, const std::string& name,
                                      bool terminateOnUnhandled )
    : _name( name )
    , _terminateOnUnhandled( terminateOnUnhandled )
    , _owner( &owner ) {}

void MtThreadBodyPosix::create( std::uint64_t stackSize ) {
    const ThreadAttributes attributes( roundedStackSize( stackSize ) );
    _ended = std::make_shared<LkEvent>( "MtThreadPosix::ended", false );
    _isCalledOff = false;
    _kernelTime = 0;
    _userTime = 0;
    QV_SYS_CALL_ASSERT( ::pthread_create( &_threadHandle, attributes.get(), &executeCb, this ) );
    _isRunning = true;
    _process = MtProcess::getNumber();
}

void MtThreadBodyPosix::meet() {
    _created.post();
    _started.wait();
}

void MtThreadBodyPosix::callOff() {
    _isCalledOff = true;
    meet();
    std::optional<ExRethrow<ExBase>> none;
    waitForEnd( nullptr, none );
}

void MtThreadBodyPosix::adoptCurrent() {
    const LkGuard<LkRecLock> guard( _lock );
    _threadHandle = ::pthread_self();
    _threadId.setCurrentThread();
    _stackBase = MtProcess::getStackAddress();
    _isRunning = true;
    _process = MtProcess::getNumber();
}

bool MtThreadBodyPosix::waitForEnd( const double* seconds,
                                    std::optional<ExRethrow<ExBase>>& kept ) {
    std::shared_ptr<const LkEvent> ended;
    {
        const LkGuard<LkRecLock> guard( _lock );
        if( !_isRunning ) {
            return true;
        }
        QV_ASSERT( isOfThisProcess() );
        ended = _ended;
    }
    if( seconds == nullptr ) {
        ended->wait();
    } else if( !ended->timedWait( *seconds ) ) {
        return false;
    }
    pthread_t threadHandle{};
    {
        const LkGuard<LkRecLock> guard( _lock );
        if( !_isRunning || _ended != ended ) {
            return true;
        }
        if( hasFailed() ) {
            kept.emplace( QV_HERE, copyException() );
        }
        // Nothing fails from here on: who claims the run has what it left.
        _exception.reset();
        _isExceptionLost = false;
        _isRunning = false;
        threadHandle = _threadHandle;
    }
    // Only its end in the system is left to wait for.
    static_cast<void>( ::pthread_join( threadHandle, nullptr ) );
    return true;
}

OPtr<ExBase> MtThreadBodyPosix::copyException() const {
    if( _isExceptionLost ) {
        return OPtr<ExBase>(
            new ExCaughtException( QV_HERE, "MtThread", nullptr, LOST_EXCEPTION ) );
    }
    return OPtr<ExBase>( _exception->clone() );
}

void MtThreadBodyPosix::abandon() {
    const LkGuard<LkRecLock> guard( _lock );
    _owner = nullptr;
    if( _isRunning ) {
        _isRunning = false;
        // The system has no such thread in a forked child.
        if( isOfThisProcess() ) {
            static_cast<void>( ::pthread_detach( _threadHandle ) );
        }
    }
}

bool MtThreadBodyPosix::isOfThisProcess() const noexcept {
    return _process == MtProcess::getNumber();
}

void MtThreadBodyPosix::readTimes( std::uint64_t& kernel, std::uint64_t& user ) const {
    kernel = _isRunning ? _kernelTime : 0;
    user = _isRunning ? _userTime : 0;
    if( _isRunning && getNumber() != 0 ) {
        MtThreadTimesPosix::readOf( _threadHandle, getNumber(), kernel, user );
    }
}

void* MtThreadBodyPosix::executeCb( void* data ) {
    QV_ASSERT( data != 0 );
    static_cast<MtThreadBodyPosix*>( data )->run();
    return nullptr;
}

void MtThreadBodyPosix::run() {
    // The starter keeps it until the two have met.
    const std::shared_ptr<MtThreadBodyPosix> self = shared_from_this();
    const Ending ending( *this );
    _stackBase = MtProcess::getStackAddress();
    _threadId.setCurrentThread();
    _started.post();
    _created.wait();
    _started.post();
    _created.wait();
    if( !_isCalledOff ) {
        execute();
    }
}

void MtThreadBodyPosix::execute() {
    OPtr<ExBase> exception;
    APtr<char> stack;
    bool isLost = false;
    Work work( *this );
    try {
        exception = ExWrapper::execute( work, &stack );
    } catch( const std::bad_alloc& ) {
        isLost = true;
    }
    if( ( exception || isLost ) && _terminateOnUnhandled ) {
        MtFatalEnd::onUnhandled( exception ? exception->getDetailedReason() : LOST_EXCEPTION, _name,
                                 stack ? stack.get() : "" );
    }
    if( exception ) {
        MtThreadTrace::print(
            QV_HERE, "MtThreadWindows: caught an exception:", exception->getDetailedReason() );
        MtThreadTrace::print( QV_HERE, "Call stack: ", stack ? stack.get() : "" );
    }
    const LkGuard<LkRecLock> guard( _lock );
    _exception = exception;
    _isExceptionLost = isLost;
}

void MtThreadBodyPosix::perform() {
    std::optional<Trace::Entry> entry;
    if( MtThreadTrace::isOn() ) {
        entry.emplace( TraceManager::getInstance().getTrace(), MtThreadTrace::getLevel(),
                       "MtThreadWindows::performExecute", QV_HERE );
    }
    MtThreadNamePosix::applyToCurrent( _name );
    MtThreadPosix* thread = nullptr;
    MtThreadProtocol* protocol = nullptr;
    {
        const LkGuard<LkRecLock> guard( _lock );
        thread = _owner;
        protocol = _protocol.get();
    }
    MtCurrentThread::set( thread );
    MtLogger::enterThread();
    MtThreadTrace::print( QV_HERE, "Starting: ", *thread );
    if( runOn.getValue() != 0 ) {
        thread->applyStoredAffinity();
    }
    if( protocol != nullptr ) {
        protocol->performExecute( thread );
    }
    traceEnding();
}

void MtThreadBodyPosix::traceEnding() noexcept {
    MtThreadPosix* thread = nullptr;
    {
        const LkGuard<LkRecLock> guard( _lock );
        thread = _owner;
    }
    // An object that its own body hasn't destroyed waits for the body's end before it goes.
    if( thread != nullptr ) {
        MtThreadTrace::print( QV_HERE, "Ending: ", *thread );
    } else {
        MtThreadTrace::print( QV_HERE, "Ending: ", _name );
    }
}

void MtThreadBodyPosix::end() noexcept {
    leaveSystem();
    try {
        MtThreadPosix::freeThreadData();
    } catch( ... ) {
        Trace::printCurrentException( "MtThread", QV_HERE );
    }
    MtCurrentThread::set( nullptr );
}

void MtThreadBodyPosix::leaveSystem() noexcept {
    std::uint64_t kernel = 0;
    std::uint64_t user = 0;
    try {
        MtThreadTimesPosix::readOfCurrent( kernel, user );
    } catch( ... ) {
        Trace::printCurrentException( "MtThread", QV_HERE );
    }
    const LkGuard<LkRecLock> guard( _lock );
    _kernelTime = kernel;
    _userTime = user;
    _threadId.reset();
    if( _owner == nullptr && _exception ) {
        // Nobody is left who could join.
        TraceManager::getInstance().getTrace().printException( *_exception, QV_HERE );
    }
}

} // namespace Qv
