#include <resmgt/memoryBuffers/src/mbStates.h>

namespace Qv::MbStates {

/// What Freed and Unloaded have in common: no memory. They differ in the protocol's operation that
/// fills it, `load` or `reload`.
class EmptyActions : public States {
protected:
    using States::States;
    using Fill = void ( MbProtocol::* )( void*, unsigned long long );
    using AsyncFill = void ( MbProtocol::* )( void*, unsigned long long, LkAsyncHandle* );

    int rdlockBy( MbBufferImp* b, Fill fill ) const {
        return lockTransition( b, RDLOCK, [&]( Target& target ) {
            allocateFor( b, [&] { call( b, fill ); } );
            target = cleanLock();
        } );
    }
    int wrlockBy( MbBufferImp* b, Fill fill ) const {
        return lockTransition( b, WRLOCK, [&]( Target& target ) {
            allocateFor( b, [&] {
                call( b, fill );
                call( b, &MbProtocol::markDirty );
            } );
            target = dirtyWrite();
        } );
    }
    /// A replayed one gets memory only where there is room: its thread may hold the lock that would
    /// give some back.
    int prefetchBy( MbBufferImp* b, AsyncFill fill, StateId waiting ) const {
        const bool mayWait = !isReplay( b );
        return transition( b, PREFETCH, [&]( Target& target ) {
            if( mayWait ) {
                allocate( b );
            } else if( !allocateByTheWay( b ) ) {
                return;
            }
            fillOrGiveBack( b, [&] { call( b, fill, b ); } );
            target = state( waiting );
        } );
    }
    MbRegion releaseFilled( MbBufferImp* b, Fill fill ) const {
        return releaseBy( b, [&]( Target& target ) {
            allocateFor( b, [&] { call( b, fill ); } );
            target = state( SYNCHED );
        } );
    }

public:
    int asyncSync( MbBufferImp* b ) const override { return none( b, ASYNC_SYNC ); }
    int sync( MbBufferImp* b ) const override { return none( b, SYNC ); }
    int destroy( MbBufferImp* b ) const override { return transition( b, DESTROY, DESTROYED ); }
    void grab( MbBufferImp* b, MbRegion region ) const override {
        grabBy( b, region, [] {} );
    }
};

/// No content and no memory: a new buffer.
class Freed final : public EmptyActions {
public:
    using EmptyActions::EmptyActions;

    int rdlock( MbBufferImp* b ) const override { return rdlockBy( b, &MbProtocol::load ); }
    int wrlock( MbBufferImp* b ) const override { return wrlockBy( b, &MbProtocol::load ); }
    int prefetch( MbBufferImp* b ) const override {
        return prefetchBy( b, &MbProtocol::asyncLoad, WAIT_ASYNC_LOADED );
    }
    int free( MbBufferImp* b ) const override { return none( b, FREE ); }
    MbRegion release( MbBufferImp* b ) const override {
        return releaseFilled( b, &MbProtocol::load );
    }
};

/// The content is in the backing store only; no memory.
class Unloaded final : public EmptyActions {
public:
    using EmptyActions::EmptyActions;

    int rdlock( MbBufferImp* b ) const override { return rdlockBy( b, &MbProtocol::reload ); }
    int wrlock( MbBufferImp* b ) const override { return wrlockBy( b, &MbProtocol::reload ); }
    int prefetch( MbBufferImp* b ) const override {
        return prefetchBy( b, &MbProtocol::asyncReload, WAIT_ASYNC_RELOADED );
    }
    int free( MbBufferImp* b ) const override { return transition( b, FREE, FREED ); }
    MbRegion release( MbBufferImp* b ) const override {
        return releaseFilled( b, &MbProtocol::reload );
    }
};

/// In memory and unlocked: the manager lists the buffer from `enter` to `exit`.
class LoadedStates : public States {
public:
    explicit LoadedStates( const StateSet& set )
        : States( set, true ) {}

    bool isLoaded() const override { return true; }
    void enter( MbBufferImp* b ) const override {
        States::enter( b );
        addToManager( b );
    }
    void exit( MbBufferImp* b ) const override {
        States::exit( b );
        removeFromManager( b );
    }
    /// Makes the buffer the newest of those that can be evicted.
    int prefetch( MbBufferImp* b ) const override {
        const auto scope = trace( b, PREFETCH );
        removeFromManager( b );
        addToManager( b );
        return UNCHANGED;
    }
    int unload( MbBufferImp* b ) const override {
        return transition( b, UNLOAD, [&]( Target& target ) {
            if( call( b, &MbProtocol::unload ) ) {
                deallocate( b );
                target = state( UNLOADED );
            }
        } );
    }
    int free( MbBufferImp* b ) const override {
        return transition( b, FREE, [&]( Target& target ) {
            call( b, &MbProtocol::free );
            deallocate( b );
            target = state( FREED );
        } );
    }
    MbRegion release( MbBufferImp* b ) const override {
        return releaseBy( b, []( Target& ) {} );
    }
    void grab( MbBufferImp* b, MbRegion region ) const override {
        grabBy( b, region, [b] {
            States::call( b, &MbProtocol::free );
            States::deallocate( b );
        } );
    }
};

/// The same content as in the backing store.
class Synched final : public LoadedStates {
public:
    using LoadedStates::LoadedStates;

    int rdlock( MbBufferImp* b ) const override {
        return lockTransition( b, RDLOCK, [&]( Target& target ) { target = cleanLock(); } );
    }
    int wrlock( MbBufferImp* b ) const override {
        return lockTransition( b, WRLOCK, [&]( Target& target ) {
            call( b, &MbProtocol::markDirty );
            target = dirtyWrite();
        } );
    }
    int asyncSync( MbBufferImp* b ) const override { return none( b, ASYNC_SYNC ); }
    int sync( MbBufferImp* b ) const override { return none( b, SYNC ); }
    int destroy( MbBufferImp* b ) const override {
        return transition( b, DESTROY, [&]( Target& target ) {
            deallocate( b );
            target = state( DESTROYED );
        } );
    }
};

/// The content is newer than that in the backing store.
class Loaded final : public LoadedStates {
public:
    explicit Loaded( const StateSet& set )
        : LoadedStates( set )
        , _asyncSyncState( set.mayReadWhileAsyncSync ? WAIT_ASYNC_SYNCHED_LOADED
                                                     : WAIT_ASYNC_SYNCHED ) {}

    int rdlock( MbBufferImp* b ) const override {
        return lockTransition( b, RDLOCK, [&]( Target& target ) { target = dirtyRead(); } );
    }
    int wrlock( MbBufferImp* b ) const override {
        return lockTransition( b, WRLOCK, [&]( Target& target ) { target = dirtyWrite(); } );
    }
    int asyncSync( MbBufferImp* b ) const override {
        return transition( b, ASYNC_SYNC, [&]( Target& target ) {
            call( b, &MbProtocol::asyncSync, b );
            target = state( _asyncSyncState );
        } );
    }
    int sync( MbBufferImp* b ) const override {
        return transition( b, SYNC, [&]( Target& target ) {
            call( b, &MbProtocol::sync );
            target = state( SYNCHED );
        } );
    }
    /// Nobody can ask again, so the buffer goes even where the protocol raises.
    int destroy( MbBufferImp* b ) const override {
        return transition( b, DESTROY, [&]( Target& target ) {
            target = state( DESTROYED );
            try {
                call( b, &MbProtocol::destroy );
            } catch( ... ) {
                deallocate( b );
                throw;
            }
            deallocate( b );
        } );
    }

private:
    /// Where an asynchronous write goes on.
    const StateId _asyncSyncState;
};

/// The end. Accepts nothing; `unload` is ignored.
class Destroyed final : public States {
public:
    using States::States;

    bool isDestroyed() const override { return true; }
};

void addUnlockedStates( StateSet& set ) {
    set.add<Freed>( FREED );
    set.add<Unloaded>( UNLOADED );
    set.add<Synched>( SYNCHED );
    set.add<Loaded>( LOADED );
    set.add<Destroyed>( DESTROYED );
}

} // namespace Qv::MbStates
