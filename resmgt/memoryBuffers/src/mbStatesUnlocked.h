#pragma once

#include <resmgt/memoryBuffers/src/mbStates.h>

namespace Qv::MbStates {

/// What Freed and Unloaded have in common: no memory. They differ in the protocol's operation that
/// fills it, `load` or `reload`.
template <bool UNTRACED, bool RELAXED>
class EmptyActions : public States<UNTRACED, RELAXED> {
protected:
    using Base = States<UNTRACED, RELAXED>;
    using Base::Base;
    using typename Base::Target;
    using Fill = void ( MbProtocol::* )( void*, unsigned long long );
    using AsyncFill = void ( MbProtocol::* )( void*, unsigned long long, LkAsyncHandle* );

    int rdlockBy( MbBufferImp* b, Fill fill ) const {
        return this->lockTransition( b, RDLOCK, [&]( Target& target ) {
            this->allocateFor( b, [&] { this->call( b, fill ); } );
            target = this->cleanLock();
        } );
    }
    int wrlockBy( MbBufferImp* b, Fill fill ) const {
        return this->lockTransition( b, WRLOCK, [&]( Target& target ) {
            this->allocateFor( b, [&] {
                this->call( b, fill );
                this->call( b, &MbProtocol::markDirty );
            } );
            target = this->dirtyWrite();
        } );
    }
    int prefetchBy( MbBufferImp* b, AsyncFill fill, StateId waiting ) const {
        return this->transition( b, PREFETCH, [&]( Target& target ) {
            this->allocateFor( b, [&] { this->call( b, fill, b ); } );
            target = this->state( waiting );
        } );
    }
    MbRegion releaseFilled( MbBufferImp* b, Fill fill ) const {
        return this->releaseBy( b, [&]( Target& target ) {
            this->allocateFor( b, [&] { this->call( b, fill ); } );
            target = this->state( SYNCHED );
        } );
    }

public:
    int asyncSync( MbBufferImp* b ) const override { return this->none( b, ASYNC_SYNC ); }
    int sync( MbBufferImp* b ) const override { return this->none( b, SYNC ); }
    int destroy( MbBufferImp* b ) const override {
        return this->transition( b, DESTROY, DESTROYED );
    }
    void grab( MbBufferImp* b, MbRegion region ) const override {
        this->grabBy( b, region, [] {} );
    }
};

/// No content and no memory: a new buffer.
template <bool UNTRACED, bool RELAXED>
class Freed final : public EmptyActions<UNTRACED, RELAXED> {
public:
    using EmptyActions<UNTRACED, RELAXED>::EmptyActions;

    int rdlock( MbBufferImp* b ) const override { return this->rdlockBy( b, &MbProtocol::load ); }
    int wrlock( MbBufferImp* b ) const override { return this->wrlockBy( b, &MbProtocol::load ); }
    int prefetch( MbBufferImp* b ) const override {
        return this->prefetchBy( b, &MbProtocol::asyncLoad, WAIT_ASYNC_LOADED );
    }
    int free( MbBufferImp* b ) const override { return this->none( b, FREE ); }
    MbRegion release( MbBufferImp* b ) const override {
        return this->releaseFilled( b, &MbProtocol::load );
    }
};

/// The content is in the backing store only; no memory.
template <bool UNTRACED, bool RELAXED>
class Unloaded final : public EmptyActions<UNTRACED, RELAXED> {
public:
    using EmptyActions<UNTRACED, RELAXED>::EmptyActions;

    int rdlock( MbBufferImp* b ) const override { return this->rdlockBy( b, &MbProtocol::reload ); }
    int wrlock( MbBufferImp* b ) const override { return this->wrlockBy( b, &MbProtocol::reload ); }
    int prefetch( MbBufferImp* b ) const override {
        return this->prefetchBy( b, &MbProtocol::asyncReload, WAIT_ASYNC_RELOADED );
    }
    int free( MbBufferImp* b ) const override { return this->transition( b, FREE, FREED ); }
    MbRegion release( MbBufferImp* b ) const override {
        return this->releaseFilled( b, &MbProtocol::reload );
    }
};

/// In memory and unlocked: the manager lists the buffer from `enter` to `exit`.
template <bool UNTRACED, bool RELAXED>
class LoadedStates : public States<UNTRACED, RELAXED> {
public:
    using Base = States<UNTRACED, RELAXED>;
    using Base::Base;
    using typename Base::Target;

    bool isLoaded() const override { return true; }
    void enter( MbBufferImp* b ) const override {
        Base::enter( b );
        this->addToManager( b );
    }
    void exit( MbBufferImp* b ) const override {
        Base::exit( b );
        this->removeFromManager( b );
    }
    /// Makes the buffer the newest of those that can be evicted.
    int prefetch( MbBufferImp* b ) const override {
        [[maybe_unused]] const auto scope = this->trace( b, PREFETCH );
        this->removeFromManager( b );
        this->addToManager( b );
        return this->UNCHANGED;
    }
    int unload( MbBufferImp* b ) const override {
        return this->transition( b, UNLOAD, [&]( Target& target ) {
            if( this->call( b, &MbProtocol::unload ) ) {
                this->deallocate( b );
                target = this->state( UNLOADED );
            }
        } );
    }
    int free( MbBufferImp* b ) const override {
        return this->transition( b, FREE, [&]( Target& target ) {
            this->call( b, &MbProtocol::free );
            this->deallocate( b );
            target = this->state( FREED );
        } );
    }
    MbRegion release( MbBufferImp* b ) const override {
        return this->releaseBy( b, []( Target& ) {} );
    }
    void grab( MbBufferImp* b, MbRegion region ) const override {
        this->grabBy( b, region, [b] {
            States<UNTRACED, RELAXED>::call( b, &MbProtocol::free );
            States<UNTRACED, RELAXED>::deallocate( b );
        } );
    }
};

/// The same content as in the backing store.
template <bool UNTRACED, bool RELAXED>
class Synched final : public LoadedStates<UNTRACED, RELAXED> {
public:
    using Base = LoadedStates<UNTRACED, RELAXED>;
    using Base::Base;
    using typename Base::Target;

    int rdlock( MbBufferImp* b ) const override {
        return this->lockTransition( b, RDLOCK,
                                     [&]( Target& target ) { target = this->cleanLock(); } );
    }
    int wrlock( MbBufferImp* b ) const override {
        return this->lockTransition( b, WRLOCK, [&]( Target& target ) {
            this->call( b, &MbProtocol::markDirty );
            target = this->dirtyWrite();
        } );
    }
    int asyncSync( MbBufferImp* b ) const override { return this->none( b, ASYNC_SYNC ); }
    int sync( MbBufferImp* b ) const override { return this->none( b, SYNC ); }
    int destroy( MbBufferImp* b ) const override {
        return this->transition( b, DESTROY, [&]( Target& target ) {
            this->deallocate( b );
            target = this->state( DESTROYED );
        } );
    }
};

/// The content is newer than that in the backing store.
template <bool UNTRACED, bool RELAXED>
class Loaded final : public LoadedStates<UNTRACED, RELAXED> {
public:
    using Base = LoadedStates<UNTRACED, RELAXED>;
    using typename Base::Target;

    /// `asyncSyncState` is where readers may enter, or wait, during an asynchronous write.
    Loaded( const StateTable& states, const MbState* asyncSyncState )
        : Base( states )
        , _asyncSyncState( asyncSyncState ) {}

    int rdlock( MbBufferImp* b ) const override {
        return this->lockTransition( b, RDLOCK,
                                     [&]( Target& target ) { target = this->dirtyRead(); } );
    }
    int wrlock( MbBufferImp* b ) const override {
        return this->lockTransition( b, WRLOCK,
                                     [&]( Target& target ) { target = this->dirtyWrite(); } );
    }
    int asyncSync( MbBufferImp* b ) const override {
        return this->transition( b, ASYNC_SYNC, [&]( Target& target ) {
            this->call( b, &MbProtocol::asyncSync, b );
            target = _asyncSyncState;
        } );
    }
    int sync( MbBufferImp* b ) const override {
        return this->transition( b, SYNC, [&]( Target& target ) {
            this->call( b, &MbProtocol::sync );
            target = this->state( SYNCHED );
        } );
    }
    /// Nobody can ask again, so the buffer goes even where the protocol raises.
    int destroy( MbBufferImp* b ) const override {
        return this->transition( b, DESTROY, [&]( Target& target ) {
            target = this->state( DESTROYED );
            try {
                this->call( b, &MbProtocol::destroy );
            } catch( ... ) {
                this->deallocate( b );
                throw;
            }
            this->deallocate( b );
        } );
    }

    const MbState* getAsyncSyncState() const { return _asyncSyncState; }

private:
    const MbState* const _asyncSyncState;
};

/// The end. Accepts nothing; `unload` is ignored.
template <bool UNTRACED, bool RELAXED>
class Destroyed final : public States<UNTRACED, RELAXED> {
public:
    using States<UNTRACED, RELAXED>::States;

    bool isDestroyed() const override { return true; }
};

} // namespace Qv::MbStates
