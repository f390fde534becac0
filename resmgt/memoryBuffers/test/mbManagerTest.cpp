#include <resmgt/dynamicAllocation/daArenaPool.h>
#include <resmgt/dynamicAllocation/daMallocAllocator.h>
#include <resmgt/memoryBuffers/mbArenaManager.h>
#include <resmgt/memoryBuffers/mbBufferRdGuardImp.h>
#include <resmgt/memoryBuffers/mbBufferSimpleFactory.h>
#include <resmgt/memoryBuffers/mbBufferWrGuardImp.h>
#include <resmgt/memoryBuffers/mbEx.h>
#include <resmgt/memoryBuffers/mbHeapManager.h>
#include <resmgt/memoryBuffers/mbStateMachine.h>
#include <resmgt/memoryBuffers/mbUnloadLRU.h>
#include <resmgt/memoryBuffers/mbUnloadRandom.h>
#include <resmgt/memoryBuffers/test/mbRecorder.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <memory>
#include <optional>
#include <random>
#include <set>
#include <sstream>
#include <tests/support/holdPoint.h>
#include <tests/support/testSettings.h>
#include <tests/support/testThread.h>
#include <utility>

namespace Qv {

namespace {

using testing::ElementsAre;
using testing::HasSubstr;

constexpr int SIZE = 1000;
constexpr unsigned long long NEEDED = SIZE + 127;

/// Buffers of one manager with room for `nbBuffers` of SIZE bytes.
class MbManagerTest : public testing::Test {
protected:
    void useHeap( int nbBuffers ) {
        manager = RCShdPtr<MbManager>(
            new MbHeapManager( "heap", static_cast<unsigned long long>( nbBuffers ) * NEEDED,
                               OPtr<MbUnloadStrategy>( new MbUnloadLRU ) ) );
    }
    MbBuffer make( const char* name = "buffer" ) {
        protocol = new RecordingProtocol( log );
        const RCShdEngPtr<MbBufferImp> engine( new MbBufferImp(
            name,
            MbStateMachine::getInstance( MbStateMachine::UNTRACED, MbStateMachine::STRICT )
                .getInitialState(),
            manager, OPtr<MbProtocol>( protocol ), SIZE, MbAlignment( 127, 0, 0 ) ) );
        protocol->buffer = imp = engine.get();
        return MbBuffer( engine );
    }
    MbBuffer makeLoaded() {
        MbBuffer buffer = make();
        { const MbBufferWrGuardImp guard( buffer ); }
        return buffer;
    }
    std::string dump() const {
        std::ostringstream text;
        text << *manager;
        return text.str();
    }

    CallLog log;
    RCShdPtr<MbManager> manager;
    RecordingProtocol* protocol = nullptr;
    MbBufferImp* imp = nullptr;
};

template <class Body>
std::string notEnoughMemory( Body body ) {
    try {
        body();
    } catch( const MbEx::ExNotEnoughMemory& exception ) {
        return exception.getReason();
    }
    return "nothing was raised";
}

TEST_F( MbManagerTest, ABufferThatCanNeverFitIsRefusedAtOnce ) {
    const RCShdPtr<MbManager> heap(
        new MbHeapManager( "heap", 1000, OPtr<MbUnloadStrategy>( new MbUnloadLRU ) ) );
    const RCShdPtr<MbManager> arena( new MbArenaManager(
        "arena", DaArenaPool::create( DaMallocAllocator::create().release(), 4096 ),
        OPtr<MbUnloadStrategy>( new MbUnloadLRU ) ) );
    const MbState* const state =
        MbStateMachine::getInstance( MbStateMachine::UNTRACED, MbStateMachine::RELAXED )
            .getInitialState();
    const auto lock = [&]( const RCShdPtr<MbManager>& owner, int size,
                           const MbAlignment& alignment ) {
        MbBuffer buffer = MbBufferSimpleFactory( state, owner ).create( "large", size, alignment );
        const MbBufferRdGuardImp guard( buffer );
    };
    EXPECT_EQ( notEnoughMemory( [&] { lock( heap, 900, MbAlignment( 127, 0, 0 ) ); } ),
               "Not enough memory: Buffer size larger then maximum allocated bytes: 1027 > 1000." );
    EXPECT_THAT( notEnoughMemory( [&] { lock( heap, 900, MbAlignment( ~0ull, 0, 0 ) ); } ),
                 HasSubstr( "18446744073709551615 > 1000" ) );
    EXPECT_EQ( notEnoughMemory( [&] { lock( arena, 5000, MbAlignment( 127, 0, 0 ) ); } ),
               "Not enough memory: Buffer size larger than total arena pool size: 5000 > 4096." );
    // The arena knows nothing of offsets; its first block can satisfy one of these at most.
    int nbRefused = 0;
    for( const unsigned long long pattern : { 0u, 128u } ) {
        try {
            lock( arena, 64, MbAlignment( 127, 255, pattern ) );
        } catch( const ExBase& exception ) {
            ++nbRefused;
            EXPECT_THAT(
                exception.getReason(),
                HasSubstr( "memory == imp->getAlignment().roundUpToAlignment( memory )" ) );
        }
    }
    EXPECT_EQ( nbRefused, 1 );
    EXPECT_THAT( notEnoughMemory( [&] { lock( heap, 0, MbAlignment( 127, 0, 0 ) ); } ),
                 HasSubstr( "nothing" ) );
}

TEST_F( MbManagerTest, AFullManagerEvictsTheBufferThatWasReleasedFirst ) {
    useHeap( 2 );
    MbBuffer first = makeLoaded();
    MbBuffer second = makeLoaded();
    // The first one becomes the newer one again.
    first.prefetch();
    MbBuffer third = makeLoaded();
    EXPECT_TRUE( first.isLoaded() );
    EXPECT_FALSE( second.isLoaded() );
    EXPECT_EQ( manager->getFreeSpace(), 0u );
    { const MbBufferRdGuardImp guard( second ); }
    EXPECT_FALSE( first.isLoaded() );
    EXPECT_EQ( manager->getSize(), 2 * NEEDED );
    EXPECT_EQ( dump(), "Name = heap\nUnload strategy = MbUnloadLRU\nNb allocated regions  = 2\n"
                       "Nb unloadable buffers = 2\nMax allocated bytes = 2254\n"
                       "Allocated bytes     = 2254\n" );
}

TEST_F( MbManagerTest, OffsetsAreKeptByTheHeap ) {
    useHeap( 4 );
    MbBuffer buffer = MbBufferSimpleFactory( MbStateMachine::getInstance( MbStateMachine::UNTRACED,
                                                                          MbStateMachine::RELAXED )
                                                 .getInitialState(),
                                             manager )
                          .create( "offset", 100, MbAlignment( 15, 1023, 0x150 ) );
    const MbBufferRdGuardImp guard( buffer );
    EXPECT_EQ( reinterpret_cast<std::uintptr_t>( guard.getMemory() ) & 1023, 0x150u );
    EXPECT_EQ( manager->getFreeSpace(), 4 * NEEDED - 100 - 1023 );
}

TEST_F( MbManagerTest, WhoeverFindsAllBuffersLockedWaitsForALockToEnd ) {
    useHeap( 1 );
    MbBuffer holder = make();
    std::optional<MbBufferRdGuardImp> guard( std::in_place, holder );
    MbBuffer asker = make();
    TestThread thread( [&] { const MbBufferRdGuardImp lock( asker ); } );
    thread.waitUntilBlocked();
    guard.reset();
    thread.join();
    EXPECT_FALSE( holder.isLoaded() );
    EXPECT_TRUE( asker.isLoaded() );
}

TEST_F( MbManagerTest, AVictimThatRefusesIsLeftAndTheNextOneTaken ) {
    useHeap( 2 );
    MbBuffer refuser = makeLoaded();
    protocol->unloadAnswer = false;
    MbBuffer willing = makeLoaded();
    MbBuffer asker = makeLoaded();
    EXPECT_TRUE( refuser.isLoaded() );
    EXPECT_FALSE( willing.isLoaded() );
}

TEST_F( MbManagerTest, AFailedEvictionGoesToTheAskerAndLeavesTheVictim ) {
    useHeap( 1 );
    MbBuffer victim = makeLoaded();
    MbBufferImp* const victimImp = imp;
    protocol->faultyCall = "P.unload";
    MbBuffer asker = make();
    EXPECT_THROW( MbBufferRdGuardImp guard( asker ), ProtocolFault );
    EXPECT_TRUE( victim.isLoaded() );
    EXPECT_EQ( MbTestAccess::pins( *victimImp ), 1 );
    EXPECT_FALSE( asker.isLoaded() );
}

TEST_F( MbManagerTest, AVictimWithoutHandlesIsDeletedByItsEvictorAlsoAfterAFault ) {
    for( const bool isFaulty : { false, true } ) {
        useHeap( 1 );
        MbBuffer victim = makeLoaded();
        RecordingProtocol* const victimProtocol = protocol;
        bool isGone = false;
        victimProtocol->onEnd = [&] { isGone = true; };
        victimProtocol->hook = [&]( const std::string& call ) {
            if( call == "P.unload" ) {
                victimProtocol->faultyCall = isFaulty ? "P.unload" : "";
                victim = MbBuffer();
                EXPECT_FALSE( isGone );
            }
        };
        MbBuffer asker = make();
        if( isFaulty ) {
            EXPECT_THROW( MbBufferRdGuardImp guard( asker ), ProtocolFault );
        } else {
            const MbBufferRdGuardImp guard( asker );
        }
        EXPECT_TRUE( isGone );
        asker = MbBuffer();
        EXPECT_EQ( manager->getFreeSpace(), NEEDED );
    }
}

/// Holds its first dump, and with it whoever has the manager's lock.
class HeldStrategy : public MbUnloadLRU {
public:
    explicit HeldStrategy( HoldPoint& hold )
        : _hold( &hold ) {}

    void dump( std::ostream& stream ) const override {
        MbUnloadLRU::dump( stream );
        if( HoldPoint* const hold = std::exchange( _hold, nullptr ) ) {
            hold->pass();
        }
    }

private:
    mutable HoldPoint* _hold;
};

TEST_F( MbManagerTest, ANoLockTracerPrintsWhileAnotherThreadHoldsTheLock ) {
    HoldPoint hold( "dump" );
    auto* const pool =
        new MbHeapManager( "heap", NEEDED, OPtr<MbUnloadStrategy>( new HeldStrategy( hold ) ) );
    manager = RCShdPtr<MbManager>( pool );
    std::string locked;
    TestThread dumper( [&] { locked = dump(); } );
    hold.waitUntilReached();
    std::ostringstream text;
    text << MbPoolManager::NoLockTracer( pool );
    hold.release();
    dumper.join();
    EXPECT_EQ( text.str(), locked );
}

TEST_F( MbManagerTest, AManagerThatEndsBeforeARegionReportsIt ) {
    useHeap( 1 );
    testing::internal::CaptureStderr();
    MbRegion region;
    {
        MbBuffer buffer = makeLoaded();
        const LkGuard<const LkLock> guard( imp->getLock() );
        region = MbTestAccess::state( *imp )->release( imp );
    }
    manager.reset();
    EXPECT_THAT( testing::internal::GetCapturedStderr(), HasSubstr( "_nbAllocatedRegion == 0" ) );
    delete[] static_cast<char*>( MbTestAccess::words( region )[0] );
}

TEST_F( MbManagerTest, TheArenaServesUntilItIsFullAndThenEvicts ) {
    manager = RCShdPtr<MbManager>( new MbArenaManager(
        "arena", DaArenaPool::create( DaMallocAllocator::create().release(), 1 << 20 ),
        OPtr<MbUnloadStrategy>( new MbUnloadRandom( 7 ) ) ) );
    const unsigned long long before = manager->getFreeSpace();
    MbBufferSimpleFactory factory(
        MbStateMachine::getInstance( MbStateMachine::UNTRACED, MbStateMachine::RELAXED )
            .getInitialState(),
        manager );
    std::vector<MbBuffer> buffers;
    // A piece is never smaller than 64 MiB.
    for( int i = 0; i < 100; ++i ) {
        buffers.push_back( factory.create( "tile", 1 << 20 ) );
        const MbBufferWrGuardImp guard( buffers.back() );
        EXPECT_EQ( reinterpret_cast<std::uintptr_t>( guard.getMemory() ) % 128, 0u );
    }
    const auto nbLoaded = std::count_if( buffers.begin(), buffers.end(),
                                         []( const MbBuffer& b ) { return b.isLoaded(); } );
    EXPECT_GT( nbLoaded, 50 );
    EXPECT_LT( nbLoaded, 65 );
    EXPECT_EQ( manager->getSize(), 1u << 20 );
    EXPECT_THAT( dump(), HasSubstr( "DaArenaPoolImp:" ) );
    buffers.clear();
    EXPECT_EQ( manager->getFreeSpace(), before );
}

// Strategies. They only number the buffers, and never look at one.

MbBufferImp* fakeBuffer( std::uintptr_t number ) {
    return reinterpret_cast<MbBufferImp*>( number * sizeof( MbBufferImp ) );
}

TEST( MbUnloadRandom, EqualSeedsAndCallsGiveEqualVictims ) {
    MbUnloadRandom first( 42 );
    MbUnloadRandom second( 42 );
    std::set<MbBufferImp*> victims;
    for( std::uintptr_t i = 1; i <= 20; ++i ) {
        first.insertBuffer( fakeBuffer( i ) );
        second.insertBuffer( fakeBuffer( i ) );
    }
    for( int i = 0; i < 15; ++i ) {
        MbBufferImp* const victim = first.selectVictim();
        EXPECT_EQ( victim, second.selectVictim() );
        victims.insert( victim );
        first.removeBuffer( victim );
        second.removeBuffer( victim );
    }
    EXPECT_EQ( victims.size(), 15u );
}

TEST( MbUnloadRandom, DumpsItsVectorAndItsIndexes ) {
    MbUnloadRandom random( 1 );
    std::ostringstream empty;
    random.insertBuffer( fakeBuffer( 1 ) );
    random.removeBuffer( fakeBuffer( 1 ) );
    EXPECT_TRUE( random.isEmpty() );
    random.dump( empty );
    EXPECT_EQ( empty.str(), "MbUnloadRandom\nNb loaded and unlocked buffers  = 0\n"
                            "Random buffer container: \nPair associative indexes : \n" );
}

TEST( MbUnloadStrategies, StayTrueToAPlainSetUnderRandomCalls ) {
    std::mt19937_64 random( testSeed() );
    MbUnloadLRU lru;
    MbUnloadRandom picker( 3 );
    std::vector<MbBufferImp*> model; // oldest first
    for( long i = scaledCount( 200000 ); i > 0; --i ) {
        MbBufferImp* const buffer = fakeBuffer( 1000 + random() % 500 );
        const auto found = std::find( model.begin(), model.end(), buffer );
        if( found == model.end() ) {
            model.push_back( buffer );
            lru.insertBuffer( buffer );
            picker.insertBuffer( buffer );
        } else {
            model.erase( found );
            lru.removeBuffer( buffer );
            picker.removeBuffer( buffer );
        }
        ASSERT_EQ( lru.isEmpty(), model.empty() );
        ASSERT_EQ( picker.isEmpty(), model.empty() );
        if( !model.empty() ) {
            // The oldest one, also when asked twice.
            ASSERT_EQ( lru.selectVictim(), model.front() );
            ASSERT_EQ( lru.selectVictim(), model.front() );
            ASSERT_NE( std::find( model.begin(), model.end(), picker.selectVictim() ),
                       model.end() );
        }
    }
    EXPECT_THROW( lru.removeBuffer( fakeBuffer( 9 ) ), ExBase );
}

} // namespace

} // namespace Qv
