#include <resmgt/dynamicAllocation/daArenaPool.h>
#include <resmgt/dynamicAllocation/daMallocAllocator.h>
#include <resmgt/memoryBuffers/mbArenaManager.h>
#include <resmgt/memoryBuffers/mbBufferRdGuardImp.h>
#include <resmgt/memoryBuffers/mbBufferSimpleFactory.h>
#include <resmgt/memoryBuffers/mbBufferWrGuardImp.h>
#include <resmgt/memoryBuffers/mbHeapManager.h>
#include <resmgt/memoryBuffers/mbUnloadLRU.h>
#include <resmgt/memoryBuffers/mbUnloadRandom.h>
#include <resmgt/memoryBuffers/src/mbBlocks.h>
#include <resmgt/memoryBuffers/test/mbRecorder.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <malloc.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cstring>
#include <fstream>
#include <functional>
#include <initializer_list>
#include <optional>
#include <random>
#include <set>
#include <tests/support/dumpOf.h>
#include <tests/support/failingNew.h>
#include <tests/support/testSettings.h>
#include <tests/support/testThread.h>

namespace Qv {

namespace {

using testing::HasSubstr;

constexpr int SIZE = 1000;
constexpr unsigned long long NEEDED = SIZE + 127;

/// Buffers of a heap with room for a number of buffers of SIZE bytes.
class MbManagerTest : public RecordedBuffers {
protected:
    void useHeap( int nbBuffers, MbUnloadStrategy* strategy = new MbUnloadLRU ) {
        manager = RCShdPtr<MbManager>(
            new MbHeapManager( "heap", static_cast<unsigned long long>( nbBuffers ) * NEEDED,
                               OPtr<MbUnloadStrategy>( strategy ) ) );
    }
    MbBuffer makeLoaded( MbStateMachine::Trace_e trace = MbStateMachine::UNTRACED ) {
        MbBuffer loaded = make( MbStateMachine::STRICT, trace, SIZE );
        { const MbBufferWrGuardImp guard( loaded ); }
        return loaded;
    }
    std::string dump() const { return dumpOf( *manager ); }
};

TEST_F( MbManagerTest, ABufferThatCanNeverFitIsRefusedAtOnceAndAnOffsetIsKept ) {
    const RCShdPtr<MbManager> heap(
        new MbHeapManager( "heap", 1000, OPtr<MbUnloadStrategy>( new MbUnloadLRU ) ) );
    const RCShdPtr<MbManager> arena( new MbArenaManager(
        "arena", DaArenaPool::create( DaMallocAllocator::create().release(), 4096 ),
        OPtr<MbUnloadStrategy>( new MbUnloadLRU ) ) );
    // The arena knows nothing of offsets: one of its first two blocks can't satisfy these.
    const struct {
        const RCShdPtr<MbManager>& manager;
        int size;
        MbAlignment alignment;
        const char* raised;
    } cases[] = {
        { heap, 900, MbAlignment( 127, 0, 0 ),
          "Not enough memory: Buffer size larger then maximum allocated bytes: 1027 > 1000." },
        { heap, 900, MbAlignment( ~0ull, 0, 0 ),
          "Not enough memory: Buffer size larger then maximum allocated bytes: "
          "18446744073709551615 > 1000." },
        { heap, 0, MbAlignment( 127, 0, 0 ), "" },
        { heap, 100, MbAlignment( 15, 511, 0x150 ), "" },
        { arena, 5000, MbAlignment( 127, 0, 0 ),
          "Not enough memory: Buffer size larger than total arena pool size: 5000 > 4096." },
        { arena, 64, MbAlignment( 127, 255, 0 ), "either" },
        { arena, 64, MbAlignment( 127, 255, 128 ), "either" },
    };
    int nbMisplaced = 0;
    for( const auto& c : cases ) {
        MbBufferSimpleFactory factory(
            MbStateMachine::getInstance( MbStateMachine::UNTRACED, MbStateMachine::RELAXED )
                .getInitialState(),
            c.manager );
        const unsigned long long before = factory.getFreeSpace();
        const std::string raised = raisedBy( [&] {
            const MbBufferRdGuardImp guard( factory.create( "buffer", c.size, c.alignment ) );
            EXPECT_TRUE( MbTestAccess::isAligned(
                c.alignment, reinterpret_cast<std::uintptr_t>( guard.getMemory() ) ) );
        } );
        if( raised.find( "memory == imp->getAlignment().roundUpToAlignment( memory )" ) !=
            std::string::npos ) {
            ++nbMisplaced;
        } else if( c.raised != std::string( "either" ) ) {
            EXPECT_EQ( raised, c.raised );
        }
        EXPECT_EQ( factory.getFreeSpace(), before );
    }
    EXPECT_EQ( nbMisplaced, 1 );
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

TEST_F( MbManagerTest, WhoeverFindsAllBuffersLockedWaitsForALockToEnd ) {
    useHeap( 1 );
    MbBuffer holder = makeLoaded();
    std::optional<MbBufferRdGuardImp> guard( std::in_place, holder );
    TestThread asker( [&] { EXPECT_TRUE( makeLoaded().isLoaded() ); } );
    asker.waitUntilBlocked();
    guard.reset();
    asker.join();
    EXPECT_FALSE( holder.isLoaded() );
}

TEST_F( MbManagerTest, AVictimMayRefuseRaiseAndEnd ) {
    for( const bool isRaising : { false, true } ) {
        for( const bool isEnding : { false, true } ) {
            useHeap( 2 );
            // The first to be asked refuses, and stays where it was.
            const MbBuffer refuser = makeLoaded();
            buffer = makeLoaded();
            MbBufferImp* const victim = imp;
            recorder.unloadAnswer = false;
            inside( "unload", [&] {
                inside( "unload", [&] {
                    recorder.unloadAnswer = true;
                    recorder.faultyCall = isRaising ? "unload" : "";
                    if( isEnding ) {
                        buffer = MbBuffer();
                    }
                } );
            } );
            recorder.take();
            const std::string raised = raisedBy( [&] { makeLoaded(); } );
            EXPECT_EQ( raised, isRaising ? "fault on demand" : "" );
            EXPECT_TRUE( refuser.isLoaded() );
            // The asker has its end, and the victim may have one.
            const std::string calls = recorder.take();
            EXPECT_EQ( calls.ends_with( "end end" ) || calls.find( "end load" ) != calls.npos,
                       isEnding )
                << calls;
            if( !isEnding ) {
                EXPECT_EQ( buffer.isLoaded(), isRaising );
                EXPECT_EQ( MbTestAccess::pins( *victim ), 1 );
            }
            buffer = MbBuffer();
            EXPECT_EQ( manager->getFreeSpace(), NEEDED );
        }
    }
}

TEST_F( MbManagerTest, AnEventWhoseTraceRunsOutOfMemoryStillListsTheBufferOnce ) {
    TraceLevel& level = *Trace::registerLevel( "MbStateMachine", "mbStateTrace.cpp" );
    for( const auto event : { &MbBufferImp::rdlock, &MbBufferImp::unload, &MbBufferImp::free,
                              &MbBufferImp::sync, &MbBufferImp::prefetch } ) {
        for( int nbSucceeding = 0; nbSucceeding < 100; ++nbSucceeding ) {
            useHeap( 1, new MbUnloadRandom( 1 ) );
            buffer = makeLoaded( MbStateMachine::TRACED );
            recorder.calls.reserve( 1000 );
            testing::internal::CaptureStderr();
            level.setEnabled( true );
            const std::string raised = raisedBy( [&] {
                const FailingNew failing( nbSucceeding );
                std::invoke( event, *imp );
            } );
            level.setEnabled( false );
            testing::internal::GetCapturedStderr();
            EXPECT_EQ( raised, "" );
            const std::string state = nameOf( MbTestAccess::state( *imp ) );
            const bool isListed = state == "Loaded" || state == "Synched";
            const std::string count = isListed ? "= 1\n" : "= 0\n";
            EXPECT_THAT( dump(), HasSubstr( "Nb loaded and unlocked buffers  " + count ) ) << state;
            ASSERT_THAT( dump(), HasSubstr( "Nb unloadable buffers " + count ) ) << state;
            if( MbTestAccess::lockCount( *imp ) != 0 ) {
                send( "unlock" );
            }
        }
    }
}

/// Lacks the memory for one insertion whenever it is told to.
class RefusingStrategy : public MbUnloadLRU {
public:
    bool mustRefuse = false;

    void insertBuffer( MbBufferImp* buffer ) override {
        if( std::exchange( mustRefuse, false ) ) {
            throw std::bad_alloc();
        }
        MbUnloadLRU::insertBuffer( buffer );
    }
};

TEST_F( MbManagerTest, ABufferThatCouldNotBeListedIsListedByTheNextEventAndCanGo ) {
    for( const char* const next : { "prefetch", "rdlock", "unload", "free", "nothing" } ) {
        auto* const strategy = new RefusingStrategy;
        useHeap( 1, strategy );
        buffer = makeLoaded();
        send( "rdlock" );
        strategy->mustRefuse = true;
        EXPECT_THROW( imp->unlock(), std::bad_alloc );
        EXPECT_THAT( dump(), HasSubstr( "Nb unloadable buffers = 0\n" ) );
        if( next != std::string( "nothing" ) ) {
            send( next );
        }
        if( MbTestAccess::lockCount( *imp ) != 0 ) {
            send( "unlock" );
        }
        EXPECT_THAT( dump(), HasSubstr( buffer.isLoaded() && next != std::string( "nothing" )
                                            ? "Nb unloadable buffers = 1\n"
                                            : "Nb unloadable buffers = 0\n" ) )
            << next;
        buffer = MbBuffer();
        EXPECT_EQ( manager->getFreeSpace(), NEEDED );
    }
}

/// Prints its manager without the lock from another thread, while the one that dumps it has it.
class PrintingStrategy : public MbUnloadLRU {
public:
    const MbPoolManager* manager = nullptr;
    mutable std::string printed;

    void dump( std::ostream& stream ) const override {
        MbUnloadLRU::dump( stream );
        if( const MbPoolManager* const pool =
                std::exchange( _isPrinted, true ) ? nullptr : manager ) {
            TestThread( [&] { printed = dumpOf( MbPoolManager::NoLockTracer( pool ) ); } ).join();
        }
    }

private:
    mutable bool _isPrinted = false;
};

TEST_F( MbManagerTest, ANoLockTracerPrintsWhileAnotherThreadHoldsTheLock ) {
    auto* const strategy = new PrintingStrategy;
    useHeap( 1, strategy );
    strategy->manager = static_cast<const MbPoolManager*>( manager.get() );
    const std::string locked = dump();
    EXPECT_EQ( strategy->printed, locked );
}

TEST_F( MbManagerTest, AManagerThatEndsBeforeARegionReportsIt ) {
    useHeap( 1 );
    testing::internal::CaptureStderr();
    MbRegion region;
    {
        const MbBuffer loaded = makeLoaded();
        const LkGuard<const LkLock> guard( imp->getLock() );
        region = MbTestAccess::state( *imp )->release( imp );
    }
    manager.reset();
    EXPECT_THAT( testing::internal::GetCapturedStderr(), HasSubstr( "_nbAllocatedRegion == 0" ) );
    delete[] static_cast<char*>( MbTestAccess::words( region )[0] );
}

TEST_F( MbManagerTest, AVictimsMemoryServesTheNextBufferOfItsSize ) {
    useHeap( 2 );
    const MbBuffer first = makeLoaded();
    const void* const memory = MbTestAccess::words( *imp )[0];
    // Without any buffer in memory nothing is kept.
    const MbBuffer second = makeLoaded();
    const MbBuffer third = makeLoaded();
    EXPECT_FALSE( first.isLoaded() );
    EXPECT_EQ( MbTestAccess::words( *imp )[0], memory );
}

TEST( MbBlocksTest, SizesThatAreNoLongerInUseLeaveNothingBehind ) {
    MbBlocks blocks;
    void* const held = blocks.take( 1, 1 << 20 );
    const auto useSizes = [&blocks]( std::size_t begin, std::size_t end ) {
        for( std::size_t size = begin; size < end; ++size ) {
            blocks.giveBack( blocks.take( size, size ), size );
        }
    };
    useSizes( 100, 200 );
    const std::size_t before = ::mallinfo2().uordblks;
    useSizes( 200, 10000 );
    EXPECT_LT( ::mallinfo2().uordblks, before + 100000 );
    blocks.giveBack( held, 1 );
}

TEST( MbBlocksTest, ABlockThatCannotBeKeptIsGivenUp ) {
    constexpr std::size_t SIZE_OF_BLOCK = 1 << 16;
    MbBlocks blocks;
    void* const block = blocks.take( SIZE_OF_BLOCK, SIZE_OF_BLOCK );
    {
        const FailingNew failing( 0 );
        blocks.giveBack( block, SIZE_OF_BLOCK );
    }
    void* const next = blocks.take( SIZE_OF_BLOCK, SIZE_OF_BLOCK );
    std::memset( next, 1, SIZE_OF_BLOCK );
    blocks.giveBack( next, SIZE_OF_BLOCK );
    EXPECT_EQ( blocks.take( SIZE_OF_BLOCK, SIZE_OF_BLOCK ), next );
    blocks.giveBack( next, SIZE_OF_BLOCK );
}

#if defined( QV_SANITIZE_ADDRESS ) || defined( QV_SANITIZE_THREAD )
// Without a bound: then only the races of this test count.
constexpr std::size_t SANITIZERS_MEMORY = std::size_t( 1 ) << 40;
#else
constexpr std::size_t SANITIZERS_MEMORY = 0;
#endif

std::size_t residentBytes() {
    std::ifstream stream( "/proc/self/statm" );
    std::size_t nbPages = 0;
    stream >> nbPages >> nbPages;
    return nbPages * static_cast<std::size_t>( ::sysconf( _SC_PAGESIZE ) );
}

TEST_F( MbManagerTest, WhateverSizesManyThreadsUseTheMemoryStaysWithinTheLimit ) {
    constexpr std::size_t LIMIT = std::size_t( 64 ) << 20;
    manager = RCShdPtr<MbManager>(
        new MbHeapManager( "heap", LIMIT, OPtr<MbUnloadStrategy>( new MbUnloadLRU ) ) );
    const std::size_t before = residentBytes();
    std::atomic<std::size_t> most = 0;
    TestThreads( 8, [&]( unsigned int id ) {
        std::mt19937_64 random( testSeed() + id );
        MbBufferSimpleFactory factory(
            MbStateMachine::getInstance( MbStateMachine::UNTRACED, MbStateMachine::RELAXED )
                .getInitialState(),
            manager );
        std::vector<MbBuffer> buffers;
        for( int i = 0; i < 100; ++i ) {
            buffers.push_back( factory.create( "tile", 65536 << random() % 5 ) );
        }
        for( long turn = scaledCount( 1000 ); turn > 0; --turn ) {
            const MbBufferWrGuardImp guard( buffers[random() % buffers.size()] );
            std::memset( guard.getMemory(), 1,
                         static_cast<std::size_t>( guard.getBuffer().getSize() ) );
            most = std::max<std::size_t>( most, residentBytes() );
        }
    } ).join();
    EXPECT_LT( most - before, LIMIT + LIMIT / 10 + SANITIZERS_MEMORY );
}

/// Strategies only number the buffers, and never look at one.
MbBufferImp* fakeBuffer( std::uintptr_t number ) {
    return reinterpret_cast<MbBufferImp*>( number * sizeof( MbBufferImp ) );
}

TEST( MbUnloadStrategiesTest, StayTrueToAPlainListAndToTheirSeedUnderRandomCalls ) {
    std::mt19937_64 random( testSeed() );
    MbUnloadLRU lru;
    MbUnloadRandom picker( 3 );
    MbUnloadRandom twin( 3 );
    std::vector<MbBufferImp*> model; // oldest first
    std::set<MbBufferImp*> picked;
    // In the end all go.
    for( long i = scaledCount( 200000 ); i > 0 || !model.empty(); --i ) {
        MbBufferImp* const toggled = i > 0 ? fakeBuffer( 1000 + random() % 500 ) : model.back();
        const auto found = std::find( model.begin(), model.end(), toggled );
        const bool isNew = found == model.end();
        for( MbUnloadStrategy* const strategy :
             std::initializer_list<MbUnloadStrategy*>{ &lru, &picker, &twin } ) {
            isNew ? strategy->insertBuffer( toggled ) : strategy->removeBuffer( toggled );
        }
        isNew ? model.push_back( toggled ) : static_cast<void>( model.erase( found ) );
        ASSERT_EQ( lru.isEmpty(), model.empty() );
        ASSERT_EQ( picker.isEmpty(), model.empty() );
        if( !model.empty() ) {
            // The oldest one, also when asked twice.
            ASSERT_EQ( lru.selectVictim(), model.front() );
            ASSERT_EQ( lru.selectVictim(), model.front() );
            MbBufferImp* const victim = picker.selectVictim();
            ASSERT_EQ( victim, twin.selectVictim() );
            ASSERT_NE( std::find( model.begin(), model.end(), victim ), model.end() );
            picked.insert( victim );
        }
    }
    EXPECT_GT( picked.size(), 100u );
    EXPECT_THROW( lru.removeBuffer( fakeBuffer( 9 ) ), ExBase );
    EXPECT_EQ( dumpOf( picker ), "MbUnloadRandom\nNb loaded and unlocked buffers  = 0\n"
                                 "Random buffer container: \nPair associative indexes : \n" );
}

} // namespace

} // namespace Qv
