#pragma once

#include <base/locks/lkLock.h>
#include <base/locks/lkThreadId.h>
#include <resmgt/locks/lkCondVar.h>
#include <resmgt/locks/lkTimedCondVar.h>

#include <atomic>
#include <cstdint>

namespace Qv {

/// What the clients of a monitor ask of its thread: to stand still, to pass, to end.
///
/// Passes: are numbered from 1. A pass that begins after a request has a higher number than the
///         last that had begun; by that number is waited for its end, as a signal alone would be
///         lost on whoever comes late.
/// Pauses: a count, and a place in each pass where the thread looks at it. It isn't a semaphore,
///         which the thread could take back before whoever pauses has woken.
/// Waits:  of clients end with what they wait for, with the end of the monitor, and those for a
///         pass with a pause. The thread's end with the monitor.
/// Lock:   one, "OsFileMonitor Iteration Done Control Lock", a leaf, held for some steps.
class MonitorControl {
public:
    /// One that is externally controlled lets passes begin by `allowPass` alone.
    explicit MonitorControl( bool isExternallyControlled )
        : _isExternallyControlled( isExternallyControlled ) {}

    /// Returns when the thread is at rest, and stays there until as many `resume`.
    void pause();
    void resume();
    /// Has a pass begin without rest; returns the number of the first that begins from now on.
    std::uint64_t requestPass();
    /// The same for a monitor that is externally controlled.
    std::uint64_t allowPass();
    /// Returns after the end of that pass, or at once while paused.
    void waitForPass( std::uint64_t number );
    /// The main thread has seen the wake-up.
    void acceptWakeUp();
    /// From a request until the main thread has seen its wake-up.
    bool isIterateAsapPending() const;
    bool isPaused() const;
    std::uint64_t getNbPasses() const;
    void stop();

    // The rest is for the monitor's thread.

    /// Takes the calling thread for the monitor's.
    void enter();
    /// Waits until a pass may begin, and begins it. False at the monitor's end.
    bool beginPass();
    void endPass();
    /// Whether the pass is one that was requested: it, or what is left of it, goes without rests.
    bool isAsap() const noexcept { return _isAsap.load( std::memory_order_relaxed ); }
    /// Whether the main thread is to be woken for a request. It counts as done then.
    bool takeWakeUp();
    /// It couldn't be done.
    void giveBackWakeUp();
    /// Whether `standStill` has something to do.
    bool isCalled() const noexcept { return _isCalled.load( std::memory_order_acquire ); }
    /// Between two files: returns when the monitor isn't paused. False at its end.
    bool standStill();
    /// Between two passes: returns after that many seconds, for a request, or at the end.
    void rest( double seconds );

private:
    void updateCalled() QV_REQUIRES( _lock );
    bool mayBegin() const QV_REQUIRES( _lock );

    const bool _isExternallyControlled;
    const LkLock _lock{ "OsFileMonitor Iteration Done Control Lock" };
    /// For the ends of passes, and pauses.
    const LkCondVar _iterationDone{ "OsFileMonitor Iteration Done Control" };
    /// For the thread, at a pause or before a pass.
    const LkCondVar _okToIterate{ "OsFileMonitor Ok To Iterate Control" };
    /// For those who pause.
    const LkCondVar _atRest{ "OsFileMonitor Pause Control" };
    /// For the thread, after a pass.
    const LkTimedCondVar _iteration{ "OsFileMonitor Iteration Control" };
    LkThreadId _threadId;
    std::int32_t _nbPauses QV_GUARDED_BY( _lock ) = 0;
    std::uint64_t _nbBegun QV_GUARDED_BY( _lock ) = 0;
    std::uint64_t _nbDone QV_GUARDED_BY( _lock ) = 0;
    std::uint64_t _nbAllowed QV_GUARDED_BY( _lock ) = 0;
    bool _isRunning QV_GUARDED_BY( _lock ) = true;
    bool _isAtWork QV_GUARDED_BY( _lock ) = false;
    /// A pass is wanted that hasn't begun.
    bool _isRequested QV_GUARDED_BY( _lock ) = false;
    bool _iterateAsapPending QV_GUARDED_BY( _lock ) = false;
    bool _isWakeUpPosted QV_GUARDED_BY( _lock ) = false;
    /// Paused or at the end. Written under the lock, released to the thread, which looks without it
    /// between two files, and takes the lock to know more.
    std::atomic<bool> _isCalled = false;
    /// Written under the lock; read as a hint.
    std::atomic<bool> _isAsap = false;
};

} // namespace Qv
