#pragma once

#include <resmgt/memoryBuffers/mbBufferImp.h>
#include <resmgt/memoryBuffers/mbManager.h>
#include <resmgt/memoryBuffers/mbProtocol.h>
#include <resmgt/memoryBuffers/src/mbState.h>

#include <resmgt/locks/src/lkWaitEntry.h>

#include <array>

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
    static MbRegion& region( MbBufferImp& b ) QV_NO_THREAD_SAFETY_ANALYSIS { return b._region; }
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

/// Tells whether a condition variable is broadcast: the calling thread stands in its queue
/// meanwhile.
class BroadcastProbe {
public:
    explicit BroadcastProbe( const LkCondVar& condVar )
        : _waiters( const_cast<LkCondVar&>( condVar ).*getMember( MbCondVarImpTag() ).*
                    getMember( MbCondVarWaitersTag() ) )
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

} // namespace Qv
