#pragma once

#include <resmgt/memoryBuffers/src/mbStates.h>

namespace Qv::MbStates {

/// In memory and locked. `free` only marks the buffer, since a holder still uses its memory.
///
/// Where the protocol's `unlocked` raises, the buffer stays locked with a count of 0: the lock's
/// holder has gone. The next last `unlock` tells the protocol again. After an abandoned content
/// nothing is left to be told again: where `free` raises, the buffer is freed all the same.
template <bool UNTRACED, bool RELAXED>
class LockedStates : public States<UNTRACED, RELAXED> {
public:
    using Base = States<UNTRACED, RELAXED>;
    using Base::Base;
    using typename Base::Target;

    bool isLoaded() const override { return true; }
    int prefetch( MbBufferImp* b ) const override { return this->none( b, PREFETCH ); }
    int asyncSync( MbBufferImp* b ) const override { return this->none( b, ASYNC_SYNC ); }
    int sync( MbBufferImp* b ) const override { return this->none( b, SYNC ); }
    int free( MbBufferImp* b ) const override { return this->none( b, FREE ); }
    MbRegion release( MbBufferImp* b ) const override { return this->waitAndRelease( b ); }
    void grab( MbBufferImp* b, MbRegion region ) const override { this->waitAndGrab( b, region ); }

protected:
    template <class Work>
    int unlockBy( MbBufferImp* b, Work work ) const {
        [[maybe_unused]] const auto scope = this->trace( b, UNLOCK );
        return this->removeLock( b ) ? this->transit( b, *this->state( TRANSIENT ), work )
                                     : this->UNCHANGED;
    }
    int unlockTo( MbBufferImp* b, StateId id ) const {
        return unlockBy( b, [&]( Target& target ) {
            this->call( b, &MbProtocol::unlocked, b );
            target = this->state( id );
        } );
    }
    int unlockToFreed( MbBufferImp* b ) const {
        return unlockBy( b, [&]( Target& target ) {
            target = this->state( FREED );
            this->freeForGood( b );
        } );
    }
    int wrlockBy( MbBufferImp* b, StateId id ) const {
        return this->lockTransition( b, WRLOCK, [&]( Target& target ) {
            this->call( b, &MbProtocol::markDirty );
            target = this->state( id );
        } );
    }

private:
    bool isMovable() const override { return false; }
};

// The relaxed policy: any number of readers and writers.

template <bool UNTRACED, bool RELAXED>
class Locked final : public LockedStates<UNTRACED, RELAXED> {
public:
    using LockedStates<UNTRACED, RELAXED>::LockedStates;

    int rdlock( MbBufferImp* b ) const override { return this->countLock( b, RDLOCK ); }
    int wrlock( MbBufferImp* b ) const override { return this->wrlockBy( b, LOCKED_DIRTY ); }
    int unlock( MbBufferImp* b ) const override { return this->unlockTo( b, SYNCHED ); }
    int free( MbBufferImp* b ) const override { return this->transition( b, FREE, LOCKED_FREED ); }
};

template <bool UNTRACED, bool RELAXED>
class LockedDirty final : public LockedStates<UNTRACED, RELAXED> {
public:
    using LockedStates<UNTRACED, RELAXED>::LockedStates;

    int rdlock( MbBufferImp* b ) const override { return this->countLock( b, RDLOCK ); }
    int wrlock( MbBufferImp* b ) const override { return this->countLock( b, WRLOCK ); }
    int wrdup( MbBufferImp* b ) const override { return this->countLock( b, WRDUP ); }
    int wr2rd( MbBufferImp* b ) const override { return this->none( b, WR2RD ); }
    int asyncSync( MbBufferImp* b ) const override { return this->defer( b, ASYNC_SYNC ); }
    int sync( MbBufferImp* b ) const override { return this->wait( b, SYNC ); }
    int unlock( MbBufferImp* b ) const override { return this->unlockTo( b, LOADED ); }
    int free( MbBufferImp* b ) const override {
        return this->transition( b, FREE, LOCKED_FREED_DIRTY );
    }
};

template <bool UNTRACED, bool RELAXED>
class LockedFreed final : public LockedStates<UNTRACED, RELAXED> {
public:
    using LockedStates<UNTRACED, RELAXED>::LockedStates;

    int rdlock( MbBufferImp* b ) const override { return this->countLock( b, RDLOCK ); }
    int wrlock( MbBufferImp* b ) const override { return this->wrlockBy( b, LOCKED_FREED_DIRTY ); }
    int unlock( MbBufferImp* b ) const override { return this->unlockToFreed( b ); }
};

template <bool UNTRACED, bool RELAXED>
class LockedFreedDirty final : public LockedStates<UNTRACED, RELAXED> {
public:
    using LockedStates<UNTRACED, RELAXED>::LockedStates;

    int rdlock( MbBufferImp* b ) const override { return this->countLock( b, RDLOCK ); }
    int wrlock( MbBufferImp* b ) const override { return this->countLock( b, WRLOCK ); }
    int wrdup( MbBufferImp* b ) const override { return this->countLock( b, WRDUP ); }
    int wr2rd( MbBufferImp* b ) const override { return this->none( b, WR2RD ); }
    int unlock( MbBufferImp* b ) const override { return this->unlockToFreed( b ); }
};

// The strict policy: any number of readers, or one writer and its copies.

template <bool UNTRACED, bool RELAXED>
class RdLocked : public LockedStates<UNTRACED, RELAXED> {
public:
    using LockedStates<UNTRACED, RELAXED>::LockedStates;

    int rdlock( MbBufferImp* b ) const override { return this->countLock( b, RDLOCK ); }
    int wrlock( MbBufferImp* b ) const override { return this->wait( b, WRLOCK ); }
    int unlock( MbBufferImp* b ) const override { return this->unlockTo( b, SYNCHED ); }
    int free( MbBufferImp* b ) const override {
        return this->transition( b, FREE, RD_LOCKED_FREED );
    }
};

template <bool UNTRACED, bool RELAXED>
class RdLockedDirty final : public LockedStates<UNTRACED, RELAXED> {
public:
    using LockedStates<UNTRACED, RELAXED>::LockedStates;

    int rdlock( MbBufferImp* b ) const override { return this->countLock( b, RDLOCK ); }
    int wrlock( MbBufferImp* b ) const override { return this->wait( b, WRLOCK ); }
    int asyncSync( MbBufferImp* b ) const override { return this->defer( b, ASYNC_SYNC ); }
    int sync( MbBufferImp* b ) const override { return this->wait( b, SYNC ); }
    int unlock( MbBufferImp* b ) const override { return this->unlockTo( b, LOADED ); }
    /// The dirty mark is forgotten: the content is abandoned.
    int free( MbBufferImp* b ) const override {
        return this->transition( b, FREE, RD_LOCKED_FREED );
    }
};

template <bool UNTRACED, bool RELAXED>
class RdLockedFreed final : public RdLocked<UNTRACED, RELAXED> {
public:
    using RdLocked<UNTRACED, RELAXED>::RdLocked;

    int unlock( MbBufferImp* b ) const override { return this->unlockToFreed( b ); }
    int free( MbBufferImp* b ) const override { return this->none( b, FREE ); }
};

template <bool UNTRACED, bool RELAXED>
class WrLocked : public LockedStates<UNTRACED, RELAXED> {
public:
    using LockedStates<UNTRACED, RELAXED>::LockedStates;

    int rdlock( MbBufferImp* b ) const override { return this->wait( b, RDLOCK ); }
    int wrlock( MbBufferImp* b ) const override { return this->wait( b, WRLOCK ); }
    int wrdup( MbBufferImp* b ) const override { return this->countLock( b, WRDUP ); }
    int wr2rd( MbBufferImp* b ) const override {
        return this->transition( b, WR2RD, RD_LOCKED_DIRTY );
    }
    int asyncSync( MbBufferImp* b ) const override { return this->defer( b, ASYNC_SYNC ); }
    int sync( MbBufferImp* b ) const override { return this->wait( b, SYNC ); }
    int unlock( MbBufferImp* b ) const override { return this->unlockTo( b, LOADED ); }
    int free( MbBufferImp* b ) const override {
        return this->transition( b, FREE, WR_LOCKED_FREED );
    }
};

template <bool UNTRACED, bool RELAXED>
class WrLockedFreed final : public WrLocked<UNTRACED, RELAXED> {
public:
    using WrLocked<UNTRACED, RELAXED>::WrLocked;

    int wr2rd( MbBufferImp* b ) const override {
        return this->transition( b, WR2RD, RD_LOCKED_FREED );
    }
    int asyncSync( MbBufferImp* b ) const override { return this->none( b, ASYNC_SYNC ); }
    int sync( MbBufferImp* b ) const override { return this->none( b, SYNC ); }
    int unlock( MbBufferImp* b ) const override { return this->unlockToFreed( b ); }
    int free( MbBufferImp* b ) const override { return this->none( b, FREE ); }
};

/// Readers hold the buffer while an asynchronous write is running. It ends in the strict family
/// under both policies.
template <bool UNTRACED, bool RELAXED>
class WaitAsyncSynchedRdLocked final : public LockedStates<UNTRACED, RELAXED> {
public:
    using Base = LockedStates<UNTRACED, RELAXED>;
    using Base::Base;
    using typename Base::Target;

    int rdlock( MbBufferImp* b ) const override { return this->countLock( b, RDLOCK ); }
    int wrlock( MbBufferImp* b ) const override { return this->wait( b, WRLOCK ); }
    int sync( MbBufferImp* b ) const override { return this->wait( b, SYNC ); }
    int unlock( MbBufferImp* b ) const override {
        return this->unlockTo( b, WAIT_ASYNC_SYNCHED_LOADED );
    }
    int free( MbBufferImp* b ) const override { return this->waitUnlessReplayed( b, FREE ); }
    int destroy( MbBufferImp* b ) const override { return this->waitUnlessReplayed( b, DESTROY ); }
    int asyncOpSucceeded( MbBufferImp* b ) const override {
        return this->transition( b, ASYNC_OP_SUCCEEDED, [&]( Target& target ) {
            this->call( b, &MbProtocol::asyncSyncSucceeded );
            target = this->state( RD_LOCKED );
        } );
    }
    int asyncOpFailed( MbBufferImp* b ) const override {
        return this->transition( b, ASYNC_OP_FAILED, [&]( Target& target ) {
            this->call( b, &MbProtocol::asyncSyncFailed );
            target = this->state( RD_LOCKED_DIRTY );
        } );
    }
};

} // namespace Qv::MbStates
