#pragma once

#include <resmgt/memoryBuffers/mbBufferImp.h>
#include <resmgt/memoryBuffers/mbManager.h>
#include <resmgt/memoryBuffers/src/mbState.h>

#include <exception>
#include <iosfwd>
#include <type_traits>

namespace Qv {

class MbProtocol;

/// A state that accepts nothing, and what all states do with a buffer.
///
/// Transition: the buffer stands in the transient state, owned by the calling thread, while the
///     work is done; other threads' events wait or are noted as pending. The work moves `target`
///     from the state that is left to another one; where it raises, the target that it had set by
///     then takes effect. The end is always run: the target is entered, the owner is none, and the
///     pending events are sent again.
/// Replay: in the order of their bits, without the lock being given up outside of transitions. A
///     replayed event never waits, since the change that it would wait for may be this thread's to
///     bring about, and whoever sent it has gone on: `free` and `destroy` stay pending until the
///     asynchronous operation that they meet has ended.
/// Errors: the caller gets the first exception, be it the work's or a replayed event's; later ones
///     are reported through Trace::printException. An exception out of a transition sets the
///     buffer's mark TRANSITION_FAILED.
class MbStateImp : public MbState {
public:
    /// `hasActions`: `enter` and `exit` do something. Transitions call them only then.
    explicit MbStateImp( bool hasActions )
        : _hasActions( hasActions ) {}

    int rdlock( MbBufferImp* buffer ) const override;
    int wrlock( MbBufferImp* buffer ) const override;
    int wrdup( MbBufferImp* buffer ) const override;
    int wr2rd( MbBufferImp* buffer ) const override;
    int prefetch( MbBufferImp* buffer ) const override;
    int asyncSync( MbBufferImp* buffer ) const override;
    int sync( MbBufferImp* buffer ) const override;
    int unlock( MbBufferImp* buffer ) const override;
    int unload( MbBufferImp* buffer ) const override;
    int free( MbBufferImp* buffer ) const override;
    int destroy( MbBufferImp* buffer ) const override;
    int asyncOpSucceeded( MbBufferImp* buffer ) const override;
    int asyncOpFailed( MbBufferImp* buffer ) const override;
    MbRegion release( MbBufferImp* buffer ) const override;
    void grab( MbBufferImp* buffer, MbRegion region ) const override;
    bool isLoaded() const override { return false; }
    bool isDestroyed() const override { return false; }
    void enter( MbBufferImp* ) const override {}
    void exit( MbBufferImp* ) const override {}

    /// The buffer as traces show it: name, address, lock count.
    static void describe( std::ostream& stream, const MbBufferImp& buffer );

protected:
    [[noreturn]] void raiseIllegal( const MbBufferImp* buffer, const char* event ) const;

    static const MbState* currentState( const MbBufferImp* b );
    static void waitForChange( const MbBufferImp* b );
    /// Asserts that not all locks of the buffer are known to be the calling thread's.
    static void expectOtherHolder( const MbBufferImp* b );
    /// Waits for a state in which `release` and `grab` don't wait; at least for one change.
    static void waitUntilMovable( const MbBufferImp* b );
    static void notePending( MbBufferImp* b, MbEvent event );
    static void dropPending( MbBufferImp* b, MbEvent event );
    static bool isOwnTransition( const MbBufferImp* b );
    /// Whether the event that is being handled was pending.
    static bool isReplay( const MbBufferImp* b );

    static void addLock( MbBufferImp* b );
    /// Answers whether none is left.
    static bool removeLock( MbBufferImp* b );

    static bool hasMemory( const MbBufferImp* b );
    /// With the buffer's lock released: whoever is to give memory back may need it.
    static void allocate( MbBufferImp* b );
    /// The same where there is room; false where there isn't.
    static bool allocateByTheWay( MbBufferImp* b );
    static void deallocate( MbBufferImp* b );
    static void deallocate( MbBufferImp* b, const MbRegion& region );
    static void setRegion( MbBufferImp* b, const MbRegion& region );
    /// The buffer's region, which the buffer gives up.
    static MbRegion takeRegion( MbBufferImp* b );
    static void addToManager( MbBufferImp* b );
    static void removeFromManager( MbBufferImp* b );

    /// Calls an operation of the buffer's protocol, with the buffer's lock released.
    template <class Answer, class... Args>
    static Answer call( MbBufferImp* b,
                        Answer ( MbProtocol::*operation )( void*, unsigned long long, Args... ),
                        std::type_identity_t<Args>... args );
    static void call( MbBufferImp* b, void ( MbProtocol::*operation )() );

    template <class Work>
    int transit( MbBufferImp* b, const MbState& transient, Work work ) const;
    /// The same with a lock taken at the end. A lock that is taken before a replayed event raises
    /// is given up again, since the caller doesn't get it.
    template <class Work>
    int transitToLock( MbBufferImp* b, const MbState& transient, Work work ) const;

private:
    static constexpr std::uint32_t ALL_EVENTS = eventBit( NB_EVENTS ) - 1;

    class Unlocked;

    virtual void traceIllegal( const MbBufferImp*, const char* ) const {}
    virtual bool isMovable() const { return true; }

    static void begin( MbBufferImp* b, const MbState& current, const MbState& transient );
    static void end( MbBufferImp* b, const MbState& transient, const MbState& target,
                     std::exception_ptr& failure );
    /// Sends pending events, and raises what has been raised.
    static void endInFull( MbBufferImp* b, std::exception_ptr& failure );
    /// Keeps the exception that is being handled if it is the first, and reports it otherwise.
    static void keepFirst( std::exception_ptr& failure ) noexcept;
    static void replay( MbBufferImp* b, std::exception_ptr& failure );
    static void giveUpLock( MbBufferImp* b );
    static void enterState( MbBufferImp* b, const MbState& state );
    static void exitState( MbBufferImp* b, const MbState& state );

    const bool _hasActions;
};

/// The buffer's lock given up for a scope, and with it the stability of all that it guards.
class QV_SCOPED_CAPABILITY MbStateImp::Unlocked {
public:
    explicit Unlocked( const LkLock& lock ) QV_RELEASE( lock )
        : _imp( lock.getImp() ) {
        _imp.unlock();
    }
    Unlocked( const Unlocked& ) = delete;
    Unlocked& operator=( const Unlocked& ) = delete;
    ~Unlocked() QV_RELEASE() { _imp.lock(); }

private:
    const LkLockPlatform& _imp;
};

template <class Answer, class... Args>
Answer MbStateImp::call( MbBufferImp* b,
                         Answer ( MbProtocol::*operation )( void*, unsigned long long, Args... ),
                         std::type_identity_t<Args>... args ) {
    b->assumeLocked();
    MbProtocol* const protocol = b->_protocol.get();
    void* const memory = b->getMemory();
    const std::uint64_t size = b->getMemorySize();
    const Unlocked unlocked( b->_lock );
    return ( protocol->*operation )( memory, size, args... );
}

// What each first lock and last unlock runs through.

inline void MbStateImp::addLock( MbBufferImp* b ) {
    b->assumeLocked();
    if( b->_lockCount++ == 0 ) {
        b->_locker.setCurrentThread();
    } else if( !b->_locker.isCurrentThread() ) {
        b->_locker.reset();
    }
}

inline bool MbStateImp::removeLock( MbBufferImp* b ) {
    b->assumeLocked();
    return --b->_lockCount == 0;
}

inline void MbStateImp::addToManager( MbBufferImp* b ) {
    b->assumeLocked();
    if( !b->_isListed ) {
        b->_manager->bufferUnloadable( b );
        b->_isListed = true;
    }
}

inline void MbStateImp::removeFromManager( MbBufferImp* b ) {
    b->assumeLocked();
    if( b->_isListed ) {
        b->_manager->bufferNotUnloadable( b );
        b->_isListed = false;
    }
}

// All states are of this class.
inline void MbStateImp::enterState( MbBufferImp* b, const MbState& state ) {
    if( static_cast<const MbStateImp&>( state )._hasActions ) {
        state.enter( b );
    }
}

inline void MbStateImp::exitState( MbBufferImp* b, const MbState& state ) {
    if( static_cast<const MbStateImp&>( state )._hasActions ) {
        state.exit( b );
    }
}

inline void MbStateImp::begin( MbBufferImp* b, const MbState& current, const MbState& transient ) {
    b->assumeLocked();
    b->_transientStateOwner.setCurrentThread();
    exitState( b, current );
    b->_state = &transient;
    enterState( b, transient );
}

inline void MbStateImp::end( MbBufferImp* b, const MbState& transient, const MbState& target,
                             std::exception_ptr& failure ) {
    b->assumeLocked();
    try {
        exitState( b, transient );
    } catch( ... ) {
        keepFirst( failure );
    }
    b->_state = &target;
    try {
        enterState( b, target );
    } catch( ... ) {
        keepFirst( failure );
    }
    b->_transientStateOwner.reset();
    if( ( b->_pendingEvents & ALL_EVENTS ) != 0 || failure ) {
        endInFull( b, failure );
    }
}

template <class Work>
int MbStateImp::transit( MbBufferImp* b, const MbState& transient, Work work ) const {
    const MbState* target = this;
    std::exception_ptr failure;
    try {
        begin( b, *this, transient );
        work( target );
    } catch( ... ) {
        failure = std::current_exception();
    }
    end( b, transient, *target, failure );
    return CHANGED;
}

template <class Work>
int MbStateImp::transitToLock( MbBufferImp* b, const MbState& transient, Work work ) const {
    bool isLocked = false;
    try {
        return transit( b, transient, [&]( const MbState*& target ) {
            work( target );
            addLock( b );
            isLocked = true;
        } );
    } catch( ... ) {
        if( isLocked ) {
            giveUpLock( b );
        }
        throw;
    }
}

} // namespace Qv
