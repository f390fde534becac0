#pragma once

#include <base/ownership/rcShdPtr.h>
#include <mediaTiles/tiStore.h>
#include <resmgt/memoryBuffers/mbProtocol.h>

namespace Qv {

class TiBlock;

/// Keeps one tile in a content server while it is out of memory.
///
///     CtServer& server = CtServer::getInstance();
///     const RCShdPtr<TiStore> store( new TiStore( server ) );
///     MbBuffer tile = factory.create( name, OPtr<MbProtocol>( new TiProtocol( store ) ), size,
///                                     MbAlignment( server.getAlignment() - 1, 0, 0 ) );
///
/// TiBufferFactory does so.
///
/// Content:  undefined in a tile that nobody has written to, or filled by a derived class in
///           `load`, which calls this class's first. Such content isn't saved, but made again after
///           an eviction. A tile counts as changed from `markDirty` on, until it is saved. An
///           unchanged one isn't written again.
/// Memory:   of the tile is aligned as the server's `getAlignment` says.
/// Ahead of need: `prefetch` and `asyncSync` go to the server's `asyncRead` and `asyncWrite`. Where
///           one fails, in the request or later, that is logged and the tile stays as it was: the
///           next lock reads again and the next eviction writes again, and raises what prevents
///           that. A place where a write has failed is given up for another one.
/// Overrides: call this class's operation, and raise nothing behind `sync`, `unload` and
///           `asyncSync`, nor have `unload` answer false behind it: what has been saved counts as
///           unchanged until the next `markDirty`.
/// Waiting:  a transfer that is under way holds the tile's memory, and ends without anybody's help
///           but the server's workers', who wait neither for memory nor for locks of tiles. So with
///           room for two tiles a thread, and threads that have at most one tile locked when they
///           ask for another, each wait for memory ends. Requests ahead of need may wait for room
///           in the server's queue; that wait ends as well.
/// Errors:   what the server raises, such as CtEx::ExNotEnoughSpace.
/// Threads:  as MbProtocol.
class QV_MEDIATILES_API TiProtocol : public MbProtocol {
public:
    explicit TiProtocol( const RCShdPtr<TiStore>& store );
    ~TiProtocol() override;

    void load( void* memory, unsigned long long size ) override;
    void asyncLoad( void* memory, unsigned long long size, LkAsyncHandle* handle ) override;
    void reload( void* memory, unsigned long long size ) override;
    void asyncReload( void* memory, unsigned long long size, LkAsyncHandle* handle ) override;
    void asyncReloadSucceeded() override;
    void asyncReloadFailed() override;
    void sync( void* memory, unsigned long long size ) override;
    void asyncSync( void* memory, unsigned long long size, LkAsyncHandle* handle ) override;
    void asyncSyncSucceeded() override;
    void asyncSyncFailed() override;
    bool unload( void* memory, unsigned long long size ) override;
    void free( void* memory, unsigned long long size ) override;
    void markDirty( void* memory, unsigned long long size ) override;

private:
    enum class Content {
        /// As `load` leaves it.
        INITIAL,
        /// The kept content is older, or there is none. The state at first: a protocol may come to
        /// a buffer that has content already.
        CHANGED,
        /// The kept content is the same.
        SAVED
    };

    void needPlace( unsigned long long size, bool mayWait );
    void noteSaved() noexcept;
    void giveUpPlace() noexcept;
    void endContent() noexcept;

    const RCShdPtr<TiStore> _store;
    /// Null as long as nothing was saved; then the tile has its piece of this number.
    TiBlock* _block = nullptr;
    unsigned int _piece = 0;
    Content _content = Content::CHANGED;
};

} // namespace Qv
