#pragma once

#include <resmgt/memoryBuffers/mbBufferRdGuardImp.h>
#include <resmgt/memoryBuffers/mbBufferWrGuardImp.h>
#include <resmgt/memoryBuffers/mbHeapManager.h>
#include <resmgt/memoryBuffers/mbUnloadLRU.h>
#include <resmgt/memoryBuffers/mbUnloadRandom.h>
#include <resmgt/memoryBuffers/test/mbRecorder.h>

#include <gtest/gtest.h>

#include <atomic>
#include <functional>
#include <optional>

namespace Qv {

inline constexpr int SIZE = 1000;
inline constexpr unsigned long long NEEDED = SIZE + 127;

using Guard = std::optional<MbBufferRdGuardImp>;

/// Runs what a test wants when it is unloaded, and when it ends.
class HookedProtocol : public MbProtocol {
public:
    HookedProtocol( std::function<bool()> inUnload, std::function<void()> atEnd )
        : _inUnload( std::move( inUnload ) )
        , _atEnd( std::move( atEnd ) ) {}
    ~HookedProtocol() override { _atEnd(); }

    bool unload( void*, unsigned long long ) override { return _inUnload(); }

private:
    const std::function<bool()> _inUnload;
    const std::function<void()> _atEnd;
};

/// Buffers of a heap with room for a number of them, under both kinds of strategies: the order that
/// the manager keeps, and one that it asks for.
class MbLivenessTest : public RecordedBuffers, public testing::WithParamInterface<bool> {
protected:
    static OPtr<MbUnloadStrategy> makeStrategy() {
        return GetParam() ? OPtr<MbUnloadStrategy>( new MbUnloadLRU )
                          : OPtr<MbUnloadStrategy>( new MbUnloadRandom( 1 ) );
    }
    void useHeap( int nbBuffers ) {
        manager = RCShdPtr<MbManager>( new MbHeapManager(
            "heap", static_cast<unsigned long long>( nbBuffers ) * NEEDED, makeStrategy() ) );
    }
    /// Without a recorder, which is for one thread.
    MbBuffer makePlain( int size = SIZE, const MbAlignment& alignment = MbAlignment( 127, 0, 0 ),
                        OPtr<MbProtocol> protocol = OPtr<MbProtocol>() ) const {
        return MbBuffer( RCShdEngPtr<MbBufferImp>( new MbBufferImp(
            "plain",
            MbStateMachine::getInstance( MbStateMachine::UNTRACED, MbStateMachine::STRICT )
                .getInitialState(),
            manager, protocol, size, alignment ) ) );
    }
    MbBuffer makeLoaded() const {
        MbBuffer loaded = makePlain();
        { const MbBufferWrGuardImp guard( loaded ); }
        return loaded;
    }
    MbBuffer makeHooked(
        std::function<bool()> inUnload, std::function<void()> atEnd = [] {} ) const {
        return makePlain( SIZE, MbAlignment( 127, 0, 0 ),
                          OPtr<MbProtocol>( new HookedProtocol( inUnload, atEnd ) ) );
    }
    /// Loaded, and not to be unloaded as long as `isRefusing`.
    MbBuffer makeRefusing( const std::atomic<bool>& isRefusing, std::atomic<long>& nbAsked ) const {
        const MbBuffer refusing = makeHooked( [&] {
            ++nbAsked;
            return !isRefusing;
        } );
        { const MbBufferRdGuardImp lock( refusing ); }
        return refusing;
    }
};

} // namespace Qv
