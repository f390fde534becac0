#pragma once

#include <resmgt/memoryBuffers/mbBuffer.h>

namespace Qv {

class MbBufferWrGuardImp;

/// Holds a read lock on a buffer for a scope; otherwise as MbBufferWrGuardImp.
class QV_RESMGT_API MbBufferRdGuardImp {
public:
    /// A null guard, without a lock.
    MbBufferRdGuardImp() noexcept = default;
    explicit MbBufferRdGuardImp( const MbBuffer& buffer );
    /// A copy of a null guard is null.
    MbBufferRdGuardImp( const MbBufferRdGuardImp& other );
    /// Turns the write lock into this read lock; `writer` is null afterwards. Null for a null one.
    explicit MbBufferRdGuardImp( MbBufferWrGuardImp& writer );
    ~MbBufferRdGuardImp();

    /// Gives the lock back and takes one on the other guard's buffer. Nothing for the same buffer.
    MbBufferRdGuardImp& operator=( const MbBufferRdGuardImp& other );

    /// The buffer's bytes, which stay where they are as long as the lock is held.
    const void* getMemory() const { return _engine->getMemory(); }
    MbBuffer getBuffer() const { return MbBuffer( _engine ); }
    bool isNull() const noexcept { return _engine.isNull(); }
    /// Replaces the buffer's protocol and deletes the former one, no asynchronous operation of
    /// which may be running.
    void setProtocol( OPtr<MbProtocol> protocol );

private:
    RCShdEngPtr<MbBufferImp> _engine;
};

} // namespace Qv
