#include <resmgt/dynamicAllocation/daArenaPool.h>
#include <resmgt/dynamicAllocation/daMallocAllocator.h>
#include <resmgt/logger/lgMajorGroup.h>
#include <resmgt/memoryBuffers/mbArenaManager.h>
#include <resmgt/memoryBuffers/mbBufferRdGuardImp.h>
#include <resmgt/memoryBuffers/mbBufferSimpleFactory.h>
#include <resmgt/memoryBuffers/mbBufferWrGuardImp.h>
#include <resmgt/memoryBuffers/mbHeapManager.h>
#include <resmgt/memoryBuffers/mbUnloadLRU.h>
#include <resmgt/memoryBuffers/test/mbLivenessTest.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <fcntl.h>
#include <poll.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <deque>
#include <map>
#include <optional>
#include <random>
#include <string>
#include <tests/support/failingNew.h>
#include <tests/support/holdPoint.h>
#include <tests/support/loggedLines.h>
#include <tests/support/testSettings.h>
#include <tests/support/testThread.h>

namespace Qv {

namespace {

using testing::AllOf;
using testing::HasSubstr;

INSTANTIATE_TEST_SUITE_P(, MbLivenessTest, testing::Bool() );

/// Where no strategy chooses.
class MbOwnOrderTest : public MbLivenessTest {};

INSTANTIATE_TEST_SUITE_P(, MbOwnOrderTest, testing::Values( true ) );

TEST_P( MbLivenessTest, ABufferThatWaitsForMemoryCanBeAskedByWhoeverHoldsThat ) {
    useHeap( 1 );
    MbBuffer holder = makeLoaded();
    Guard guard( std::in_place, holder );
    MbBuffer wanted = makePlain();
    TestThread asker( [&] { const MbBufferRdGuardImp lock( wanted ); } );
    asker.waitUntilBlocked();
    EXPECT_FALSE( wanted.isLoaded() );
    EXPECT_STREQ( wanted.getName(), "plain" );
    EXPECT_NE( wanted.getProtocol(), nullptr );
    wanted.prefetch();
    wanted.asyncSync();
    guard.reset();
    asker.join();
    EXPECT_TRUE( wanted.isLoaded() );
}

TEST_P( MbOwnOrderTest, AVictimThatIsBusyIsPassedOver ) {
    useHeap( 2 );
    const MbBuffer oldest = make( MbStateMachine::STRICT, MbStateMachine::UNTRACED, SIZE );
    MbBufferImp* const oldestImp = imp;
    { const MbBufferRdGuardImp lock( oldest ); }
    const MbBuffer next = makeLoaded();
    {
        const LkGuard<const LkLock> busy( oldestImp->getLock() );
        TestThread( [&] { makeLoaded(); } ).join();
    }
    EXPECT_TRUE( oldest.isLoaded() );
    EXPECT_FALSE( next.isLoaded() );
    // It has kept its place.
    const MbBuffer others[] = { makeLoaded(), makeLoaded() };
    EXPECT_FALSE( oldest.isLoaded() );
}

TEST_P( MbLivenessTest, AReplayedPrefetchThatFindsNoRoomIsDropped ) {
    useHeap( 1 );
    MbBuffer other = makePlain();
    const MbBuffer hinted = make( MbStateMachine::STRICT, MbStateMachine::UNTRACED, SIZE );
    send( "prefetch" );
    // Another buffer takes the memory of the load that has failed, and keeps it.
    Guard guard;
    inside( "asyncLoadFailed", [&] {
        guard.emplace( other );
        send( "prefetch" );
    } );
    recorder.take();
    send( "asyncOpFailed" );
    EXPECT_EQ( recorder.take(), "asyncLoadFailed" );
    EXPECT_EQ( MbTestAccess::pendingEvents( *imp ), 0u );
    guard.reset();
    send( "prefetch asyncOpSucceeded" );
    EXPECT_TRUE( hinted.isLoaded() );
}

TEST_P( MbLivenessTest, BuffersThatAllRefuseAreAskedNowAndThenUntilOneDoesNot ) {
    useHeap( 4 );
    std::atomic<bool> isRefusing = true;
    std::atomic<long> nbAsked = 0;
    std::vector<MbBuffer> refusing;
    for( int i = 0; i < 4; ++i ) {
        refusing.push_back( makeRefusing( isRefusing, nbAsked ) );
    }
    TestThread asker( [&] { makeLoaded(); } );
    TestThread second( [&] { makeLoaded(); } );
    // Three rounds of each.
    waitUntil( [&] { return nbAsked >= 24; }, "the third round" );
    EXPECT_LT( nbAsked, 60 );
    isRefusing = false;
    asker.join();
    second.join();
}

TEST_P( MbLivenessTest, TheOnlyWillingOneOfManyIsFound ) {
    constexpr int NB_BUFFERS = 32;
    useHeap( NB_BUFFERS );
    std::atomic<bool> isRefusing = true;
    std::atomic<bool> isWilling = false;
    std::atomic<long> nbAsked = 0;
    std::vector<MbBuffer> buffers;
    for( int i = 0; i < NB_BUFFERS; ++i ) {
        buffers.push_back( makeRefusing( i == NB_BUFFERS / 2 ? isWilling : isRefusing, nbAsked ) );
    }
    makeLoaded();
    EXPECT_FALSE( buffers[NB_BUFFERS / 2].isLoaded() );
}

TEST_P( MbLivenessTest, WhatCanNeverBeServedIsRefused ) {
    manager = RCShdPtr<MbManager>( new MbArenaManager(
        "arena", DaArenaPool::create( DaMallocAllocator::create().release(), 4096 ),
        OPtr<MbUnloadStrategy>( new MbUnloadLRU ) ) );
    const unsigned long long free = manager->getFreeSpace();
    // No piece has that alignment.
    const MbBuffer tooFar = makePlain( 4000, MbAlignment( ( 1ull << 40 ) - 1, 0, 0 ) );
    EXPECT_THAT( raisedBy( [&] { const MbBufferRdGuardImp lock( tooFar ); } ),
                 AllOf( HasSubstr( "Not enough memory: 4000 bytes are wanted" ),
                        HasSubstr( "of 4096 are free in arena" ) ) );
    EXPECT_EQ( manager->getFreeSpace(), free );
}

TEST_P( MbLivenessTest, WhoeverWaitsForWhatOnlyWaitingThreadsHoldIsTold ) {
    useHeap( 4 );
    // Alone.
    {
        std::deque<MbBufferRdGuardImp> mine;
        for( int i = 0; i < 4; ++i ) {
            mine.emplace_back( makePlain() );
        }
        EXPECT_THAT( raisedBy( [&] { makeLoaded(); } ), HasSubstr( "Not enough memory: " ) );
    }
    // Two hold two each, and want a third: one of them is refused, and the other one is served.
    HoldPoint both[] = { HoldPoint( "first" ), HoldPoint( "second" ) };
    std::atomic<int> nbRefused = 0;
    const auto work = [&]( HoldPoint& reached ) {
        const MbBuffer buffers[] = { makePlain(), makePlain(), makePlain() };
        const MbBufferRdGuardImp first( buffers[0] );
        const MbBufferRdGuardImp second( buffers[1] );
        reached.pass();
        nbRefused += raisedBy( [&] { const MbBufferRdGuardImp third( buffers[2] ); } ) != "";
    };
    TestThread one( [&] { work( both[0] ); } );
    TestThread two( [&] { work( both[1] ); } );
    both[0].waitUntilReached();
    both[1].waitUntilReached();
    both[0].release();
    both[1].release();
    one.join();
    two.join();
    EXPECT_EQ( nbRefused, 1 );
}

TEST_P( MbLivenessTest, WhoHoldsNothingIsNotTold ) {
    useHeap( 1 );
    HoldPoint holding( "holding" );
    std::string raised;
    TestThread holder( [&] {
        const MbBufferRdGuardImp own( makePlain() );
        holding.pass();
        raised = raisedBy( [&] { makeLoaded(); } );
    } );
    holding.waitUntilReached();
    // It looks around earlier than the holder.
    TestThread bystander( [&] { makeLoaded(); } );
    bystander.waitUntilBlocked();
    holding.release();
    bystander.join();
    holder.join();
    EXPECT_THAT( raised, HasSubstr( "by threads that wait" ) );
}

/// Counts the looks for room.
class CountingManager : public MbPoolManager {
public:
    CountingManager( int room, OPtr<MbUnloadStrategy> strategy )
        : MbPoolManager( "counting", strategy )
        , _room( room )
        , _free( room ) {}

    long getNbLooks() const { return _nbLooks; }

private:
    bool tryAllocateRegion( MbBufferImp* buffer ) override {
        ++_nbLooks;
        const int size = buffer->getSize();
        if( size > _free ) {
            return false;
        }
        _free -= size;
        std::vector<char> block( static_cast<std::size_t>( size ) );
        char* const memory = block.data();
        _blocks.emplace( memory, std::move( block ) );
        buffer->setRegion( MbRegion( memory, memory, memory + size, memory + size ) );
        return true;
    }
    void deallocateRegionImp( const MbRegion& region ) override {
        const auto block = _blocks.find( MbTestAccess::words( region )[1] );
        _free += static_cast<int>( block->second.size() );
        _blocks.erase( block );
    }
    void deallocateRegionImp( MbBufferImp* buffer ) override {
        deallocateRegionImp( buffer->getRegion() );
        buffer->setRegion( MbRegion() );
    }
    unsigned long long getSizeImp() const override { return static_cast<unsigned>( _room ); }
    unsigned long long getFreeSpaceImp() const override { return static_cast<unsigned>( _free ); }

    const int _room;
    int _free;
    std::map<const void*, std::vector<char>> _blocks;
    std::atomic<long> _nbLooks = 0;
};

TEST_P( MbLivenessTest, AVictimThatNeedsMoreMemoryThanThereIsForItsUnloadingIsTold ) {
    useHeap( 1 );
    const MbBuffer victim = makeHooked( [&] {
        makeLoaded();
        return true;
    } );
    { const MbBufferRdGuardImp lock( victim ); }
    EXPECT_THAT( raisedBy( [&] { makeLoaded(); } ), HasSubstr( "by threads that wait" ) );
    EXPECT_TRUE( victim.isLoaded() );
}

TEST_P( MbLivenessTest, NobodyIsToldOfADeadlockWhileAnAskerEvicts ) {
    for( const bool isHeldAtEnd : { false, true } ) {
        auto* const counting = new CountingManager( 2 * SIZE, makeStrategy() );
        manager = RCShdPtr<MbManager>( counting );
        HoldPoint holding( "holding" );
        HoldPoint evicting( "evicting" );
        std::string raised;
        TestThread holder( [&] {
            const MbBufferRdGuardImp own( makePlain() );
            holding.pass();
            raised = raisedBy( [&] { makeLoaded(); } );
        } );
        holding.waitUntilReached();
        Gate unlocked( "unlocked" );
        MbBuffer victim;
        // Held while it is written away, or when its memory is given back and it ends.
        const auto inUnload = [&] {
            unlocked.wait();
            isHeldAtEnd ? void( victim = MbBuffer() ) : evicting.pass();
            return true;
        };
        const auto atEnd = [&] {
            if( isHeldAtEnd ) {
                evicting.pass();
            }
        };
        victim = makeHooked( inUnload, atEnd );
        Guard lock( std::in_place, victim );
        TestThread evictor( [&] { makeLoaded(); } );
        evictor.waitUntilBlocked();
        holding.release();
        holder.waitUntilBlocked();
        lock.reset();
        unlocked.open();
        evicting.waitUntilReached();
        // It looks around ten times a second.
        const long nbLooks = counting->getNbLooks();
        // Mostly it is the evictor that evicts; who doesn't is served by what has been given back.
        const auto isServed = [&] { return holder.isDone() || evictor.isDone(); };
        waitUntil( [&] { return isServed() || counting->getNbLooks() > nbLooks + 2; },
                   "looks around" );
        EXPECT_EQ( isServed(), isHeldAtEnd );
        evicting.release();
        holder.join();
        evictor.join();
        EXPECT_EQ( raised, "" );
    }
}

TEST_P( MbLivenessTest, WhoWouldWaitForItselfFailsAnAssertion ) {
    useHeap( 2 );
    MbBuffer own = makeLoaded();
    const MbBufferRdGuardImp reader( own );
    EXPECT_THAT( raisedBy( [&] { const MbBufferWrGuardImp writer( own ); } ),
                 HasSubstr( "! _locker.isCurrentThread()" ) );
    EXPECT_THAT( raisedBy( [&] { own.sync(); } ), HasSubstr( "! _locker.isCurrentThread()" ) );
    // What another thread holds too may end.
    HoldPoint held( "held" );
    TestThread holder( [&] {
        const MbBufferRdGuardImp lock( own );
        held.pass();
    } );
    held.waitUntilReached();
    TestThread writer( [&] { const MbBufferWrGuardImp lock( own ); } );
    writer.waitUntilBlocked();
    held.release();
    holder.join();
    const_cast<MbBufferRdGuardImp&>( reader ) = MbBufferRdGuardImp();
    writer.join();
}

TEST_P( MbLivenessTest, AnUnlockWaitsAndSaysSoAlsoWithoutMemoryForTheFirstWaitOfItsThread ) {
    LgMajorGroup& group = LgMajorGroup::getInstanceForName( "ResMgt" );
    group.setLogThreshold( LgTypes::Tracing, true );
    for( const bool hasMemory : { true, false } ) {
        manager = RCShdPtr<MbManager>(
            new MbHeapManager( "heap", NEEDED, OPtr<MbUnloadStrategy>( new MbUnloadLRU ) ) );
        buffer = make( MbStateMachine::RELAXED, MbStateMachine::UNTRACED, SIZE );
        recorder.calls.reserve( 1000 );
        HoldPoint held( "markDirty" );
        Gate locked( "locked" );
        Gate mayUnlock( "mayUnlock" );
        inside( "markDirty", [&] { held.pass(); } );
        std::vector<std::string> logged;
        TestThread unlocker( [&] {
            LoggedLines lines;
            imp->rdlock();
            locked.open();
            mayUnlock.wait();
            std::optional<FailingNew> failing;
            if( !hasMemory ) {
                failing.emplace( 0 );
            }
            imp->unlock();
            failing.reset();
            logged = lines.takeWithLevels();
        } );
        locked.wait();
        TestThread upgrader( [&] { const MbBufferWrGuardImp lock( buffer ); } );
        held.waitUntilReached();
        mayUnlock.open();
        unlocker.waitUntilBlocked();
        held.release();
        unlocker.join();
        upgrader.join();
        EXPECT_EQ( MbTestAccess::lockCount( *imp ), 0u );
        ASSERT_GE( logged.size(), 2U );
        EXPECT_EQ( logged[0],
                   std::string( "Tracing: [MemoryBuffers  ] MbBuffer buffer waiting for state "
                                "change in state " ) +
                       ( hasMemory ? "Qv::MbStates::TransientState" : "#" ) );
        EXPECT_EQ( logged[1], "Tracing: [MemoryBuffers  ] End of wait" );
    }
    group.setLogThreshold( LgTypes::Informational, true );
}

/// Takes what goes to standard error.
class ErrorPipe {
public:
    ErrorPipe() {
        std::fflush( stderr );
        EXPECT_EQ( ::pipe2( _ends, O_CLOEXEC ), 0 );
        ::dup2( _ends[1], STDERR_FILENO );
    }
    ErrorPipe( const ErrorPipe& ) = delete;
    ErrorPipe& operator=( const ErrorPipe& ) = delete;
    ~ErrorPipe() {
        ::dup2( _former, STDERR_FILENO );
        for( const int file : { _former, _ends[0], _ends[1] } ) {
            ::close( file );
        }
    }

    /// Waits for it.
    std::string readLine() const {
        std::string line;
        waitUntil(
            [&] {
                pollfd ready{ _ends[0], POLLIN, 0 };
                char next = 0;
                while( ::poll( &ready, 1, 0 ) > 0 && ::read( _ends[0], &next, 1 ) == 1 ) {
                    line += next;
                }
                return line.ends_with( '\n' );
            },
            "a line on standard error" );
        return line;
    }

private:
    const int _former = ::fcntl( STDERR_FILENO, F_DUPFD_CLOEXEC, 3 );
    int _ends[2] = { -1, -1 };
};

// Before the packages start, which read it.
const int isStallReportSet = ::setenv( "QV_BUFFER_STALL_REPORT", "1", 1 );

TEST_P( MbLivenessTest, AWaitThatLastsIsReportedOnceWithWhatItWaitsFor ) {
    ASSERT_EQ( isStallReportSet, 0 );
    useHeap( 1 );
    MbBuffer holder = makeLoaded();
    Guard guard( std::in_place, holder );
    const ErrorPipe errors;
    TestThread asker( [&] { makeLoaded(); } );
    EXPECT_THAT( errors.readLine(),
                 AllOf( HasSubstr( "Waiting for memory for the buffer 'plain': 1000 bytes" ),
                        HasSubstr( "0 of 1127 are free in heap" ),
                        HasSubstr( "held by thread" ) ) );
    guard.reset();
    asker.join();
}

TEST_P( MbOwnOrderTest, VictimsComeInTheOrderOfAPlainList ) {
    constexpr int NB_BUFFERS = 60;
    useHeap( NB_BUFFERS / 3 );
    std::mt19937_64 random( testSeed() );
    std::vector<int> evicted;
    std::vector<int> expected;
    std::vector<MbBuffer> buffers;
    for( int i = 0; i < NB_BUFFERS; ++i ) {
        buffers.push_back( makeHooked( [&evicted, i] {
            evicted.push_back( i );
            return true;
        } ) );
    }
    std::deque<int> resident; // oldest first
    std::vector<std::pair<int, MbBufferRdGuardImp>> held;
    const auto leave = [&]( int number ) {
        const auto found = std::find( resident.begin(), resident.end(), number );
        if( found != resident.end() ) {
            resident.erase( found );
            return true;
        }
        return false;
    };
    for( long i = scaledCount( 20000 ); i > 0; --i ) {
        const int number = static_cast<int>( random() % NB_BUFFERS );
        const bool isHeld = std::any_of( held.begin(), held.end(), [number]( const auto& lock ) {
            return lock.first == number;
        } );
        if( held.size() > 5 || ( !held.empty() && random() % 3 == 0 ) ) {
            const std::size_t which = random() % held.size();
            resident.push_back( held[which].first );
            held.erase( held.begin() + static_cast<std::ptrdiff_t>( which ) );
        } else if( !isHeld && random() % 8 == 0 ) {
            leave( number );
            buffers[static_cast<std::size_t>( number )].free();
        } else if( !isHeld ) {
            if( !leave( number ) &&
                resident.size() + held.size() == static_cast<std::size_t>( NB_BUFFERS / 3 ) ) {
                expected.push_back( resident.front() );
                resident.pop_front();
            }
            held.emplace_back( number, buffers[static_cast<std::size_t>( number )] );
        }
        ASSERT_EQ( evicted, expected );
        evicted.clear();
        expected.clear();
    }
}

} // namespace

} // namespace Qv
