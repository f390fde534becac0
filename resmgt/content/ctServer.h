#pragma once

#include <base/containers/set.h>
#include <base/ownership/oPtr.h>
#include <resmgt/content/ctCounters.h>
#include <resmgt/content/ctHint.h>
#include <resmgt/content/ctTileId.h>
#include <resmgt/literals/liString.h>
#include <resmgt/threads/priority.h>
#include <resmgt/threads/priorityRelation.h>

#include <atomic>
#include <exception>

namespace Qv {

class LkAsyncHandle;

template <class T>
class LkSingleton;

/// The backing store of image tiles: keeps blocks of bytes under small identifiers.
///
///     CtServer::configure( "/var/cache/studio" );
///     CtServer& server = CtServer::getInstance();
///     const auto [block, hint] = server.createTile( size );
///     server.write( CtPxTileId( block.getSerialId(), 0, size ), memory, hint );
///
/// Memory:    `memory` holds the tile's size in bytes; not a byte more is touched. A size of 0 is
///            legal. Where the store has a `getAlignment` above 1, aligned memory is the quicker
///            one; what else it asks for is said there.
/// Hints:     each operation takes a hint and gives the one for the next operation on the same
///            block, either may be null.
/// Reading:   gives bytes that were written to this block, or zeros, or fails. While a write of the
///            same bytes runs, and after one that failed, old and new may mix. Requests for the
///            same bytes are the client's to order: an asynchronous one has taken place when its
///            completion comes.
/// Completion: an asynchronous operation either raises in the caller, and is none then, or reports
///            by exactly one of the two calls of the handle: from any thread, maybe before it has
///            returned, without a lock held; memory and hint aren't touched any more then. A call
///            that raises isn't the end of the process: after `asyncSucceeded` `asyncFailed`
///            follows, after a first `asyncFailed` a second one, and then nothing. A completion
///            may ask its server for further ones, and never waits for room when it does.
/// Threads:   every operation from any thread, also at the same time; `clear` only while nobody
///            else uses the server.
/// Priority:  the server's threads are below real time; those that compute what it stores should
///            be no higher than `getServerPriority`, or they starve it.
/// Own stores: derive from CtNonAsyncServer when calls block, from this class when completions come
///            from an event loop, and link a CtServerFactory. docs/content.md shows both.
class QV_RESMGT_API CtServer {
public:
    /// A new block, and the hint for its first operation.
    struct NewTile {
        /// The tile that was made.
        CtStTileId tile;
        /// What finds it faster.
        CtHintPtr hint;
    };

    /// `getFreeSpace` of a store that doesn't know.
    static constexpr std::uint64_t UNKNOWN_SPACE = UINT64_MAX;
    /// What `isValid` compares.
    static constexpr int WITH_SIZE = 0;
    /// What `isValid` compares: the size doesn't matter.
    static constexpr int ANY_SIZE = 1;

    CtServer( const CtServer& ) = delete;
    CtServer& operator=( const CtServer& ) = delete;

    /// Sets the text by which the process's server is made. Asserts that there is none, and hasn't
    /// been one.
    static void configure( const LiString& configuration );
    /// The process's server, made by the first call from the configured text, by the first factory
    /// that takes it. A failure goes to the caller, and leaves everything as it was: another
    /// `configure` may follow. After `finalize` it is the assertion "_state == UNINITIALIZED".
    static CtServer& getInstance();
    /// Deletes the server, when all its requests have completed. The stop of the package calls it.
    static void finalize();

    /// The text that the server was made of.
    const LiString& getPath() const noexcept { return _path; }
    Priority& getServerPriority() noexcept { return _priority; }
    CtCounters getCounters() const noexcept { return _tally->getCounters(); }
    /// Whether the reports of failed asynchronous requests, which are logged, are printed on
    /// standard output as well; so it is at first.
    void setPrintingFailures( bool isPrinting ) noexcept {
        _isPrintingFailures.store( isPrinting, std::memory_order_relaxed );
    }

    /// Of the store, in units of 1024 bytes.
    virtual std::uint64_t getFreeSpace() const = 0;
    /// Returns when, at one moment since the call, no asynchronous transfer was queued or running.
    /// Completions of the last ones may still be under way. On a thread that the server needs for
    /// that it is an assertion.
    virtual void blockUntilProcessed() = 0;
    /// The unit of the store's transfers in bytes; 1 where there is none.
    virtual unsigned int getBlockSize() const = 0;
    /// Of memory, in bytes, a power of two.
    virtual unsigned int getAlignment() const = 0;
    virtual unsigned int getNbSerialIds() const = 0;
    /// The blocks of the store, those of other processes and of earlier ones included.
    virtual OPtrRet<Set<CtSerialId>> getSerialIds() const = 0;
    /// Makes a block of `size` bytes, with its space reserved where the store can; its bytes are 0
    /// until they are written. Raises CtEx::ExNotEnoughSpace where there is no room.
    virtual NewTile createTile( unsigned int size ) = 0;
    /// Errors: a block that isn't there raises. Requests for the block that are under way end as if
    ///         it were still there.
    virtual void removeTile( const CtSerialId& id ) = 0;
    /// Whether the block is there and, unless `mode` is ANY_SIZE, as long as its size asks for.
    virtual bool isValid( const CtStTileId& tile, int mode ) const = 0;
    /// Deletes all blocks. Their ids aren't given out again.
    virtual void clear() = 0;
    /// Both return when the bytes have been moved, and raise what prevents that.
    virtual CtHintPtr read( const CtPxTileId& tile, void* memory, const CtHintPtr& hint ) = 0;
    /// Writes the tile and waits; the hint is for its next transfer.
    virtual CtHintPtr write( const CtPxTileId& tile, const void* memory,
                             const CtHintPtr& hint ) = 0;
    /// Both raise what is known to be wrong at once; what goes wrong later is `asyncFailed`.
    /// `handle` isn't null, which is an assertion; it may end in a call that doesn't raise.
    virtual CtHintPtr asyncRead( const CtPxTileId& tile, void* memory, const CtHintPtr& hint,
                                 LkAsyncHandle* handle ) = 0;
    /// The same without waiting; `handle` gets the end.
    virtual CtHintPtr asyncWrite( const CtPxTileId& tile, const void* memory, const CtHintPtr& hint,
                                  LkAsyncHandle* handle ) = 0;
    /// Waits until all requests have completed; nobody else uses the server any more.
    virtual ~CtServer() noexcept( false );

protected:
    /// Places the server in the graph of priorities and announces it to the user, as "Initializing
    /// media cache " and the configuration.
    explicit CtServer( const LiString& configuration );

    /// Ends an asynchronous request as described above, `failure` being what prevented its transfer
    /// or null. A failure, and what a completion raises, is counted, logged and, unless that is
    /// switched off, printed as "Async
    /// content operation on <tile> failed: <reason>". The caller holds no lock, and nothing of the
    /// request.
    void complete( const CtPxTileId& tile, LkAsyncHandle* handle,
                   const std::exception_ptr& failure ) noexcept;
    /// For the server's kind to count with, and for its hints.
    const RCShdPtr<CtTally>& getTally() const noexcept { return _tally; }

private:
    friend class LkSingleton<CtServer>;

    static OPtrRet<CtServer> createInstance();
    void reportFailure( const CtPxTileId& tile, const std::exception_ptr& failure ) noexcept;

    const LiString _path;
    Priority _priority;
    const PriorityRelation _belowRealTime;
    const RCShdPtr<CtTally> _tally;
    // Hands nothing over.
    std::atomic<bool> _isPrintingFailures = true;
};

} // namespace Qv
