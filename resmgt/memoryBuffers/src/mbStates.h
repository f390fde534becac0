#pragma once

#include <resmgt/memoryBuffers/mbProtocol.h>
#include <resmgt/memoryBuffers/src/mbStateImp.h>
#include <resmgt/memoryBuffers/src/mbStateTrace.h>

#include <array>
#include <memory>

namespace Qv::MbStates {

enum StateId : unsigned {
    FREED,
    UNLOADED,
    SYNCHED,
    LOADED,
    DESTROYED,
    LOCKED,
    LOCKED_DIRTY,
    LOCKED_FREED,
    LOCKED_FREED_DIRTY,
    RD_LOCKED,
    RD_LOCKED_DIRTY,
    RD_LOCKED_FREED,
    WR_LOCKED,
    WR_LOCKED_FREED,
    WAIT_ASYNC_SYNCHED_RD_LOCKED,
    TRANSIENT,
    WAIT_ASYNC_LOADED,
    WAIT_ASYNC_RELOADED,
    WAIT_ASYNC_SYNCHED,
    WAIT_ASYNC_SYNCHED_LOADED,
    NB_STATES
};

/// The states of one machine, and what its two flags and the environment choose.
struct StateSet {
    using Table = std::array<std::unique_ptr<const MbState>, NB_STATES>;

    /// Whether each event writes a trace line where the level is enabled.
    const bool isTraced;
    /// Which lock states are entered: Locked and LockedDirty for any number of readers and writers
    /// together, or RdLocked, RdLockedDirty and the exclusive WrLocked.
    const bool isRelaxed;
    /// Whether readers may enter during an asynchronous write.
    const bool mayReadWhileAsyncSync;
    Table table{};

    template <class State>
    void add( StateId id ) {
        table[id] = std::make_unique<State>( *this );
    }
};

void addUnlockedStates( StateSet& set );
void addLockedStates( StateSet& set );
void addTransientStates( StateSet& set );

/// Adds to MbStateImp what depends on the machine.
class States : public MbStateImp {
public:
    /// `set` is filled once all states are built. `hasActions`: `enter` and `exit` do more than
    /// trace.
    explicit States( const StateSet& set, bool hasActions = false )
        : MbStateImp( hasActions || set.isTraced )
        , _set( set ) {}

    int unload( MbBufferImp* b ) const override {
        traceLine( b, " unload (ignored)" );
        return UNCHANGED;
    }
    void enter( MbBufferImp* b ) const override { traceLine( b, "::entering" ); }
    void exit( MbBufferImp* b ) const override { static_cast<void>( trace( b, "exit" ) ); }

protected:
    using Target = const MbState*;

    [[nodiscard]] MbStateTrace::Scope trace( const MbBufferImp* b, const char* operation ) const {
        return MbStateTrace::Scope( _set.isTraced, *this, *b, operation );
    }
    [[nodiscard]] MbStateTrace::Scope trace( const MbBufferImp* b, MbEvent event ) const {
        return trace( b, MB_EVENTS[event].name );
    }
    void traceLine( const MbBufferImp* b, const char* suffix ) const {
        if( _set.isTraced && MbStateTrace::isEnabled() ) {
            MbStateTrace::logLine( *this, *b, suffix );
        }
    }

    const MbState* state( StateId id ) const { return _set.table[id].get(); }
    const MbState* cleanLock() const { return state( _set.isRelaxed ? LOCKED : RD_LOCKED ); }
    const MbState* dirtyRead() const {
        return state( _set.isRelaxed ? LOCKED_DIRTY : RD_LOCKED_DIRTY );
    }
    const MbState* dirtyWrite() const { return state( _set.isRelaxed ? LOCKED_DIRTY : WR_LOCKED ); }

    // The answers that many states share.

    int none( MbBufferImp* b, MbEvent event ) const {
        const auto scope = trace( b, event );
        return UNCHANGED;
    }
    int wait( MbBufferImp* b, MbEvent event ) const {
        const auto scope = trace( b, event );
        waitForChange( b );
        return AGAIN;
    }
    /// For what nobody waits for any more: a replayed event stays pending until the state is left.
    int waitUnlessReplayed( MbBufferImp* b, MbEvent event ) const {
        return isReplay( b ) ? defer( b, event ) : wait( b, event );
    }
    int defer( MbBufferImp* b, MbEvent event ) const {
        const auto scope = trace( b, event );
        notePending( b, event );
        return UNCHANGED;
    }
    int countLock( MbBufferImp* b, MbEvent event ) const {
        const auto scope = trace( b, event );
        addLock( b );
        return UNCHANGED;
    }
    MbRegion waitAndRelease( MbBufferImp* b ) const {
        const auto scope = trace( b, "release" );
        waitUntilMovable( b );
        return currentState( b )->release( b );
    }
    void waitAndGrab( MbBufferImp* b, const MbRegion& region ) const {
        const auto scope = trace( b, "grab" );
        waitUntilMovable( b );
        currentState( b )->grab( b, region );
    }

    template <class Work>
    int transition( MbBufferImp* b, MbEvent event, Work work ) const {
        const auto scope = trace( b, event );
        return transit( b, *state( TRANSIENT ), work );
    }
    int transition( MbBufferImp* b, MbEvent event, StateId id ) const {
        return transition( b, event, [&]( Target& target ) { target = state( id ); } );
    }
    template <class Work>
    int lockTransition( MbBufferImp* b, MbEvent event, Work work ) const {
        const auto scope = trace( b, event );
        return transitToLock( b, *state( TRANSIENT ), work );
    }

    /// Gets memory and has it filled by `work`.
    template <class Work>
    static void allocateFor( MbBufferImp* b, Work work ) {
        allocate( b );
        fillOrGiveBack( b, work );
    }
    /// Gives the buffer's memory back where `work`, which fills it, raises.
    template <class Work>
    static void fillOrGiveBack( MbBufferImp* b, Work work ) {
        try {
            work();
        } catch( ... ) {
            deallocate( b );
            throw;
        }
    }
    /// Notifies the protocol that the content is abandoned, and gives the memory back in any case.
    static void freeForGood( MbBufferImp* b ) {
        try {
            call( b, &MbProtocol::free );
        } catch( ... ) {
            deallocate( b );
            throw;
        }
        deallocate( b );
    }
    /// Runs `work`, which takes the buffer's region, as a transition. An event that is replayed at
    /// its end may raise when the region is the caller's already; it goes back then.
    template <class Work>
    MbRegion releaseBy( MbBufferImp* b, Work work ) const {
        const auto scope = trace( b, "release" );
        MbRegion region;
        bool isTaken = false;
        try {
            transit( b, *state( TRANSIENT ), [&]( Target& target ) {
                work( target );
                call( b, &MbProtocol::free );
                region = takeRegion( b );
                isTaken = true;
                target = state( FREED );
            } );
        } catch( ... ) {
            if( isTaken ) {
                deallocate( b, region );
            }
            throw;
        }
        return region;
    }

    /// Makes `region` the buffer's as a transition, once `work` has abandoned the former content,
    /// and has the protocol take it. The region goes back where anything raises before that.
    template <class Work>
    void grabBy( MbBufferImp* b, const MbRegion& region, Work work ) const {
        const auto scope = trace( b, "grab" );
        bool isTaken = false;
        try {
            transit( b, *state( TRANSIENT ), [&]( Target& target ) {
                work();
                target = state( FREED );
                setRegion( b, region );
                isTaken = true;
                try {
                    call( b, &MbProtocol::grab, b );
                } catch( ... ) {
                    deallocate( b );
                    throw;
                }
                target = state( LOADED );
            } );
        } catch( ... ) {
            if( !isTaken ) {
                deallocate( b, region );
            }
            throw;
        }
    }

private:
    void traceIllegal( const MbBufferImp* b, const char* event ) const override {
        static_cast<void>( trace( b, event ) );
    }

    const StateSet& _set;
};

} // namespace Qv::MbStates
