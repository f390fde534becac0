#include <resmgt/memoryBuffers/src/mbStates.h>

namespace Qv::MbStates {

/// Something is under way; most events wait for its end or are noted for it.
class TransientStates : public States {
public:
    using States::States;

    int rdlock( MbBufferImp* b ) const override { return wait( b, RDLOCK ); }
    int wrlock( MbBufferImp* b ) const override { return wait( b, WRLOCK ); }
    int prefetch( MbBufferImp* b ) const override { return defer( b, PREFETCH ); }
    int asyncSync( MbBufferImp* b ) const override { return defer( b, ASYNC_SYNC ); }
    int sync( MbBufferImp* b ) const override { return wait( b, SYNC ); }
    int unlock( MbBufferImp* b ) const override { return wait( b, UNLOCK ); }
    int free( MbBufferImp* b ) const override { return waitUnlessReplayed( b, FREE ); }
    int destroy( MbBufferImp* b ) const override { return waitUnlessReplayed( b, DESTROY ); }
    MbRegion release( MbBufferImp* b ) const override { return waitAndRelease( b ); }
    void grab( MbBufferImp* b, MbRegion region ) const override { waitAndGrab( b, region ); }

private:
    bool isMovable() const override { return false; }
};

/// A thread is in the middle of a transition. A protocol that frees the buffer or drops its last
/// handle from inside its call has that done at the transition's end; so has one that completes an
/// asynchronous operation before the thread that started it has left its transition.
class TransientState final : public TransientStates {
public:
    using TransientStates::TransientStates;

    int free( MbBufferImp* b ) const override { return waitUnlessOwn( b, FREE ); }
    int destroy( MbBufferImp* b ) const override { return waitUnlessOwn( b, DESTROY ); }
    int asyncOpSucceeded( MbBufferImp* b ) const override { return defer( b, ASYNC_OP_SUCCEEDED ); }
    int asyncOpFailed( MbBufferImp* b ) const override { return defer( b, ASYNC_OP_FAILED ); }

private:
    int waitUnlessOwn( MbBufferImp* b, MbEvent event ) const {
        return isOwnTransition( b ) ? defer( b, event ) : wait( b, event );
    }
};

/// What the states with a running asynchronous operation have in common. Where the protocol raises
/// when it hears of the end, the buffer goes on waiting, for a second report. A load that has
/// failed has no memory any more by then, so that its second report must be a failure again. A
/// prefetch that was put off behind it is dropped with it: the next lock tries again, and raises
/// what prevents it.
class WaitActions : public TransientStates {
protected:
    using TransientStates::TransientStates;
    using Notification = void ( MbProtocol::* )();

    int complete( MbBufferImp* b, MbEvent event, Notification notification, StateId id ) const {
        return transition( b, event, [&]( Target& target ) {
            call( b, notification );
            target = state( id );
        } );
    }
    int succeedLoad( MbBufferImp* b, Notification notification ) const {
        return hasMemory( b ) ? complete( b, ASYNC_OP_SUCCEEDED, notification, SYNCHED )
                              : MbStateImp::asyncOpSucceeded( b );
    }
    int failLoad( MbBufferImp* b, Notification notification, StateId id ) const {
        return transition( b, ASYNC_OP_FAILED, [&]( Target& target ) {
            dropPending( b, PREFETCH );
            if( hasMemory( b ) ) {
                deallocate( b );
            }
            call( b, notification );
            target = state( id );
        } );
    }
};

class WaitAsyncLoaded final : public WaitActions {
public:
    using WaitActions::WaitActions;

    int asyncOpSucceeded( MbBufferImp* b ) const override {
        return succeedLoad( b, &MbProtocol::asyncLoadSucceeded );
    }
    int asyncOpFailed( MbBufferImp* b ) const override {
        return failLoad( b, &MbProtocol::asyncLoadFailed, FREED );
    }
};

class WaitAsyncReloaded final : public WaitActions {
public:
    using WaitActions::WaitActions;

    int asyncOpSucceeded( MbBufferImp* b ) const override {
        return succeedLoad( b, &MbProtocol::asyncReloadSucceeded );
    }
    int asyncOpFailed( MbBufferImp* b ) const override {
        return failLoad( b, &MbProtocol::asyncReloadFailed, UNLOADED );
    }
};

/// An asynchronous write is running, and readers wait for its end.
class WaitAsyncSynched final : public WaitActions {
public:
    using WaitActions::WaitActions;

    int asyncOpSucceeded( MbBufferImp* b ) const override {
        return complete( b, ASYNC_OP_SUCCEEDED, &MbProtocol::asyncSyncSucceeded, SYNCHED );
    }
    int asyncOpFailed( MbBufferImp* b ) const override {
        return complete( b, ASYNC_OP_FAILED, &MbProtocol::asyncSyncFailed, LOADED );
    }
};

/// An asynchronous write is running, and readers may enter.
class WaitAsyncSynchedLoaded final : public WaitActions {
public:
    using WaitActions::WaitActions;

    int rdlock( MbBufferImp* b ) const override {
        return lockTransition(
            b, RDLOCK, [&]( Target& target ) { target = state( WAIT_ASYNC_SYNCHED_RD_LOCKED ); } );
    }
    int prefetch( MbBufferImp* b ) const override { return none( b, PREFETCH ); }
    int asyncSync( MbBufferImp* b ) const override { return none( b, ASYNC_SYNC ); }
    int unlock( MbBufferImp* b ) const override { return MbStateImp::unlock( b ); }
    int asyncOpSucceeded( MbBufferImp* b ) const override {
        return complete( b, ASYNC_OP_SUCCEEDED, &MbProtocol::asyncSyncSucceeded, SYNCHED );
    }
    int asyncOpFailed( MbBufferImp* b ) const override {
        return complete( b, ASYNC_OP_FAILED, &MbProtocol::asyncSyncFailed, LOADED );
    }
};

void addTransientStates( StateSet& set ) {
    set.add<TransientState>( TRANSIENT );
    set.add<WaitAsyncLoaded>( WAIT_ASYNC_LOADED );
    set.add<WaitAsyncReloaded>( WAIT_ASYNC_RELOADED );
    set.add<WaitAsyncSynched>( WAIT_ASYNC_SYNCHED );
    set.add<WaitAsyncSynchedLoaded>( WAIT_ASYNC_SYNCHED_LOADED );
}

} // namespace Qv::MbStates
