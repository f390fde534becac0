#include <base/failure/assertions.h>
#include <base/ownership/aPtr.h>
#include <base/ownership/oPtr.h>
#include <base/ownership/rcEx.h>
#include <base/ownership/rcPvtEngPtr.h>
#include <base/ownership/rcShdEngPtr.h>
#include <base/ownership/rcShdPtr.h>
#include <base/ownership/rcStrongPtr.h>
#include <base/ownership/uPtr.h>
#include <tests/support/testSettings.h>
#include <tests/support/testThread.h>

#include <gmock/gmock.h>

#include <atomic>
#include <vector>

namespace Qv {

namespace {

using ::testing::HasSubstr;

/// Counts how many of its kind are alive.
struct Counted {
    Counted() { ++alive; }
    Counted( const Counted& ) { ++alive; }
    virtual ~Counted() { --alive; }

    static inline std::atomic<int> alive{ 0 };
};

struct Shared : RCBase<LkCounter<int>>, Counted {};
struct SharedChild : Shared {};
struct LocalShared : RCBase<int>, Counted {};

struct Engine : RCBaseWithDestroy<LkCounter<int>>, Counted {
    void destroy() override { ++destroyCalls; }

    int destroyCalls = 0;
};

struct SoftShared : RCSWBase<LkCounter<int>>, Counted {};
struct SoftChild : virtual SoftShared {};
struct LocalSoft : RCSWBase<int>, Counted {};

/// Its destructor asserts, as that of a pool does which still has blocks.
struct Faulty {
    ~Faulty() noexcept( false ) { QV_ASSERT( ++reached < 0 ); }

    static inline int reached = 0;
};

/// The same with an exception that is of no family.
struct FaultyForeign {
    ~FaultyForeign() noexcept( false ) { throw 7; }
};

struct OwnershipTest : ::testing::Test {
    OwnershipTest() { Counted::alive = 0; }
    ~OwnershipTest() override { EXPECT_EQ( Counted::alive, 0 ); }
};

template <class T>
struct SharedPointerTest : OwnershipTest {};

using SharedPointers =
    ::testing::Types<RCShdPtr<Shared>, RCPvtEngPtr<Shared>, RCShdPtr<LocalShared>>;
TYPED_TEST_SUITE( SharedPointerTest, SharedPointers );

} // namespace

TYPED_TEST( SharedPointerTest, DeletesWithTheLastReference ) {
    using Pointee = std::remove_reference_t<decltype( *std::declval<TypeParam>() )>;
    auto* const object = new Pointee;
    EXPECT_EQ( object->getRefCount(), 0 );
    TypeParam first( object );
    {
        TypeParam second;
        second = first;
        const TypeParam third( second );
        EXPECT_EQ( object->getRefCount(), 3 );
        TypeParam& alias = first;
        first = alias;
        EXPECT_EQ( object->getRefCount(), 3 );
        TypeParam moved( std::move( second ) );
        EXPECT_EQ( object->getRefCount(), 3 );
    }
    EXPECT_EQ( object->getRefCount(), 1 );
    first = TypeParam( new Pointee );
    EXPECT_EQ( Counted::alive, 1 );
    EXPECT_THROW( *TypeParam(), ExNullPtr );
}

TEST_F( OwnershipTest, EnginesEndThroughDestroyAndNothingElse ) {
    Engine engine;
    {
        const RCShdEngPtr<Engine> first( &engine );
        const RCShdEngPtr<Engine> second( first );
        EXPECT_EQ( engine.destroyCalls, 0 );
    }
    EXPECT_EQ( engine.destroyCalls, 1 );
}

TEST_F( OwnershipTest, SharedPointersConvertUpAndCastDown ) {
    const RCShdPtr<Shared> base = RCShdPtr<SharedChild>( new SharedChild );
    EXPECT_EQ( base->getRefCount(), 1 );
    EXPECT_FALSE( base.cast<SharedChild>().isNull() );
    EXPECT_THAT( [] { RCShdPtr<Shared>( new Shared ).cast<SharedChild>(); },
                 ::testing::ThrowsMessage<ExCastFailed>( HasSubstr( "::Shared is no Qv::" ) ) );
    EXPECT_TRUE( RCShdPtr<Shared>().cast<SharedChild>().isNull() );
}

TEST_F( OwnershipTest, SoleOwnersHandOverAndLeaveTheSourceNull ) {
    OPtr<Counted> first( new Counted );
    OPtr<Counted> second( first );
    EXPECT_TRUE( first.isNull() );
    first = second;
    EXPECT_TRUE( second.isNull() );
    const auto pass = []( OPtr<Counted> owner ) -> OPtrRet<Counted> { return owner; };
    second = pass( first );
    EXPECT_EQ( Counted::alive, 1 );
    const auto makeChild = []() -> OPtrRet<SoftChild> { return OPtr<SoftChild>( new SoftChild ); };
    const auto makeBase = [&]() -> OPtrRet<Counted> { return makeChild(); };
    static_cast<void>( makeBase() );
    static_assert( !std::is_constructible_v<OPtrRet<SoftChild>, OPtrRet<Counted>> );
    EXPECT_EQ( Counted::alive, 1 );
    second.reset( new Counted );
    EXPECT_EQ( Counted::alive, 1 );
    static_cast<void>( pass( second ) );
    EXPECT_EQ( Counted::alive, 0 );

    APtr<Counted> array( new Counted[3] );
    APtr<Counted> taker( array );
    EXPECT_TRUE( array.isNull() );
    EXPECT_EQ( Counted::alive, 3 );
}

template <class Owner, class Pointee>
void expectNullUntilItOwns( Pointee* object ) {
    EXPECT_TRUE( Owner() == nullptr );
    const Owner owner( object );
    EXPECT_TRUE( nullptr != owner );
}

TEST_F( OwnershipTest, OwnersCompareWithNull ) {
    expectNullUntilItOwns<OPtr<Counted>>( new Counted );
    expectNullUntilItOwns<APtr<Counted>>( new Counted[2] );
    expectNullUntilItOwns<RCShdPtr<Shared>>( new Shared );
    expectNullUntilItOwns<RCStrongPtr<SoftShared>>( new SoftShared );
    Counted plain;
    expectNullUntilItOwns<UPtr<Counted>>( &plain );
}

TEST_F( OwnershipTest, AnOwnerReportsADestructorThatThrowsAndGoesOn ) {
    ::testing::internal::CaptureStderr();
    Faulty::reached = 0;
    OPtr<Faulty>( new Faulty ).reset();
    EXPECT_EQ( Faulty::reached, 1 );
    OPtr<FaultyForeign>( new FaultyForeign ).reset();
    const std::string reported = ::testing::internal::GetCapturedStderr();
    EXPECT_THAT( reported, HasSubstr( "++reached < 0" ) );
    EXPECT_THAT( reported, HasSubstr( "type int in a destructor" ) );
}

TEST_F( OwnershipTest, WeakPointersKnowWithoutKeeping ) {
    RCWeakPtr<SoftShared> weak;
    EXPECT_TRUE( weak.isExpired() );
    {
        RCStrongPtr<SoftShared> strong( new SoftShared );
        weak = strong;
        RCStrongPtr<SoftShared> other( weak );
        EXPECT_EQ( strong.getCounter()->getStrongCount(), 2 );
        other.assign( strong );
        EXPECT_EQ( strong.getCounter()->getStrongCount(), 2 );
        other = RCStrongPtr<SoftShared>( new SoftShared );
        EXPECT_FALSE( RCWeakAccessor<SoftShared>( weak ).isNull() );
    }
    EXPECT_EQ( Counted::alive, 0 );
    EXPECT_TRUE( weak.isExpired() );
    EXPECT_TRUE( RCStrongPtr<SoftShared>( weak ).isNull() );
    EXPECT_TRUE( RCWeakAccessor<SoftShared>( weak ).isNull() );

    RCWeakPtr<Counted> plain;
    {
        RCStrongPtr<Counted> strong( new Counted );
        plain = strong;
        const RCStrongPtr<Counted> other( strong );
        strong = RCStrongPtr<Counted>();
        EXPECT_EQ( RCStrongPtr<Counted>( plain ).get(), other.get() );
    }
    EXPECT_EQ( Counted::alive, 0 );
    EXPECT_TRUE( plain.isExpired() );

    RCWeakPtr<SoftShared> base;
    RCWeakPtr<SoftChild> child;
    {
        const RCStrongPtr<SoftChild> strong( new SoftChild );
        child = strong;
        base = strong;
        EXPECT_TRUE( base == RCWeakPtr<SoftShared>( child ) );
        EXPECT_EQ( RCStrongPtr<SoftShared>( base ).get(), strong.get() );
        EXPECT_EQ( strong.getCounter()->getStrongCount(), 1 );
    }
    // The way to a virtual base is gone with the object.
    EXPECT_TRUE( RCStrongPtr<SoftShared>( RCWeakPtr<SoftShared>( child ) ).isNull() );
    EXPECT_TRUE( base == RCWeakPtr<SoftShared>( child ) );

    RCWeakBasePtr<LocalSoft, int> local;
    {
        const RCStrongBasePtr<LocalSoft, int> strong( new LocalSoft );
        local = strong;
        EXPECT_FALSE( ( RCStrongBasePtr<LocalSoft, int>( local ).isNull() ) );
    }
    EXPECT_TRUE( ( RCStrongBasePtr<LocalSoft, int>( local ).isNull() ) );
}

TEST_F( OwnershipTest, AWeakPointerNeverRevivesAnObjectThatAnotherThreadLetsGo ) {
    const auto count = static_cast<std::size_t>( scaledCount( 100000 ) );
    std::vector<RCStrongPtr<SoftShared>> strong;
    std::vector<RCWeakPtr<SoftShared>> weak;
    for( std::size_t i = 0; i < count; ++i ) {
        strong.emplace_back( new SoftShared );
        weak.emplace_back( strong.back() );
    }
    TestThread reader( [&] {
        for( const RCWeakPtr<SoftShared>& object : weak ) {
            // Until the other thread lets it go, or this one is the last to do so.
            while( !object.isExpired() ) {
                const RCStrongPtr<SoftShared> taken( object );
                EXPECT_TRUE( taken.isNull() || taken.getCounter()->getStrongCount() > 0 );
            }
            EXPECT_TRUE( RCStrongPtr<SoftShared>( object ).isNull() );
        }
    } );
    for( RCStrongPtr<SoftShared>& object : strong ) {
        object = RCStrongPtr<SoftShared>();
    }
    reader.join();
    EXPECT_EQ( Counted::alive, 0 );
}

} // namespace Qv
