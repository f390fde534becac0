#pragma once

#include <base/failure/exStandard.h>
#include <base/locks/lkThreadId.h>
#include <resmgt/locks/lkEvent.h>
#include <resmgt/locks/lkRecLock.h>
#include <resmgt/locks/lkUnnamedSema.h>
#include <resmgt/threads/mtThreadProtocol.h>

#include <atomic>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>

#include <pthread.h>
#include <sys/types.h>

namespace Qv {

class MtThreadPosix;

/// What a thread's object shares with the thread itself, which may outlast the object when the
/// object is destroyed from the body.
///
/// Starting: the two meet twice. Before the first time the thread sets its number; between the two
///           the starter gives it its priority; after the second the thread runs its protocol,
///           unless the start was called off.
/// Ending:   the thread gives its number back under the lock, so that whoever names it by the
///           number under the lock means this thread. Then it frees its thread-local data, and sets
///           the run's event as the last that it does here.
/// Joining:  all wait for the event; the first that finds the run unclaimed ends it. Each run has
///           an event of its own, so that who comes to wait late doesn't wait for the next run.
class MtThreadBodyPosix : public std::enable_shared_from_this<MtThreadBodyPosix> {
public:
    MtThreadBodyPosix( MtThreadPosix& owner, const std::string& name, bool terminateOnUnhandled );

    /// Begins a run on a new thread, which waits for the first meeting.
    void create( std::uint64_t stackSize ) QV_REQUIRES( _lock );
    /// Returns once the starter and the thread have met.
    void meet();
    /// In place of the second meeting: the thread ends at once, and isn't running afterwards.
    void callOff() QV_EXCLUDES( _lock );
    /// Takes the calling thread, which this library didn't start, for this one.
    void adoptCurrent() QV_EXCLUDES( _lock );
    /// Waits for the end of the run, at most `seconds` unless null, and claims it. False if the
    /// time ran out. `kept` gets what ended the run if this call has claimed it.
    bool waitForEnd( const double* seconds, std::optional<ExRethrow<ExBase>>& kept )
        QV_EXCLUDES( _lock );
    /// For an object that goes before its thread: nobody waits for the end any more.
    void abandon() QV_EXCLUDES( _lock );

    /// The thread's number while it lives, else 0; also in a forked child, where the number is that
    /// of the parent's thread.
    pid_t getNumber() const noexcept QV_REQUIRES( _lock ) {
        return isOfThisProcess() ? static_cast<pid_t>( _threadId.getNum() ) : 0;
    }
    /// Whether the run was started in this process, and not in one that this was forked from.
    bool isOfThisProcess() const noexcept QV_REQUIRES( _lock );
    /// In units of 100 ns.
    void readTimes( std::uint64_t& kernel, std::uint64_t& user ) const QV_REQUIRES( _lock );

    const std::string _name;
    mutable LkRecLock _lock{ "MtThreadPosix" };
    // Stored by the thread itself, reset under the lock.
    LkThreadId _threadId;
    std::atomic<void*> _stackBase{ nullptr };
    bool _isRunning QV_GUARDED_BY( _lock ) = false;
    OPtr<ExBase> _exception QV_GUARDED_BY( _lock );
    OPtr<MtThreadProtocol> _protocol QV_GUARDED_BY( _lock );

private:
    class Ending;
    class Work;

    static void* executeCb( void* data );
    void run();
    void execute() QV_EXCLUDES( _lock );
    void perform() QV_EXCLUDES( _lock );
    void traceEnding() noexcept QV_EXCLUDES( _lock );
    void end() noexcept QV_EXCLUDES( _lock );
    void leaveSystem() noexcept QV_EXCLUDES( _lock );
    bool hasFailed() const QV_REQUIRES( _lock ) { return _exception || _isExceptionLost; }
    OPtr<ExBase> copyException() const QV_REQUIRES( _lock );

    const bool _terminateOnUnhandled;
    LkUnnamedSema _started{ "MtThreadPosix::started", 0, LkSemaTypes::NOT_SHARED };
    LkUnnamedSema _created{ "MtThreadPosix::created", 0, LkSemaTypes::NOT_SHARED };
    // The present run's, or the last one's; it identifies the run. Replaced under the lock while
    // no run is left.
    std::shared_ptr<LkEvent> _ended;
    // Written by the starter before the second meeting.
    bool _isCalledOff = false;
    // Null once the object is gone.
    MtThreadPosix* _owner QV_GUARDED_BY( _lock );
    pthread_t _threadHandle QV_GUARDED_BY( _lock ){};
    long _process QV_GUARDED_BY( _lock ) = 0;
    bool _isExceptionLost QV_GUARDED_BY( _lock ) = false;
    std::uint64_t _kernelTime QV_GUARDED_BY( _lock ) = 0;
    std::uint64_t _userTime QV_GUARDED_BY( _lock ) = 0;
};

} // namespace Qv
