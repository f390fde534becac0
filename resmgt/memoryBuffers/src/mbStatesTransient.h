#pragma once

#include <resmgt/memoryBuffers/src/mbStates.h>

namespace Qv::MbStates {

/// Something is under way; most events wait for its end or are noted for it.
template <bool UNTRACED, bool RELAXED>
class TransientStates : public States<UNTRACED, RELAXED> {
public:
    using States<UNTRACED, RELAXED>::States;

    int rdlock( MbBufferImp* b ) const override { return this->wait( b, RDLOCK ); }
    int wrlock( MbBufferImp* b ) const override { return this->wait( b, WRLOCK ); }
    int prefetch( MbBufferImp* b ) const override { return this->defer( b, PREFETCH ); }
    int asyncSync( MbBufferImp* b ) const override { return this->defer( b, ASYNC_SYNC ); }
    int sync( MbBufferImp* b ) const override { return this->wait( b, SYNC ); }
    int unlock( MbBufferImp* b ) const override { return this->wait( b, UNLOCK ); }
    int free( MbBufferImp* b ) const override { return this->waitUnlessReplayed( b, FREE ); }
    int destroy( MbBufferImp* b ) const override { return this->waitUnlessReplayed( b, DESTROY ); }
    MbRegion release( MbBufferImp* b ) const override { return this->waitAndRelease( b ); }
    void grab( MbBufferImp* b, MbRegion region ) const override { this->waitAndGrab( b, region ); }

private:
    bool isMovable() const override { return false; }
};

/// A thread is in the middle of a transition. A protocol that frees the buffer or drops its last
/// handle from inside its call has that done at the transition's end; so has one that completes an
/// asynchronous operation before the thread that started it has left its transition.
template <bool UNTRACED, bool RELAXED>
class TransientState final : public TransientStates<UNTRACED, RELAXED> {
public:
    using TransientStates<UNTRACED, RELAXED>::TransientStates;

    int free( MbBufferImp* b ) const override { return waitUnlessOwn( b, FREE ); }
    int destroy( MbBufferImp* b ) const override { return waitUnlessOwn( b, DESTROY ); }
    int asyncOpSucceeded( MbBufferImp* b ) const override {
        return this->defer( b, ASYNC_OP_SUCCEEDED );
    }
    int asyncOpFailed( MbBufferImp* b ) const override { return this->defer( b, ASYNC_OP_FAILED ); }

private:
    int waitUnlessOwn( MbBufferImp* b, MbEvent event ) const {
        return this->isOwnTransition( b ) ? this->defer( b, event ) : this->wait( b, event );
    }
};

/// What the states with a running asynchronous operation have in common. Where the protocol raises
/// when it is told of the end, the buffer goes on waiting, for a second report. A load that has
/// failed has no memory any more by then, so that its second report must be a failure again.
template <bool UNTRACED, bool RELAXED>
class WaitActions : public TransientStates<UNTRACED, RELAXED> {
protected:
    using Base = TransientStates<UNTRACED, RELAXED>;
    using Base::Base;
    using typename Base::Target;
    using Notification = void ( MbProtocol::* )();

    int complete( MbBufferImp* b, MbEvent event, Notification notification, StateId id ) const {
        return this->transition( b, event, [&]( Target& target ) {
            this->call( b, notification );
            target = this->state( id );
        } );
    }
    int succeedLoad( MbBufferImp* b, Notification notification ) const {
        return this->hasMemory( b ) ? complete( b, ASYNC_OP_SUCCEEDED, notification, SYNCHED )
                                    : MbStateImp::asyncOpSucceeded( b );
    }
    int failLoad( MbBufferImp* b, Notification notification, StateId id ) const {
        return this->transition( b, ASYNC_OP_FAILED, [&]( Target& target ) {
            if( this->hasMemory( b ) ) {
                this->deallocate( b );
            }
            this->call( b, notification );
            target = this->state( id );
        } );
    }
};

template <bool UNTRACED, bool RELAXED>
class WaitAsyncLoaded final : public WaitActions<UNTRACED, RELAXED> {
public:
    using WaitActions<UNTRACED, RELAXED>::WaitActions;

    int asyncOpSucceeded( MbBufferImp* b ) const override {
        return this->succeedLoad( b, &MbProtocol::asyncLoadSucceeded );
    }
    int asyncOpFailed( MbBufferImp* b ) const override {
        return this->failLoad( b, &MbProtocol::asyncLoadFailed, FREED );
    }
};

template <bool UNTRACED, bool RELAXED>
class WaitAsyncReloaded final : public WaitActions<UNTRACED, RELAXED> {
public:
    using WaitActions<UNTRACED, RELAXED>::WaitActions;

    int asyncOpSucceeded( MbBufferImp* b ) const override {
        return this->succeedLoad( b, &MbProtocol::asyncReloadSucceeded );
    }
    int asyncOpFailed( MbBufferImp* b ) const override {
        return this->failLoad( b, &MbProtocol::asyncReloadFailed, UNLOADED );
    }
};

/// An asynchronous write is running, and readers wait for its end.
template <bool UNTRACED, bool RELAXED>
class WaitAsyncSynched final : public WaitActions<UNTRACED, RELAXED> {
public:
    using WaitActions<UNTRACED, RELAXED>::WaitActions;

    int asyncOpSucceeded( MbBufferImp* b ) const override {
        return this->complete( b, ASYNC_OP_SUCCEEDED, &MbProtocol::asyncSyncSucceeded, SYNCHED );
    }
    int asyncOpFailed( MbBufferImp* b ) const override {
        return this->complete( b, ASYNC_OP_FAILED, &MbProtocol::asyncSyncFailed, LOADED );
    }
};

/// An asynchronous write is running, and readers may enter.
template <bool UNTRACED, bool RELAXED>
class WaitAsyncSynchedLoaded final : public WaitActions<UNTRACED, RELAXED> {
public:
    using Base = WaitActions<UNTRACED, RELAXED>;
    using Base::Base;
    using typename Base::Target;

    int rdlock( MbBufferImp* b ) const override {
        return this->lockTransition( b, RDLOCK, [&]( Target& target ) {
            target = this->state( WAIT_ASYNC_SYNCHED_RD_LOCKED );
        } );
    }
    int prefetch( MbBufferImp* b ) const override { return this->none( b, PREFETCH ); }
    int asyncSync( MbBufferImp* b ) const override { return this->none( b, ASYNC_SYNC ); }
    int unlock( MbBufferImp* b ) const override { return MbStateImp::unlock( b ); }
    int asyncOpSucceeded( MbBufferImp* b ) const override {
        return this->complete( b, ASYNC_OP_SUCCEEDED, &MbProtocol::asyncSyncSucceeded, SYNCHED );
    }
    int asyncOpFailed( MbBufferImp* b ) const override {
        return this->complete( b, ASYNC_OP_FAILED, &MbProtocol::asyncSyncFailed, LOADED );
    }
};

} // namespace Qv::MbStates
