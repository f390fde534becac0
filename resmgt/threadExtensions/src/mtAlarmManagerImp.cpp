#include <resmgt/threadExtensions/src/mtAlarmManagerImp.h>

#include <base/failure/assertions.h>
#include <base/trace/trace.h>
#include <resmgt/locks/lkSingleton.imp>
#include <resmgt/threads/mtThreadFactory.h>
#include <resmgt/threads/mtThreadProtocol.h>

#include <chrono>
#include <utility>

namespace Qv {

template class QV_RESMGT_API LkSingleton<MtAlarmManagerImp>;

namespace {

// Far enough to be never: 146 years. Two of them still fit 64 bits.
constexpr std::int64_t MAX_NS = std::numeric_limits<std::int64_t>::max() / 2;

// Set and cleared by the package's start and stop.
constinit std::atomic<bool> isPackageStarted{ false };

/// The thread on which alarms fire, for the call-backs' own questions.
thread_local constinit bool isAlarmThread = false;

bool isStarted() noexcept {
    return isPackageStarted.load( std::memory_order_acquire );
}

std::int64_t getNow() noexcept {
    const auto now = std::chrono::steady_clock::now().time_since_epoch();
    return std::chrono::duration_cast<std::chrono::nanoseconds>( now ).count();
}

std::int64_t toNanoseconds( double seconds ) noexcept {
    const double nanoseconds = seconds * 1e9;
    if( nanoseconds >= static_cast<double>( MAX_NS ) ) {
        return MAX_NS;
    }
    return nanoseconds > 0.0 ? static_cast<std::int64_t>( nanoseconds ) : 0;
}

/// Ends the singleton with the process, unless its thread is left: a process that ends without its
/// packages' stop ends under running threads.
struct AtProcessEnd {
    ~AtProcessEnd() {
        if( !isStarted() ) {
            MtAlarmManagerImp::finalize();
        }
    }
};
const AtProcessEnd atProcessEnd;

} // namespace

class MtAlarmManagerImp::MtAlarmThread final : public MtThreadProtocol {
public:
    explicit MtAlarmThread( MtAlarmManagerImp& manager ) noexcept
        : _manager( manager ) {}

    void performExecute( MtThread* ) override {
        isAlarmThread = true;
        MtAlarmBell::prepareThread();
        _manager.runThread();
    }
    void performStop( MtThread* ) override {
        {
            const LkGuard<const LkLock> guard( _manager._lock );
            _manager._isEnding = true;
        }
        _manager._bell.ring();
    }

private:
    MtAlarmManagerImp& _manager;
};

MtAlarmManagerImp::MtAlarmManagerImp() = default;
MtAlarmManagerImp::~MtAlarmManagerImp() = default;

OPtrRet<MtAlarmManagerImp> MtAlarmManagerImp::createInstance() {
    return OPtr<MtAlarmManagerImp>( new MtAlarmManagerImp );
}

MtAlarmManagerImp& MtAlarmManagerImp::getInstance() {
    return LkSingleton<MtAlarmManagerImp>::getInstance();
}

bool MtAlarmManagerImp::isBuilt() noexcept {
    return LkSingleton<MtAlarmManagerImp>::getState() ==
           LkSingleton<MtAlarmManagerImp>::INITIALIZED;
}

void MtAlarmManagerImp::finalize() {
    LkSingleton<MtAlarmManagerImp>::destroy();
}

void MtAlarmManagerImp::allowStart() noexcept {
    isPackageStarted.store( true, std::memory_order_release );
}

void MtAlarmManagerImp::stop() {
    isPackageStarted.store( false, std::memory_order_release );
    if( isBuilt() ) {
        getInstance().endThread();
    }
}

void MtAlarmManagerImp::registerAlarm( const MtAlarmHandle& handle ) {
    const RCShdPtr<MtAlarm>& alarm = handle._alarm;
    MtAlarmHandle::Callback* const callback = alarm->callback;
    QV_ASSERT( callback != nullptr );
    ensureThread();
    bool isEarlier = false;
    {
        const LkGuard<const LkLock> guard( _lock );
        if( alarm->nbCancelling > 0 ) {
            return;
        }
        QV_ASSERT_TEXT( !_isEnding, "isStarted()" );
        if( alarm->queueIndex != MtAlarm::NOT_QUEUED ) {
            _queue.remove( *alarm );
        }
        const std::int64_t duration = toNanoseconds( alarm->duration );
        const std::int64_t due = duration == MAX_NS ? MtAlarmBell::NEVER : getNow() + duration;
        _queue.push( alarm, due );
        alarm->armed = { callback, duration, alarm->nbRepeats };
        isEarlier = due < _wakeTime;
    }
    if( isEarlier ) {
        _bell.ring();
    }
}

bool MtAlarmManagerImp::cancelAlarm( const MtAlarmHandle& handle ) {
    if( handle.isNull() ) {
        return false;
    }
    MtAlarm& alarm = *handle._alarm;
    const LkGuard<const LkLock> guard( _lock );
    const bool wasArmed = alarm.queueIndex != MtAlarm::NOT_QUEUED;
    if( wasArmed ) {
        _queue.remove( alarm );
    }
    // The thread re-arms a repeated alarm before the call, so it was seen above.
    if( !isAlarmThread ) {
        ++alarm.nbCancelling;
        while( _called == &alarm ) {
            _callEnded.wait( guard );
        }
        --alarm.nbCancelling;
    }
    return wasArmed;
}

bool MtAlarmManagerImp::isArmed( const MtAlarmHandle& handle ) const {
    const LkGuard<const LkLock> guard( _lock );
    return !handle.isNull() && handle._alarm->queueIndex != MtAlarm::NOT_QUEUED;
}

Priority& MtAlarmManagerImp::getPriority() {
    ensureThread();
    const LkGuard<const LkLock> guard( _threadLock );
    QV_ASSERT_TEXT( !_thread.isNull(), "isStarted()" );
    return _thread->getPriority();
}

void MtAlarmManagerImp::ensureThread() {
    if( _isRunning.load( std::memory_order_acquire ) ) {
        return;
    }
    const LkGuard<const LkLock> guard( _threadLock );
    QV_ASSERT( isStarted() );
    if( !_isRunning.load( std::memory_order_relaxed ) ) {
        startThread();
    }
}

void MtAlarmManagerImp::startThread() {
    OPtr<MtThreadProtocol> protocol( new MtAlarmThread( *this ) );
    OPtr<MtThread> thread(
        MtThreadFactory::getInstance().createThread( "Alarm_Thread", protocol, true, 0 ) );
    {
        const LkGuard<const LkLock> guard( _lock );
        _isEnding = false;
    }
    thread->start();
    _thread = thread;
    _isRunning.store( true, std::memory_order_release );
}

void MtAlarmManagerImp::endThread() {
    OPtr<MtThread> thread;
    {
        const LkGuard<const LkLock> guard( _threadLock );
        thread = _thread;
        _isRunning.store( false, std::memory_order_release );
    }
    if( !thread.isNull() ) {
        thread->stop();
        thread->join();
    }
    const LkGuard<const LkLock> guard( _lock );
    _queue.clear();
}

void MtAlarmManagerImp::runThread() {
    for( Step step = takeStep(); !step.isEnd; step = takeStep() ) {
        if( step.alarm.isNull() ) {
            _bell.sleepUntil( step.wakeTime );
        } else {
            call( step );
        }
    }
}

MtAlarmManagerImp::Step MtAlarmManagerImp::takeStep() {
    Step step;
    const LkGuard<const LkLock> guard( _lock );
    _wakeTime = AWAKE;
    step.isEnd = _isEnding;
    if( _isEnding ) {
        return step;
    }
    const std::int64_t due = _queue.isEmpty() ? MtAlarmBell::NEVER : _queue.getFirstTime();
    const std::int64_t now = getNow();
    if( due > now ) {
        _wakeTime = due;
        step.wakeTime = due;
        return step;
    }
    step.alarm = _queue.getFirst();
    step.callback = step.alarm->armed.callback;
    _queue.remove( *step.alarm );
    rearm( step.alarm, due, now );
    _called = step.alarm.get();
    return step;
}

void MtAlarmManagerImp::rearm( const RCShdPtr<MtAlarm>& alarm, std::int64_t due,
                               std::int64_t now ) {
    MtAlarm::Armed& armed = alarm->armed;
    if( armed.nbRepeatsLeft == 0 ) {
        return;
    }
    if( armed.nbRepeatsLeft != MtAlarmHandle::FOR_EVER ) {
        --armed.nbRepeatsLeft;
    }
    // Of the times that have passed none but this call is left.
    const std::int64_t nbPassed = armed.duration > 0 ? ( now - due ) / armed.duration : 0;
    _queue.push( alarm, armed.duration > 0 ? due + ( nbPassed + 1 ) * armed.duration : now );
}

void MtAlarmManagerImp::call( const Step& step ) {
    try {
        step.callback->alarmFired( MtAlarmHandle( step.alarm ) );
    } catch( ... ) {
        Trace::printCurrentException( "MtAlarmHandle::Callback", QV_HERE );
    }
    const LkGuard<const LkLock> guard( _lock );
    _called = nullptr;
    if( step.alarm->nbCancelling > 0 ) {
        _callEnded.broadcast();
    }
}

} // namespace Qv
