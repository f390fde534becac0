#pragma once

#include <resmgt/memoryBuffers/mbBuffer.h>
#include <resmgt/memoryBuffers/mbManager.h>
#include <resmgt/memoryBuffers/mbProtocol.h>
#include <resmgt/memoryBuffers/mbStateMachine.h>
#include <resmgt/memoryBuffers/src/mbState.h>

#include <resmgt/locks/src/lkWaitEntry.h>

#include <gtest/gtest.h>

#include <array>
#include <functional>
#include <string>
#include <tests/support/raisedBy.h>
#include <utility>

namespace Qv {

/// What tests see of the package's private parts, without a lock.
struct MbTestAccess {
    using Words = std::array<void*, 4>;

    static std::uint64_t roundUp( const MbAlignment& alignment, std::uint64_t address ) {
        return alignment.roundUpToAlignment( address );
    }
    static std::uint64_t roundDown( const MbAlignment& alignment, std::uint64_t address ) {
        return alignment.roundDownToAlignment( address );
    }
    static bool isAligned( const MbAlignment& alignment, std::uint64_t address ) {
        return alignment.isAligned( address );
    }
    static Words words( const MbRegion& region ) {
        return { region._header, region._memory, region._memoryEnd, region._allocationEnd };
    }

    static const MbState*& state( MbBufferImp& b ) QV_NO_THREAD_SAFETY_ANALYSIS { return b._state; }
    static std::uint32_t& lockCount( MbBufferImp& b ) QV_NO_THREAD_SAFETY_ANALYSIS {
        return b._lockCount;
    }
    static std::uint32_t& pendingEvents( MbBufferImp& b ) QV_NO_THREAD_SAFETY_ANALYSIS {
        return b._pendingEvents;
    }
    static Words words( const MbBufferImp& b ) QV_NO_THREAD_SAFETY_ANALYSIS {
        return words( b._region );
    }
    static bool& isListed( MbBufferImp& b ) QV_NO_THREAD_SAFETY_ANALYSIS { return b._isListed; }
    static LkThreadId& owner( MbBufferImp& b ) { return b._transientStateOwner; }
    static const LkCondVar& stateChanged( const MbBufferImp& b ) { return b._stateChanged; }
    static int pins( const MbBufferImp& b ) { return b._pins; }
};

/// Gets at a private member of another package's class: an explicit instantiation may name it.
template <class Tag, auto Member>
struct MbPrivateMember {
    friend auto getMember( Tag ) { return Member; }
};

struct MbCondVarImpTag {
    friend auto getMember( MbCondVarImpTag );
};
struct MbCondVarWaitersTag {
    friend auto getMember( MbCondVarWaitersTag );
};
template struct MbPrivateMember<MbCondVarImpTag, &LkCondVar::_imp>;
template struct MbPrivateMember<MbCondVarWaitersTag, &LkCondVarPlatform::_waiters>;

inline LkSList& waitersOf( const LkCondVar& condVar ) {
    return const_cast<LkCondVar&>( condVar ).*getMember( MbCondVarImpTag() ).*
           getMember( MbCondVarWaitersTag() );
}

/// Finds out whether a condition variable is broadcast: the calling thread stands in its queue
/// meanwhile.
class BroadcastProbe {
public:
    explicit BroadcastProbe( const LkCondVar& condVar )
        : _waiters( waitersOf( condVar ) )
        , _entry( LkWaitEntry::getEntry() ) {
        _waiters.push( &_entry );
    }
    BroadcastProbe( const BroadcastProbe& ) = delete;
    BroadcastProbe& operator=( const BroadcastProbe& ) = delete;

    /// Ends the probe; once.
    bool wasBroadcast() {
        if( _waiters.pop() != nullptr ) {
            return false;
        }
        _entry.wait();
        return true;
    }

private:
    LkSList& _waiters;
    LkWaitEntry& _entry;
};

/// The calls that buffers make to their managers and protocols.
struct Recorder {
    /// In order, a blank between two: "allocate load". The protocol's calls bear its operations'
    /// names, and its end is "end"; the manager's are "allocate", "deallocate", "giveBack" for a
    /// region, and "list" and "unlist" for bufferUnloadable and bufferNotUnloadable.
    std::string calls;
    /// The call that raises "fault on demand", the next time.
    std::string faultyCall;
    /// Runs inside each call, before the fault.
    std::function<void( const std::string& call )> hook;
    bool unloadAnswer = true;

    void note( const char* call );
    /// The calls since the last time.
    std::string take() { return std::exchange( calls, "" ); }
};

/// A manager of one block of memory, which is enough for one buffer.
class RecordingManager : public MbManager {
public:
    static constexpr int BLOCK_SIZE = 256;

    explicit RecordingManager( Recorder& recorder )
        : _recorder( recorder ) {}

    MbRegion makeRegion( int block = 0 );

    const std::string& getName() const override { return _name; }
    void allocateRegion( MbBufferImp* buffer ) override;
    void deallocateRegion( const MbRegion& region ) override;
    void deallocateRegion( MbBufferImp* buffer ) override;
    void bufferNotUnloadable( MbBufferImp* buffer ) override { note( "unlist", *buffer ); }
    void bufferUnloadable( MbBufferImp* buffer ) override { note( "list", *buffer ); }
    unsigned long long getSize() const override { return BLOCK_SIZE; }
    unsigned long long getFreeSpace() const override { return BLOCK_SIZE; }
    void dump( std::ostream& ) const override {}

private:
    void note( const char* call, const MbBufferImp& buffer );

    Recorder& _recorder;
    const std::string _name = "recorder";
    alignas( 128 ) char _blocks[2][BLOCK_SIZE] = {};
};

/// Checks in each call that the buffer's lock is free, and that it gets the buffer's memory.
class RecordingProtocol : public MbProtocol {
public:
    using Size = unsigned long long;

    explicit RecordingProtocol( Recorder& recorder )
        : _recorder( recorder ) {}
    ~RecordingProtocol() override { _recorder.note( "end" ); }

    MbBufferImp* buffer = nullptr;

    void load( void* m, Size n ) override { note( "load", m, n ); }
    void asyncLoad( void* m, Size n, LkAsyncHandle* h ) override { note( "asyncLoad", m, n, h ); }
    void asyncLoadSucceeded() override { note( "asyncLoadSucceeded" ); }
    void asyncLoadFailed() override { note( "asyncLoadFailed" ); }
    void reload( void* m, Size n ) override { note( "reload", m, n ); }
    void asyncReload( void* m, Size n, LkAsyncHandle* h ) override {
        note( "asyncReload", m, n, h );
    }
    void asyncReloadSucceeded() override { note( "asyncReloadSucceeded" ); }
    void asyncReloadFailed() override { note( "asyncReloadFailed" ); }
    void unlocked( void* m, Size n, MbBufferImp* b ) override { note( "unlocked", m, n, b ); }
    void sync( void* m, Size n ) override { note( "sync", m, n ); }
    void asyncSync( void* m, Size n, LkAsyncHandle* h ) override { note( "asyncSync", m, n, h ); }
    void asyncSyncSucceeded() override { note( "asyncSyncSucceeded" ); }
    void asyncSyncFailed() override { note( "asyncSyncFailed" ); }
    bool unload( void* m, Size n ) override {
        note( "unload", m, n );
        return _recorder.unloadAnswer;
    }
    void free( void* m, Size n ) override { note( "free", m, n ); }
    void grab( void* m, Size n, MbBufferImp* b ) override { note( "grab", m, n, b ); }
    void markDirty( void* m, Size n ) override { note( "markDirty", m, n ); }
    void destroy( void* m, Size n ) override { note( "destroy", m, n ); }

private:
    void note( const char* call );
    void note( const char* call, void* memory, Size size );
    template <class Face>
    void note( const char* call, void* memory, Size size, Face* face ) {
        EXPECT_EQ( face, static_cast<Face*>( buffer ) ) << call;
        note( call, memory, size );
    }

    Recorder& _recorder;
};

/// A recorder, and buffers that report to it.
class RecordedBuffers : public testing::Test {
protected:
    MbBuffer make( MbStateMachine::LockPolicy_e policy = MbStateMachine::RELAXED,
                   MbStateMachine::Trace_e trace = MbStateMachine::UNTRACED,
                   int size = RecordingManager::BLOCK_SIZE );
    /// Sends events to the newest buffer, by their names, with blanks between. "refused" is an
    /// `unload` that the protocol refuses, "drop" the end of the handle `buffer`.
    void send( const std::string& events );
    /// Runs `body` in the next call of that name.
    void inside( const std::string& call, std::function<void()> body );

    Recorder recorder;
    RCShdPtr<MbManager> manager{ new RecordingManager( recorder ) };
    /// The newest buffer.
    MbBufferImp* imp = nullptr;
    MbBuffer buffer;
};

/// "Loaded" of an object of type Qv::MbStates::Loaded.
std::string nameOf( const MbState* state );

} // namespace Qv
