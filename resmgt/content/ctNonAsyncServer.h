#pragma once

#include <base/locks/lkLock.h>
#include <resmgt/content/ctEngineOptions.h>
#include <resmgt/content/ctServer.h>
#include <resmgt/locks/lkCondVar.h>
#include <resmgt/threadExtensions/mtPoolSnapshot.h>

#include <atomic>
#include <exception>

namespace Qv {

class CtPrioAccess;

/// Makes a server of a store whose calls block: queues, workers, and a gate that limits how many
/// synchronous requests are in the store together.
///
///     class MemoryStore : public CtNonAsyncServer {
///     public:
///         explicit MemoryStore( const LiString& path ) : CtNonAsyncServer( path ) {}
///         ~MemoryStore() override { drain(); }
///         ...
///     };
///
/// Queue:     with priority workers, the default, a request goes before another when its block was
///            asked for first, then by serial id, offset and arrival; a block counts as asked for
///            from its first request, synchronous ones included, until all of its requests have
///            ended. Plain workers serve in the order of arrival. Nothing is cancelled.
/// Limit:     a request waits for room while 100 are queued; one of the engine's own workers,
///            which a completion makes, goes past that.
/// No worker: asynchronous requests are served on the calling thread, and complete before the call
///            returns. They don't pass through the gate.
/// Gate:      the waiting synchronous requests enter in the same order as the queue's.
/// Failure:   of an asynchronous request is logged and printed as "Async content operation on
///            <tile> failed: <reason>", then reported to the handle; of a synchronous one it
///            raises. What a completion raises is reported likewise. Where workers can't be
///            started, the constructor raises and leaves nothing.
/// Threads:   the four operations of the store run at the same time on many threads, also for one
///            block. They must not call the server's own requests, nor `blockUntilProcessed`.
/// The end:   each derived class calls `drain` first in its destructor, while its operations are
///            still there, also where its base has done so. A class that doesn't is an assertion;
///            requests that are still queued fail then. An owning pointer, such as that of
///            `CtServer::finalize`, reports it instead of raising it, and so does the destructor
///            while an exception unwinds the stack.
/// Cost:      some hundred nanoseconds a request beside the store's own; a synchronous one that
///            finds the gate free takes its lock twice.
class QV_RESMGT_API CtNonAsyncServer : public CtServer {
public:
    void blockUntilProcessed() override;
    CtHintPtr read( const CtPxTileId& tile, void* memory, const CtHintPtr& hint ) override;
    CtHintPtr write( const CtPxTileId& tile, const void* memory, const CtHintPtr& hint ) override;
    CtHintPtr asyncRead( const CtPxTileId& tile, void* memory, const CtHintPtr& hint,
                         LkAsyncHandle* handle ) override;
    CtHintPtr asyncWrite( const CtPxTileId& tile, const void* memory, const CtHintPtr& hint,
                          LkAsyncHandle* handle ) override;
    ~CtNonAsyncServer() noexcept( false ) override;

    /// Of the workers' queue; empty without workers.
    MtPoolSnapshot getSnapshot() const;

protected:
    explicit CtNonAsyncServer( const LiString& configuration,
                               const CtEngineOptions& options = CtEngineOptions::getConfigured() );

    /// Returns when all requests have completed, those included that completions add, no worker
    /// lives and nobody is in `blockUntilProcessed` any more. Requests made later are an assertion.
    /// Without memory for the wait it polls instead.
    void drain();

    /// Opens what the transfer needs, on the caller's thread, and raises what is known to be wrong.
    /// `hint` is what the client passed, maybe null, of another block or of another server. The
    /// answer goes to the transfer, and to the client; it may be null or `hint` itself.
    virtual CtHintPtr makeReadHint( const CtPxTileId& tile, const CtHintPtr& hint ) = 0;
    /// The same for a write.
    virtual CtHintPtr makeWriteHint( const CtPxTileId& tile, const CtHintPtr& hint ) = 0;
    /// Reads, and returns when it is done. `hint` is what `makeReadHint` has returned for this.
    virtual void readImp( const CtPxTileId& tile, void* memory, const CtHintPtr& hint ) = 0;
    /// Writes; `hint` is that of `makeWriteHint`.
    virtual void writeImp( const CtPxTileId& tile, const void* memory, const CtHintPtr& hint ) = 0;

private:
    class AsyncGroup;
    class AsyncPrioRequest;
    class AsyncRequest;
    class PlainGroup;
    class PrioGroup;
    class Count;
    template <class Container>
    class Workers;

    /// One of the two below.
    using Operation = void ( * )( CtNonAsyncServer& server, const CtPxTileId& tile, void* memory,
                                  const CtHintPtr& hint );
    static void performRead( CtNonAsyncServer& server, const CtPxTileId& tile, void* memory,
                             const CtHintPtr& hint );
    static void performWrite( CtNonAsyncServer& server, const CtPxTileId& tile, void* memory,
                              const CtHintPtr& hint );

    /// Both answer the hint.
    CtHintPtr transfer( Operation operation, const CtPxTileId& tile, void* memory, CtHintPtr hint );
    CtHintPtr submit( AsyncRequest&& request );
    /// Does the transfer and completes it. Nothing leaves it.
    void serve( AsyncRequest& request ) noexcept;
    std::exception_ptr tryTransfer( const AsyncRequest& request ) noexcept;
    void uncount();
    void expectStore() const;
    void awaitEnd();
    bool isProcessing() const QV_REQUIRES( _asyncLock );
    void leaveBlockers() QV_REQUIRES( _asyncLock );

    const LkLock _asyncLock{ "ct-async-lock" };
    // Rises, and falls above 0, without the lock. Its fall to 0 and the looks of those who wait for
    // that are under it, so that none is missed. A fall releases the transfer to who sees the 0.
    std::atomic<unsigned int> _nbAsyncRequests{ 0 };
    const LkCondVar _asyncProcessed{ "ct-async-processed" };
    unsigned int _nbBlockers QV_GUARDED_BY( _asyncLock ) = 0;
    const LkCondVar _asyncUnblocked{ "ct-async-unblocked" };
    OPtr<CtPrioAccess> _prioAccess;
    OPtr<AsyncGroup> _asyncGroup;
    // Set by the thread that drains. Relaxed: a request that meets it is misuse.
    std::atomic<bool> _isDrained{ false };
    // Set when the derived class is gone undrained. Relaxed: it makes the fault plain where it can;
    // a transfer that runs just then has lost its store already.
    std::atomic<bool> _isStoreGone{ false };
};

} // namespace Qv
