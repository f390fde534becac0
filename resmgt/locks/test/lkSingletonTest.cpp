#include <base/failure/assertions.h>
#include <pluginAPI/piAppThread.h>
#include <resmgt/locks/lkEx.h>
#include <resmgt/locks/lkSingleton.imp>
#include <resmgt/locks/lkSingletonRegistry.h>
#include <resmgt/locks/src/lkSingletonRegistryImp.h>
#include <tests/support/holdPoint.h>
#include <tests/support/raisedBy.h>
#include <tests/support/testThread.h>

#include <gmock/gmock.h>
#include <unistd.h>

#include <atomic>
#include <functional>

namespace Qv {
namespace {

using ::testing::HasSubstr;

/// What the creator of a test's singleton does; `Tag` keeps the tests' singletons apart.
template <int Tag>
class Probe {
public:
    using Singleton = LkSingleton<Probe>;

    virtual ~Probe() {
        ++nbDestroyed;
        isFoundAtItsEnd = Singleton::getPointee() == this;
    }

    static OPtrRet<Probe> createInstance() {
        ++nbCreated;
        return OPtr<Probe>( create() );
    }
    static inline std::function<Probe*()> create = [] { return new Probe; };
    static inline std::atomic<int> nbCreated{ 0 };
    static inline std::atomic<int> nbDestroyed{ 0 };
    static inline bool isFoundAtItsEnd = false;
};

TEST( LkSingletonTest, ThreadsThatAskTogetherGetOneInstance ) {
    using Type = Probe<1>;
    HoldPoint creating( "creating" );
    Type::create = [&] {
        creating.pass();
        return new Type;
    };
    Type* found[2] = {};
    {
        TestThread first( [&] { found[0] = &Type::Singleton::getInstance(); } );
        creating.waitUntilReached();
        TestThread second( [&] { found[1] = &Type::Singleton::getInstance(); } );
        second.waitUntilBlocked();
        EXPECT_EQ( Type::Singleton::getState(), Type::Singleton::UNINITIALIZED );
        creating.release();
    }
    EXPECT_NE( found[0], nullptr );
    EXPECT_EQ( found[0], found[1] );
    EXPECT_EQ( Type::nbCreated, 1 );
    Type::Singleton::checkConsistency();
}

TEST( LkSingletonTest, RacesForTheInitLockEndInOneInstance ) {
    using Type = Probe<2>;
    std::atomic<int> nbReady{ 0 };
    Type* found[4] = {};
    TestThreads( 4, [&]( unsigned int number ) {
        ++nbReady;
        while( nbReady != 4 ) {}
        found[number] = &Type::Singleton::getInstance();
    } ).join();
    EXPECT_EQ( Type::nbCreated, 1 );
    EXPECT_THAT( found, ::testing::Each( Type::Singleton::getPointee() ) );
}

TEST( LkSingletonTest, FailedCreatorLeavesItToTheNextCall ) {
    using Type = Probe<3>;
    Type::create = [] { return nullptr; };
    EXPECT_THAT( raisedBy<ExAssertionFailed>( [] { Type::Singleton::getInstance(); } ),
                 HasSubstr( "pointee" ) );
    Type::Singleton::checkConsistency();
    Type::create = [] { return new Type; };
    EXPECT_NE( &Type::Singleton::getInstance(), nullptr );
    EXPECT_EQ( Type::nbCreated, 2 );
}

TEST( LkSingletonTest, EndedOrUnusedTypeIsNeverBuiltAgain ) {
    using Used = Probe<4>;
    using Unused = Probe<5>;
    Used::Singleton::getInstance();
    Used::Singleton::destroy();
    Unused::Singleton::destroy();
    EXPECT_EQ( Used::nbDestroyed, 1 );
    EXPECT_TRUE( Used::isFoundAtItsEnd );
    EXPECT_EQ( Used::Singleton::getPointee(), nullptr );
    EXPECT_EQ( Unused::Singleton::getPointee(), nullptr );
    EXPECT_EQ( Used::nbCreated, 1 );
    EXPECT_EQ( Unused::nbCreated, 0 );
    EXPECT_EQ( Unused::Singleton::getState(), Unused::Singleton::DESTROYED );
    Used::Singleton::destroy();
    EXPECT_EQ( Used::nbDestroyed, 1 );
    Unused::Singleton::checkConsistency();
}

TEST( LkSingletonTest, StatesHaveTheirNamesAndNoOthers ) {
    using Singleton = Probe<6>::Singleton;
    EXPECT_STREQ( Singleton::getStateText( Singleton::UNINITIALIZED ), "UNINITIALIZED" );
    EXPECT_STREQ( Singleton::getStateText( Singleton::INITIALIZED ), "INITIALIZED" );
    EXPECT_STREQ( Singleton::getStateText( Singleton::DESTROYED ), "DESTROYED" );
    EXPECT_THROW( Singleton::getStateText( static_cast<Singleton::State>( 3 ) ), ExProgramAborted );
}

TEST( LkSingletonRegistryTest, SecondDeclarationOfATypeIsRaisedAndTraced ) {
    LkSingletonRegistryImp silent;
    LkSingletonRegistryImp traced( true );
    ::testing::internal::CaptureStderr();
    silent.add( typeid( int ) );
    traced.add( typeid( int ) );
    traced.add( typeid( long ) );
    EXPECT_THROW( silent.add( typeid( int ) ), LkEx );
    EXPECT_THAT( raisedBy<LkEx::ExDuplicateSingleton>( [&] { traced.add( typeid( long ) ); } ),
                 HasSubstr( typeid( long ).name() ) );
    EXPECT_EQ( ::testing::internal::GetCapturedStderr(),
               "LkSingletonRegistryImp: adding i\nLkSingletonRegistryImp: adding l\n"
               "LkSingletonRegistryImp: adding l\nDuplicate singleton!\n" );
}

TEST( LkSingletonRegistryTest, ForgetsAndIgnoresTypesFromItsEndOn ) {
    LkSingletonRegistry::add( typeid( char ) );
    EXPECT_THROW( LkSingletonRegistry::add( typeid( char ) ), ExInternalError );
    // In a process of its own: there is no way back.
    EXPECT_EXIT(
        {
            LkSingletonRegistry::fini();
            LkSingletonRegistry::fini();
            LkSingletonRegistry::init();
            LkSingletonRegistry::add( typeid( char ) );
            ::_exit( 0 );
        },
        ::testing::ExitedWithCode( 0 ), "" );
}

TEST( LocksPackageTest, ThreadThatStartedThePackagesIsTheApplicationsAndNoOther ) {
    EXPECT_TRUE( PiAppThread::isCurrent() );
    TestThread( [] { EXPECT_FALSE( PiAppThread::isCurrent() ); } ).join();
}

} // namespace
} // namespace Qv
