#include <base/failure/assertions.h>
#include <resmgt/locks/lkEx.h>
#include <resmgt/locks/lkThreadOpaqueDataFactory.h>
#include <resmgt/locks/lkTimedCondVar.h>
#include <resmgt/locks/mtThreadDataRegistry.h>
#include <resmgt/locks/src/lkTimedWaitEntry.h>
#include <resmgt/locks/src/lkWaitEntry.h>
#include <resmgt/locks/src/posix/lkFutexPosix.h>
#include <tests/support/holdPoint.h>
#include <tests/support/raisedBy.h>
#include <tests/support/testThread.h>

#include <gmock/gmock.h>
#include <pthread.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <thread>
#include <utility>
#include <vector>

namespace Qv {
namespace {

using ::testing::AllOf;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using enum LkThreadDataTypes::DeleteAction;

/// One of some slots whose values are names in a log; creators and deleters are plain functions,
/// so what they do more is told here.
struct Slot {
    RCShdPtr<LkThreadOpaqueData> data;
    std::function<void()> whileCreating;
    std::function<void()> whileDeleting;
    bool isCreatorEmpty = false;
    int nbCreated = 0;
};

constexpr int NB_SLOTS = 8;

class LkThreadOpaqueDataTest : public ::testing::Test {
protected:
    LkThreadOpaqueDataTest() { makeSlots( std::make_index_sequence<NB_SLOTS>() ); }
    ~LkThreadOpaqueDataTest() override { slots.clear(); }

    template <std::size_t... Index>
    void makeSlots( std::index_sequence<Index...> ) {
        slots = std::vector<Slot>( NB_SLOTS );
        deleted.clear();
        ( ( slots[Index].data =
                LkThreadOpaqueDataFactory::create( "slot", &create<Index>, &destroy<Index> ) ),
          ... );
    }
    template <std::size_t Index>
    static void* create() {
        Slot& slot = slots[Index];
        ++slot.nbCreated;
        if( slot.whileCreating ) {
            slot.whileCreating();
        }
        return slot.isCreatorEmpty ? nullptr : new int( static_cast<int>( Index ) );
    }
    template <std::size_t Index>
    static void destroy( void* value ) {
        deleted.push_back( *static_cast<int*>( value ) );
        delete static_cast<int*>( value );
        if( slots[Index].whileDeleting ) {
            slots[Index].whileDeleting();
        }
    }
    static int* use( std::size_t index ) {
        return static_cast<int*>( slots[index].data->getPointee() );
    }
    static MtThreadDataRegistry& registry() { return MtThreadDataRegistry::getInstance(); }
    static void expectInternalError( const std::function<void()>& body, const char* text ) {
        EXPECT_THAT( raisedBy<ExInternalError>( body ), HasSubstr( text ) );
    }

    static inline std::vector<Slot> slots;
    static inline std::vector<int> deleted;
};

constexpr const char* RECURSION = "Recursion in the creation of thread-local data";

TEST_F( LkThreadOpaqueDataTest, EachThreadBuildsItsOwnValueOnce ) {
    int* inThread = nullptr;
    int* const here = use( 0 );
    TestThread( [&] {
        EXPECT_FALSE( registry().hasThreadData() );
        inThread = use( 0 );
        EXPECT_EQ( use( 0 ), inThread );
        EXPECT_NE( inThread, here );
        EXPECT_TRUE( registry().hasThreadData() );
    } ).join();
    EXPECT_EQ( use( 0 ), here );
    EXPECT_EQ( slots[0].nbCreated, 2 );
    registry().removeThreadData( slots[0].data.get(), DELETE_AND_CLEAR );
}

TEST_F( LkThreadOpaqueDataTest, CreatorMayUseOtherSlotsButNotItsOwn ) {
    TestThread( [] {
        slots[0].whileCreating = [] { use( 1 ); };
        use( 0 );
        slots[2].whileCreating = [] { use( 2 ); };
        expectInternalError( [] { use( 2 ); }, RECURSION );
        slots[2].whileCreating = nullptr;
        EXPECT_EQ( *use( 2 ), 2 ) << "a failed creation blocks the slot";
    } ).join();
    EXPECT_THAT( deleted, ElementsAre( 1, 0, 2 ) );
}

TEST_F( LkThreadOpaqueDataTest, CreatorWithoutResultIsRaisedAndTriedAgain ) {
    slots[0].isCreatorEmpty = true;
    TestThread( [] {
        for( int nbCalls = 1; nbCalls <= 2; ++nbCalls ) {
            EXPECT_THAT( raisedBy<LkEx::ExNoContent>( [] { use( 0 ); } ),
                         AllOf( HasSubstr( "LkThreadOpaqueData" ), HasSubstr( "slot" ) ) );
            EXPECT_EQ( slots[0].nbCreated, nbCalls );
        }
        EXPECT_FALSE( registry().hasThreadData() );
    } ).join();
}

TEST_F( LkThreadOpaqueDataTest, RemovalClearsOrMarksAllSlotsInOrderOfFirstUse ) {
    TestThread( [] {
        for( const std::size_t index : { 3u, 0u, 1u, 2u } ) {
            use( index );
        }
        // One slot's removal, the second time in vain, leaves the others.
        registry().removeThreadData( slots[0].data.get(), DELETE_AND_CLEAR );
        registry().removeThreadData( slots[0].data.get(), DELETE_AND_CLEAR );
        EXPECT_THAT( std::exchange( deleted, {} ), ElementsAre( 0 ) );
        EXPECT_TRUE( registry().hasThreadData() );
        registry().removeThreadData( DELETE_AND_CLEAR );
        EXPECT_THAT( deleted, ElementsAre( 3, 1, 2 ) );
        EXPECT_FALSE( registry().hasThreadData() );
        EXPECT_EQ( *use( 1 ), 1 );
        registry().removeThreadData( DELETE_AND_MARK );
        expectInternalError( [] { use( 1 ); }, RECURSION );
        EXPECT_EQ( *use( 2 ), 2 ) << "was empty, and can't have been marked";
    } ).join();
    EXPECT_THAT( deleted, ElementsAre( 3, 1, 2, 1, 2 ) );
}

TEST_F( LkThreadOpaqueDataTest, BusySlotIsntFreed ) {
    TestThread( [] {
        slots[0].whileCreating = [] {
            registry().registerThreadData( slots[0].data.get() );
            registry().removeThreadData( DELETE_AND_CLEAR );
        };
        expectInternalError( [] { use( 0 ); }, "Double delete of thread-local data." );
        expectInternalError( [] { registry().registerThreadData( nullptr ); }, "dataImp != 0" );
        use( 1 );
        expectInternalError(
            [] {
                registry().removeThreadData( static_cast<LkThreadDataTypes::DeleteAction>( 2 ) );
            },
            "action == " );
    } ).join();
    EXPECT_THAT( deleted, ElementsAre( 1 ) );
}

TEST_F( LkThreadOpaqueDataTest, DeleterMayUseSlotsAndTheRegistryAgain ) {
    TestThread( [] {
        use( 0 );
        use( 1 );
        slots[1].whileDeleting = [] {
            slots[1].whileDeleting = nullptr;
            EXPECT_EQ( *use( 0 ), 0 );
            EXPECT_TRUE( registry().hasThreadData() );
        };
        registry().removeThreadData( DELETE_AND_CLEAR );
        EXPECT_FALSE( registry().hasThreadData() );
    } ).join();
    EXPECT_THAT( deleted, ElementsAre( 0, 1, 0 ) );
}

TEST_F( LkThreadOpaqueDataTest, ThreadThatJustEndsLeavesNothingBehind ) {
    LkThreadId id;
    TestThread( [&] {
        id.setCurrentThread();
        for( std::size_t i = 0; i < NB_SLOTS; ++i ) {
            use( i );
        }
        slots[2].whileDeleting = [] { throw ExInternalError( QV_HERE, "wanted by the test" ); };
        slots[5].whileDeleting = [] {
            slots[5].whileDeleting = nullptr;
            use( 0 );
        };
    } ).join();
    EXPECT_THAT( deleted, ElementsAre( 0, 1, 2, 3, 4, 5, 6, 7, 0 ) );
    EXPECT_FALSE( registry().hasThreadData( id ) );
}

TEST_F( LkThreadOpaqueDataTest, DataUsedByAnothersEndOfThreadIsFreedToo ) {
    // A foreign library's notice of the thread's end, which comes three times and uses a slot.
    static pthread_key_t foreignKey;
    static int nbNotices;
    nbNotices = 0;
    ASSERT_EQ( ::pthread_key_create( &foreignKey,
                                     []( void* value ) {
                                         use( 1 );
                                         if( ++nbNotices < 3 ) {
                                             ::pthread_setspecific( foreignKey, value );
                                         }
                                     } ),
               0 );
    LkThreadId id;
    TestThread( [&] {
        id.setCurrentThread();
        use( 0 );
        ::pthread_setspecific( foreignKey, &foreignKey );
    } ).join();
    ::pthread_key_delete( foreignKey );
    EXPECT_EQ( nbNotices, 3 );
    EXPECT_FALSE( registry().hasThreadData( id ) );
    EXPECT_EQ( deleted.size(),
               static_cast<std::size_t>( slots[0].nbCreated + slots[1].nbCreated ) );
}

TEST_F( LkThreadOpaqueDataTest, SlotOutlivesItsOwnerWhileAThreadHasAValue ) {
    HoldPoint filled( "filled" );
    TestThread thread( [&] {
        use( 0 );
        filled.pass();
    } );
    filled.waitUntilReached();
    LkThreadOpaqueData* const data = slots[0].data.get();
    EXPECT_EQ( data->getRefCount(), 2 );
    slots[0].data.reset();
    EXPECT_EQ( data->getRefCount(), 1 );
    filled.release();
    thread.join();
    EXPECT_THAT( deleted, ElementsAre( 0 ) );
}

/// A slot that the registry refuses, and whose value can't be deleted either.
class RefusedSlot final : public LkThreadOpaqueData {
public:
    RefusedSlot()
        : LkThreadOpaqueData(
              "refused", [] { return static_cast<void*>( &nbDeletes ); },
              []( void* ) {
                  ++nbDeletes;
                  throw ExInternalError( QV_HERE, "deleter" );
              } ) {}

    static inline int nbDeletes = 0;

private:
    bool isNull() const override { return _value == nullptr; }
    void* getValue() const override { return _value; }
    void setValue( void* data ) const override { _value = data; }
    void registerData() const override { throw ExInternalError( QV_HERE, "registration" ); }
    void unregisterData( LkThreadDataTypes::DeleteAction ) const override {}

    mutable void* _value = nullptr;
};

TEST_F( LkThreadOpaqueDataTest, FailedDeleterDoesntHideTheFailureOfTheRegistration ) {
    const RCShdPtr<const LkThreadOpaqueData> slot( new RefusedSlot );
    // Twice: the slot isn't left busy.
    for( int nbCalls = 1; nbCalls <= 2; ++nbCalls ) {
        expectInternalError( [&] { slot->getPointee(); }, "registration" );
        EXPECT_EQ( RefusedSlot::nbDeletes, nbCalls );
    }
}

TEST_F( LkThreadOpaqueDataTest, FailedCallsOfTheSystemAreNamed ) {
    std::vector<RCShdPtr<LkThreadOpaqueData>> all;
    EXPECT_THAT( raisedBy<ExAssertionFailed>( [&] {
                     for( ;; ) {
                         all.push_back( LkThreadOpaqueDataFactory::create(
                             "one too many", &create<0>, &destroy<0> ) );
                     }
                 } ),
                 AllOf( HasSubstr( "\"::pthread_key_create( &_tlsIndex, nullptr ) == 0\"" ),
                        HasSubstr( std::strerror( EAGAIN ) ) ) );
    const auto* const unaligned = reinterpret_cast<const std::atomic<std::uint32_t>*>( 1 );
    EXPECT_THAT( raisedBy<ExAssertionFailed>( [&] { LkFutex::wakeOne( unaligned ); } ),
                 AllOf( HasSubstr( "::syscall( SYS_futex, word, FUTEX_WAKE_PRIVATE" ),
                        HasSubstr( std::strerror( EINVAL ) ) ) );
}

constexpr const char* WAIT_AT_THE_END = "QV_TEST_WAIT_AT_THE_END";
constexpr int HAS_WAITED = 42;

/// Ends after the statics of all other files, and of all that was first called since the start of
/// `main`. With the environment variable set a thread then waits for the first time, and ends the
/// process with HAS_WAITED if it can.
class LastStatic {
public:
    ~LastStatic() {
        if( std::getenv( WAIT_AT_THE_END ) != nullptr ) {
            std::thread( [] {
                const LkLock lock( "late" );
                const LkTimedCondVar condVar( "late" );
                const LkGuard<const LkLock> guard( lock );
                static_cast<void>( condVar.timedWait( guard, 0.0 ) );
                LkWaitEntry::getEntry();
            } ).join();
            ::_exit( HAS_WAITED );
        }
    }
};
__attribute__( ( init_priority( 101 ) ) ) LastStatic lastStatic;

TEST( LkWaitEntryTest, ThreadsMayWaitForTheFirstTimeWhileTheProcessEnds ) {
    EXPECT_EXIT(
        {
            ::setenv( WAIT_AT_THE_END, "1", 1 );
            // A test in which other threads wait.
            ::execl( "/proc/self/exe", "locksTest", "--gtest_filter=LkWaitEntryTest.Memory*",
                     nullptr );
        },
        ::testing::ExitedWithCode( HAS_WAITED ), "" );
}

TEST( LkWaitEntryTest, MemoryOfAnEndedThreadsEntryServesALaterThread ) {
    std::pair<const LkWaitEntry*, const LkTimedWaitEntry*> entries[2];
    for( auto& entry : entries ) {
        TestThread( [&] {
            entry = { &LkWaitEntry::getEntry(), &LkTimedWaitEntry::getEntry() };
        } ).join();
    }
    EXPECT_NE( entries[0].first, nullptr );
    EXPECT_NE( entries[0].second, nullptr );
    EXPECT_EQ( entries[0], entries[1] );
}

} // namespace
} // namespace Qv
