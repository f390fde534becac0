#include <resmgt/fileMonitoring/src/monitorControl.h>

#include <base/failure/assertions.h>
#include <resmgt/profiling/hwCounter.h>

#include <algorithm>
#include <utility>

namespace Qv {

using Guard = LkGuard<const LkLock>;

void MonitorControl::pause() {
    QV_ASSERT( !_threadId.isCurrentThread() );
    const Guard guard( _lock );
    ++_nbPauses;
    updateCalled();
    _iterationDone.broadcast();
    // A resume that comes meanwhile may keep the thread from standing still at all.
    while( _isAtWork && _nbPauses > 0 && _isRunning ) {
        _atRest.wait( _lock );
    }
}

void MonitorControl::resume() {
    const Guard guard( _lock );
    if( _nbPauses > 0 ) {
        --_nbPauses;
        updateCalled();
        _okToIterate.broadcast();
        _atRest.broadcast();
    }
}

std::uint64_t MonitorControl::requestPass() {
    const Guard guard( _lock );
    _iterateAsapPending = true;
    _isRequested = true;
    _isAsap.store( true, std::memory_order_relaxed );
    _iteration.broadcast();
    return _nbBegun + 1;
}

std::uint64_t MonitorControl::allowPass() {
    const Guard guard( _lock );
    _nbAllowed = _nbBegun + 1;
    _okToIterate.broadcast();
    return _nbAllowed;
}

void MonitorControl::waitForPass( std::uint64_t number ) {
    QV_ASSERT( !_threadId.isCurrentThread() );
    const Guard guard( _lock );
    while( _nbDone < number && _nbPauses == 0 && _isRunning ) {
        _iterationDone.wait( _lock );
    }
}

void MonitorControl::acceptWakeUp() {
    const Guard guard( _lock );
    _iterateAsapPending = false;
    _isWakeUpPosted = false;
}

bool MonitorControl::isIterateAsapPending() const {
    const Guard guard( _lock );
    return _iterateAsapPending;
}

bool MonitorControl::isPaused() const {
    const Guard guard( _lock );
    return _nbPauses > 0;
}

std::uint64_t MonitorControl::getNbPasses() const {
    const Guard guard( _lock );
    return _nbDone;
}

void MonitorControl::stop() {
    const Guard guard( _lock );
    _isRunning = false;
    updateCalled();
    _okToIterate.broadcast();
    _iteration.broadcast();
    _iterationDone.broadcast();
    _atRest.broadcast();
}

void MonitorControl::enter() {
    _threadId.setCurrentThread();
}

bool MonitorControl::beginPass() {
    const Guard guard( _lock );
    while( _isRunning && !mayBegin() ) {
        _okToIterate.wait( _lock );
    }
    if( !_isRunning ) {
        return false;
    }
    ++_nbBegun;
    _isAtWork = true;
    _isAsap.store( std::exchange( _isRequested, false ), std::memory_order_relaxed );
    return true;
}

void MonitorControl::endPass() {
    const Guard guard( _lock );
    _nbDone = _nbBegun;
    _isAtWork = false;
    _iterationDone.broadcast();
    _atRest.broadcast();
}

bool MonitorControl::takeWakeUp() {
    const Guard guard( _lock );
    return _iterateAsapPending && !std::exchange( _isWakeUpPosted, true );
}

void MonitorControl::giveBackWakeUp() {
    const Guard guard( _lock );
    _isWakeUpPosted = false;
}

bool MonitorControl::standStill() {
    const Guard guard( _lock );
    _isAtWork = false;
    _atRest.broadcast();
    while( _isRunning && _nbPauses > 0 ) {
        _okToIterate.wait( _lock );
    }
    _isAtWork = _isRunning;
    return _isRunning;
}

void MonitorControl::rest( double seconds ) {
    if( _isExternallyControlled ) {
        return;
    }
    const double end = HwCounter::seconds() + seconds;
    const Guard guard( _lock );
    while( _isRunning && !_isRequested &&
           _iteration.timedWait( _lock, end - HwCounter::seconds() ) ) {}
}

void MonitorControl::updateCalled() {
    _isCalled.store( _nbPauses > 0 || !_isRunning, std::memory_order_release );
}

bool MonitorControl::mayBegin() const {
    return _nbPauses == 0 && ( !_isExternallyControlled || _nbAllowed > _nbBegun );
}

} // namespace Qv
