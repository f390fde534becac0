#pragma once

#include <base/ownership/rcShdEngPtr.h>
#include <resmgt/memoryBuffers/mbBufferImp.h>

namespace Qv {

/// Handle to a managed buffer: a named block of memory that may be absent whenever nobody holds a
/// lock on it. Under memory pressure it is evicted, and the next lock brings it back. A scope guard
/// gives access to the bytes:
///
///     MbBuffer tile = factory.create( "tile", protocol, 65536, MbAlignment( 127, 0, 0 ) );
///     {
///         MbBufferWrGuardImp lock( tile );
///         std::memset( lock.getMemory(), 0, 65536 );
///     }
///     tile.prefetch();
///
/// Copying: shares the buffer; the last handle's end is the buffer's.
/// Errors:  a null handle raises ExNullPtr, except in `isNull`, `isUniqueOwner` and the comparison.
///          What the buffer's protocol and manager raise goes through.
/// Threads: any number use and copy a handle at once, as long as none assigns to it or destroys it.
class QV_RESMGT_API MbBuffer {
public:
    /// A null handle.
    MbBuffer() noexcept = default;
    explicit MbBuffer( const RCShdEngPtr<MbBufferImp>& engine ) noexcept
        : _engine( engine ) {}

    /// Whether both are the same buffer, or null.
    bool operator==( const MbBuffer& other ) const noexcept { return _engine == other._engine; }

    bool isNull() const noexcept { return _engine.isNull(); }
    /// Whether neither another handle nor a guard shares the buffer; false for a null one.
    bool isUniqueOwner() const noexcept { return !isNull() && _engine->getRefCount() == 1; }

    const char* getName() const { return _engine->getName(); }
    /// In bytes.
    int getSize() const { return _engine->getSize(); }
    const MbAlignment& getAlignment() const { return _engine->getAlignment(); }
    const MbProtocol* getProtocol() const { return _engine->getProtocol(); }
    /// Whether the content is in memory. It isn't while it is being loaded, and counts as not
    /// loaded during an asynchronous write that nobody reads meanwhile.
    bool isLoaded() const { return _engine->isLoaded(); }

    /// Brings the content in ahead of need, without blocking for the protocol. A buffer that is in
    /// memory becomes the newest of those that can be evicted.
    void prefetch();
    /// Writes new content out, without blocking; after the last lock if there is one. Until it has
    /// ended write locks wait, also a reader's own: see MbBufferWrGuardImp.
    void asyncSync();
    /// Writes new content out and waits; first for the end of locks under which it may be changing.
    void sync();
    /// Abandons the content. The memory goes with the last lock.
    void free();
    /// Moves the memory of `source` into this buffer, for which both must have the same manager,
    /// size and alignment. Waits until both are unlocked. Raises MbEx::ExInvalidArgument if
    /// `source` is null or the same buffer, and where the two don't fit: by their managers at
    /// once, by size or alignment after the move, so that `source` has lost its content then.
    void grab( MbBuffer& source );

private:
    friend class MbBufferRdGuardImp;
    friend class MbBufferWrGuardImp;

    RCShdEngPtr<MbBufferImp> _engine;
};

} // namespace Qv
