#pragma once

#include <resmgt/resmgtApi.h>

namespace Qv {

class LkAsyncHandle;
class MbBufferImp;

/// The backing store of a buffer: a client derives from it and overrides what its store needs. The
/// plain class is a buffer without a store: evicted, it comes back with undefined bytes.
///
/// Arguments: `memory` is the buffer's first byte, `size` its size in bytes.
/// Lock:      none of the buffer's. Until the call ends the buffer takes no other event: those of
///            other threads wait. A call must not lock its own buffer, which is an assertion; it
///            may free it or drop its last handle. That takes effect once the call has ended,
///            together with asynchronous operations requested meanwhile.
/// Threads:   the thread that locks, unlocks, evicts or reports a completion; one call a buffer at
///            a time.
/// Asynchronous operations: an override reports by exactly one call of `asyncSucceeded` or
///            `asyncFailed` on the handle, from any thread, also before it returns. A class whose
///            operations are synchronous leaves `asyncLoad` and its relatives alone. A completion
///            also performs requests to the buffer that came meanwhile, on its own thread, but
///            never waits: a `prefetch` after a failed load is dropped where no memory is free.
/// Errors:    an exception goes to the caller of the event, and leaves the buffer in its former
///            state, without memory that the event has got for it, and without a lock. So after one
///            of the six completions the buffer goes on waiting, and the operation must be reported
///            once more, also where it was reported from inside the call that started it. The
///            memory of a failed load is gone already: its second report must be a failure. Where
///            the end can't be put off, the buffer reaches it and the exception goes on: after
///            `unlocked`, `destroy`, `grab`, and a `free` that follows a last lock.
class QV_RESMGT_API MbProtocol {
public:
    MbProtocol() = default;
    MbProtocol( const MbProtocol& ) = delete;
    MbProtocol& operator=( const MbProtocol& ) = delete;
    virtual ~MbProtocol();

    /// First filling of a buffer without content. Calls `reload`.
    virtual void load( void* memory, unsigned long long size );
    /// Calls `asyncReload`.
    virtual void asyncLoad( void* memory, unsigned long long size, LkAsyncHandle* handle );
    /// Calls `asyncReloadSucceeded`.
    virtual void asyncLoadSucceeded();
    /// Calls `asyncReloadFailed`.
    virtual void asyncLoadFailed();
    /// Filling after an eviction. Does nothing.
    virtual void reload( void* memory, unsigned long long size );
    /// Calls `reload` and reports success.
    virtual void asyncReload( void* memory, unsigned long long size, LkAsyncHandle* handle );
    /// An asynchronous reload has ended well.
    virtual void asyncReloadSucceeded();
    /// An asynchronous reload has failed.
    virtual void asyncReloadFailed();
    /// The last lock is gone. Does nothing.
    virtual void unlocked( void* memory, unsigned long long size, MbBufferImp* buffer );
    /// Write the content to the store. Calls `unload` and drops the answer.
    virtual void sync( void* memory, unsigned long long size );
    /// Calls `sync` and reports success.
    virtual void asyncSync( void* memory, unsigned long long size, LkAsyncHandle* handle );
    /// An asynchronous write has ended well.
    virtual void asyncSyncSucceeded();
    /// An asynchronous write has failed.
    virtual void asyncSyncFailed();
    /// Write the content to the store if that is needed; answers whether the memory may be taken.
    /// With false the buffer stays as it is. Answers true.
    virtual bool unload( void* memory, unsigned long long size );
    /// The content is abandoned. Does nothing.
    virtual void free( void* memory, unsigned long long size );
    /// The buffer has got the memory of another one. Calls `markDirty`, then `unlocked`.
    virtual void grab( void* memory, unsigned long long size, MbBufferImp* buffer );
    /// The content is about to be written to. Does nothing.
    virtual void markDirty( void* memory, unsigned long long size );
    /// The last handle of a buffer with unsaved content is gone. Calls `free`.
    virtual void destroy( void* memory, unsigned long long size );
};

} // namespace Qv
