#include <base/failure/assertions.h>
#include <base/init/inInit.h>
#include <base/init/src/inPackageFrame.h>
#include <tests/support/raisedBy.h>

#include <gmock/gmock.h>

#include <algorithm>
#include <string>
#include <vector>

namespace Qv {

namespace {

using ::testing::AllOf;
using ::testing::ElementsAre;
using ::testing::EndsWith;
using ::testing::HasSubstr;

struct A {};
struct B {};
struct C {};
struct D {};

using Events = std::vector<std::string>;

/// A package outside the process's frame, which notes what is done with it.
template <class Tag>
class FakePackage : public InPackageInit {
public:
    FakePackage( Events& events, const char* name, std::vector<const std::type_info*> uses )
        : InPackageInit( name )
        , _events( events ) {
        for( const std::type_info* const used : uses ) {
            InPackageInit::addDependency( used );
        }
    }

    void preInitializePackage() override {}
    void postInitializePackage() override {
        if( _failing == std::string( "finish" ) ) {
            note( "finish" );
        }
    }
    void initializePackage() override { note( "start" ); }
    void finalizePackage() override { note( "stop" ); }
    void setPackageState( bool isStarted ) override { _isStarted = isStarted; }
    const std::type_info* getIdentity() const override { return &typeid( Tag ); }

    using InPackageInit::provideSources;

    const char* _failing = "";
    bool _isStarted = false;

private:
    void note( const std::string& step ) {
        _events.push_back( step + " " + getName() );
        if( step == _failing ) {
            throw ExInternalError( QV_HERE, ( "won't " + step ).c_str() );
        }
    }

    Events& _events;
};

/// Three packages of which a uses b and c, and b uses c, in a frame of their own.
struct InPackageFrameTest : ::testing::Test {
    InPackageFrameTest() {
        _frame.add( _a );
        _frame.add( _b );
        _frame.add( _c );
    }

    std::string startFailure() {
        return raisedBy( [this] { _frame.start(); } );
    }

    Events _events;
    FakePackage<A> _a{ _events, "a", { &typeid( B ), &typeid( C ) } };
    FakePackage<B> _b{ _events, "b", { &typeid( C ) } };
    FakePackage<C> _c{ _events, "c", {} };
    InPackageFrame _frame;
};

} // namespace

TEST_F( InPackageFrameTest, StartsInDependencyOrderAndStopsInReverse ) {
    _frame.start();
    EXPECT_TRUE( _a._isStarted );
    EXPECT_THROW( _frame.start(), ExAssertionFailed );
    _frame.stop();
    EXPECT_FALSE( _a._isStarted );
    EXPECT_THAT( _events,
                 ElementsAre( "start c", "start b", "start a", "stop a", "stop b", "stop c" ) );
    _frame.start();
    _frame.stop();
    EXPECT_EQ( _events.size(), 12u );
}

TEST_F( InPackageFrameTest, AFailedStartStopsWhatHadStartedAndGoesOn ) {
    _a._failing = "start";
    EXPECT_EQ( startFailure(), "won't start" );
    EXPECT_THAT( _events, ElementsAre( "start c", "start b", "start a", "stop b", "stop c" ) );
    EXPECT_FALSE( _b._isStarted );
    EXPECT_FALSE( _frame.isStarted() );
}

TEST_F( InPackageFrameTest, APackageThatFailsBehindItsStartIsStoppedLikeTheOthers ) {
    _b._failing = "finish";
    EXPECT_EQ( startFailure(), "won't finish" );
    EXPECT_THAT( _events, ElementsAre( "start c", "start b", "finish b", "stop b", "stop c" ) );
    EXPECT_FALSE( _b._isStarted );
}

TEST( InPackageFrameOrderTest, SourcesComeFirstAndTheOrderOfLinkingDecidesNothing ) {
    Events events;
    FakePackage<A> bearer( events, "a bearer of variables", {} );
    FakePackage<B> provider( events, "provider", { &typeid( D ) } );
    FakePackage<C> other( events, "other", { &typeid( A ) } );
    FakePackage<D> needed( events, "what the provider needs", {} );
    provider.provideSources();
    std::vector<InPackageInit*> packages{ &bearer, &provider, &other, &needed };
    std::ranges::sort( packages );
    do {
        InPackageFrame frame;
        for( InPackageInit* const package : packages ) {
            frame.add( *package );
        }
        frame.start();
        EXPECT_THAT( frame.getStartedPackages(),
                     ElementsAre( &needed, &provider, &bearer, &other ) );
        frame.stop();
    } while( std::ranges::next_permutation( packages ).found );
}

TEST_F( InPackageFrameTest, AFailedStopIsReportedAndDoesNotKeepOthersFromStopping ) {
    _b._failing = "stop";
    _frame.start();
    ::testing::internal::CaptureStderr();
    _frame.stop();
    EXPECT_THAT( ::testing::internal::GetCapturedStderr(), HasSubstr( "won't stop" ) );
    EXPECT_EQ( _events.back(), "stop c" );
}

TEST_F( InPackageFrameTest, AMissingCyclicOrDoubledPackageIsNamedAndNothingStarts ) {
    FakePackage<A> second( _events, "second a", {} );
    EXPECT_THROW( _frame.add( second ), ExAssertionFailed );
    _frame.remove( _c );
    EXPECT_THAT( startFailure(),
                 AllOf( HasSubstr( "Package b depends on a package that isn't there" ),
                        EndsWith( "::C" ) ) );
    FakePackage<C> closing( _events, "c", { &typeid( A ) } );
    _frame.add( closing );
    EXPECT_THAT( startFailure(), HasSubstr( "a -> b -> c -> a" ) );
    EXPECT_TRUE( _events.empty() );
}

} // namespace Qv
