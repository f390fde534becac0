#include <resmgt/memoryBuffers/src/mbStates.h>

namespace Qv::MbStates {

/// In memory and locked. `free` only marks the buffer, since a holder still uses its memory.
///
/// The last lock ends in any case: where the protocol's `unlocked` or `free` raises, the buffer is
/// unlocked or freed all the same.
///
/// What waits for the end of a lock fails an assertion where it is known that only its own thread
/// could end it: where that thread took all the locks that there are.
class LockedStates : public States {
public:
    using States::States;

    bool isLoaded() const override { return true; }
    int prefetch( MbBufferImp* b ) const override { return none( b, PREFETCH ); }
    int asyncSync( MbBufferImp* b ) const override { return none( b, ASYNC_SYNC ); }
    int sync( MbBufferImp* b ) const override { return none( b, SYNC ); }
    int free( MbBufferImp* b ) const override { return none( b, FREE ); }
    MbRegion release( MbBufferImp* b ) const override {
        expectOtherHolder( b );
        return waitAndRelease( b );
    }
    void grab( MbBufferImp* b, MbRegion region ) const override {
        expectOtherHolder( b );
        waitAndGrab( b, region );
    }

protected:
    int waitForUnlock( MbBufferImp* b, MbEvent event ) const {
        expectOtherHolder( b );
        return wait( b, event );
    }
    template <class Work>
    int unlockBy( MbBufferImp* b, Work work ) const {
        const auto scope = trace( b, UNLOCK );
        return removeLock( b ) ? transit( b, *state( TRANSIENT ), work ) : UNCHANGED;
    }
    int unlockTo( MbBufferImp* b, StateId id ) const {
        return unlockBy( b, [&]( Target& target ) {
            target = state( id );
            call( b, &MbProtocol::unlocked, b );
        } );
    }
    int unlockToFreed( MbBufferImp* b ) const {
        return unlockBy( b, [&]( Target& target ) {
            target = state( FREED );
            freeForGood( b );
        } );
    }
    int wrlockBy( MbBufferImp* b, StateId id ) const {
        return lockTransition( b, WRLOCK, [&]( Target& target ) {
            call( b, &MbProtocol::markDirty );
            target = state( id );
        } );
    }

private:
    bool isMovable() const override { return false; }
};

// The relaxed policy: any number of readers and writers.

class Locked final : public LockedStates {
public:
    using LockedStates::LockedStates;

    int rdlock( MbBufferImp* b ) const override { return countLock( b, RDLOCK ); }
    int wrlock( MbBufferImp* b ) const override { return wrlockBy( b, LOCKED_DIRTY ); }
    int unlock( MbBufferImp* b ) const override { return unlockTo( b, SYNCHED ); }
    int free( MbBufferImp* b ) const override { return transition( b, FREE, LOCKED_FREED ); }
};

class LockedDirty final : public LockedStates {
public:
    using LockedStates::LockedStates;

    int rdlock( MbBufferImp* b ) const override { return countLock( b, RDLOCK ); }
    int wrlock( MbBufferImp* b ) const override { return countLock( b, WRLOCK ); }
    int wrdup( MbBufferImp* b ) const override { return countLock( b, WRDUP ); }
    int wr2rd( MbBufferImp* b ) const override { return none( b, WR2RD ); }
    int asyncSync( MbBufferImp* b ) const override { return defer( b, ASYNC_SYNC ); }
    int sync( MbBufferImp* b ) const override { return waitForUnlock( b, SYNC ); }
    int unlock( MbBufferImp* b ) const override { return unlockTo( b, LOADED ); }
    int free( MbBufferImp* b ) const override { return transition( b, FREE, LOCKED_FREED_DIRTY ); }
};

class LockedFreed final : public LockedStates {
public:
    using LockedStates::LockedStates;

    int rdlock( MbBufferImp* b ) const override { return countLock( b, RDLOCK ); }
    int wrlock( MbBufferImp* b ) const override { return wrlockBy( b, LOCKED_FREED_DIRTY ); }
    int unlock( MbBufferImp* b ) const override { return unlockToFreed( b ); }
};

class LockedFreedDirty final : public LockedStates {
public:
    using LockedStates::LockedStates;

    int rdlock( MbBufferImp* b ) const override { return countLock( b, RDLOCK ); }
    int wrlock( MbBufferImp* b ) const override { return countLock( b, WRLOCK ); }
    int wrdup( MbBufferImp* b ) const override { return countLock( b, WRDUP ); }
    int wr2rd( MbBufferImp* b ) const override { return none( b, WR2RD ); }
    int unlock( MbBufferImp* b ) const override { return unlockToFreed( b ); }
};

// The strict policy: any number of readers, or one writer and its copies.

class RdLocked : public LockedStates {
public:
    using LockedStates::LockedStates;

    int rdlock( MbBufferImp* b ) const override { return countLock( b, RDLOCK ); }
    int wrlock( MbBufferImp* b ) const override { return waitForUnlock( b, WRLOCK ); }
    int unlock( MbBufferImp* b ) const override { return unlockTo( b, SYNCHED ); }
    int free( MbBufferImp* b ) const override { return transition( b, FREE, RD_LOCKED_FREED ); }
};

class RdLockedDirty final : public LockedStates {
public:
    using LockedStates::LockedStates;

    int rdlock( MbBufferImp* b ) const override { return countLock( b, RDLOCK ); }
    int wrlock( MbBufferImp* b ) const override { return waitForUnlock( b, WRLOCK ); }
    int asyncSync( MbBufferImp* b ) const override { return defer( b, ASYNC_SYNC ); }
    int sync( MbBufferImp* b ) const override { return waitForUnlock( b, SYNC ); }
    int unlock( MbBufferImp* b ) const override { return unlockTo( b, LOADED ); }
    /// The dirty mark is forgotten: the content is abandoned.
    int free( MbBufferImp* b ) const override { return transition( b, FREE, RD_LOCKED_FREED ); }
};

class RdLockedFreed final : public RdLocked {
public:
    using RdLocked::RdLocked;

    int unlock( MbBufferImp* b ) const override { return unlockToFreed( b ); }
    int free( MbBufferImp* b ) const override { return none( b, FREE ); }
};

class WrLocked : public LockedStates {
public:
    using LockedStates::LockedStates;

    int rdlock( MbBufferImp* b ) const override { return waitForUnlock( b, RDLOCK ); }
    int wrlock( MbBufferImp* b ) const override { return waitForUnlock( b, WRLOCK ); }
    int wrdup( MbBufferImp* b ) const override { return countLock( b, WRDUP ); }
    int wr2rd( MbBufferImp* b ) const override { return transition( b, WR2RD, RD_LOCKED_DIRTY ); }
    int asyncSync( MbBufferImp* b ) const override { return defer( b, ASYNC_SYNC ); }
    int sync( MbBufferImp* b ) const override { return waitForUnlock( b, SYNC ); }
    int unlock( MbBufferImp* b ) const override { return unlockTo( b, LOADED ); }
    int free( MbBufferImp* b ) const override { return transition( b, FREE, WR_LOCKED_FREED ); }
};

class WrLockedFreed final : public WrLocked {
public:
    using WrLocked::WrLocked;

    int wr2rd( MbBufferImp* b ) const override { return transition( b, WR2RD, RD_LOCKED_FREED ); }
    int asyncSync( MbBufferImp* b ) const override { return none( b, ASYNC_SYNC ); }
    int sync( MbBufferImp* b ) const override { return none( b, SYNC ); }
    int unlock( MbBufferImp* b ) const override { return unlockToFreed( b ); }
    int free( MbBufferImp* b ) const override { return none( b, FREE ); }
};

/// Readers hold the buffer while an asynchronous write is running. It ends in the strict family
/// under both policies.
class WaitAsyncSynchedRdLocked final : public LockedStates {
public:
    using LockedStates::LockedStates;

    int rdlock( MbBufferImp* b ) const override { return countLock( b, RDLOCK ); }
    int wrlock( MbBufferImp* b ) const override { return waitForUnlock( b, WRLOCK ); }
    int sync( MbBufferImp* b ) const override { return wait( b, SYNC ); }
    int unlock( MbBufferImp* b ) const override { return unlockTo( b, WAIT_ASYNC_SYNCHED_LOADED ); }
    int free( MbBufferImp* b ) const override { return waitUnlessReplayed( b, FREE ); }
    int destroy( MbBufferImp* b ) const override { return waitUnlessReplayed( b, DESTROY ); }
    int asyncOpSucceeded( MbBufferImp* b ) const override {
        return transition( b, ASYNC_OP_SUCCEEDED, [&]( Target& target ) {
            call( b, &MbProtocol::asyncSyncSucceeded );
            target = state( RD_LOCKED );
        } );
    }
    int asyncOpFailed( MbBufferImp* b ) const override {
        return transition( b, ASYNC_OP_FAILED, [&]( Target& target ) {
            call( b, &MbProtocol::asyncSyncFailed );
            target = state( RD_LOCKED_DIRTY );
        } );
    }
};

void addLockedStates( StateSet& set ) {
    set.add<Locked>( LOCKED );
    set.add<LockedDirty>( LOCKED_DIRTY );
    set.add<LockedFreed>( LOCKED_FREED );
    set.add<LockedFreedDirty>( LOCKED_FREED_DIRTY );
    set.add<RdLocked>( RD_LOCKED );
    set.add<RdLockedDirty>( RD_LOCKED_DIRTY );
    set.add<RdLockedFreed>( RD_LOCKED_FREED );
    set.add<WrLocked>( WR_LOCKED );
    set.add<WrLockedFreed>( WR_LOCKED_FREED );
    set.add<WaitAsyncSynchedRdLocked>( WAIT_ASYNC_SYNCHED_RD_LOCKED );
}

} // namespace Qv::MbStates
