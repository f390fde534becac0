#pragma once

#include <resmgt/memoryBuffers/mbBuffer.h>

namespace Qv {

/// Holds a write lock on a buffer for a scope.
///
/// Locking: blocks until the lock is held, and the memory is there and filled. A copy is one more
///          write lock of the same owner.
/// Errors:  MbEx::ExInvalidArgument for a null buffer; what protocol and manager raise: there is no
///          lock then. The destructor reports through Trace::printException what the end of the
///          lock raises; MbProtocol specifies the buffer's state then.
/// Waiting: under the strict policy until no reader is left, and new readers come in meanwhile.
///          Readers that always overlap keep a writer waiting for ever, unless the application
///          makes them pause. During an asynchronous write readers are strict under either policy:
///          to write, take the write lock first, or give the read lock back before. A thread that
///          would wait for its own lock, while no other has one, fails the assertion "!
///          _locker.isCurrentThread()". docs/buffer-states.md has more.
/// Threads: a guard belongs to one thread's scope, which isn't checked.
class QV_RESMGT_API MbBufferWrGuardImp {
public:
    /// A null guard, without a lock.
    MbBufferWrGuardImp() noexcept = default;
    explicit MbBufferWrGuardImp( MbBuffer& buffer );
    /// A copy of a null guard is null.
    MbBufferWrGuardImp( const MbBufferWrGuardImp& other );
    ~MbBufferWrGuardImp();

    /// Gives the lock back and takes one on the other guard's buffer. Nothing for the same buffer.
    MbBufferWrGuardImp& operator=( const MbBufferWrGuardImp& other );

    /// The buffer's bytes, which stay where they are as long as the lock is held.
    void* getMemory() const { return _engine->getMemory(); }
    MbBuffer getBuffer() const { return MbBuffer( _engine ); }
    bool isNull() const noexcept { return _engine.isNull(); }
    /// Replaces the buffer's protocol and deletes the former one, no asynchronous operation of
    /// which may be running.
    void setProtocol( OPtr<MbProtocol> protocol );

private:
    friend class MbBufferRdGuardImp;

    RCShdEngPtr<MbBufferImp> _engine;
};

} // namespace Qv
