#include <resmgt/testing/testMgr.h>

#include <base/failure/assertions.h>
#include <base/init/inBuildInfoMgr.h>
#include <pluginAPI/pxRequestMgr.h>
#include <resmgt/testing/testInform.h>
#include <tests/support/raisedBy.h>

#include <gtest/gtest.h>

#include <sstream>
#include <stdexcept>

namespace Qv {

namespace {

class Requests : public PxRequestMgr {
public:
    Requests() { initialize( this ); }
    ~Requests() override { finalize(); }
    void drain() override {
        if( std::exchange( _isRaising, false ) ) {
            throw std::runtime_error( "drained" );
        }
        ++_nbDrained;
    }
    int _nbDrained = 0;
    bool _isRaising = false;
};

/// Before the packages start.
const TestMgr manager;

TEST( TestMgrTest, TestsAreChosenByName ) {
    std::string log;
    TestGroup first( "first" );
    TestGroup second( "second" );
    for( const char* const name : { "a", "b" } ) {
        first.add( name, [&log, name] { log += std::string( "1" ) + name; } );
        second.add( name, [&log, name] { log += std::string( "2" ) + name; } );
    }
    TestMgr tests;
    tests.add( first );
    tests.add( second );
    const struct {
        std::vector<std::string> names;
        const char* log;
        int nbFailures;
    } cases[] = {
        { {}, "1a1b2a2b", 0 },
        { { "second" }, "2a2b", 0 },
        { { "second.b", "first.a" }, "1a2b", 0 },
        { { "first", "first.a" }, "1a1b", 0 },
        { { "a" }, "", 1 },
        { { "first.", "third", "second.a" }, "2a", 2 },
    };
    for( const auto& test : cases ) {
        std::ostringstream report;
        log.clear();
        EXPECT_EQ( tests.run( test.names, report ), test.nbFailures );
        EXPECT_EQ( log, test.log ) << report.str();
    }
}

TEST( TestMgrTest, FailuresAreReportedAndNoTestRunsIntoTheNext ) {
    Requests requests;
    TestGroup group( "g" );
    group.add( "ours", [] { QV_ASSERT( 1 > 2 ); } );
    group.add( "standard", [] { throw std::runtime_error( "standard" ); } );
    group.add( "foreign", [] { throw 1; } );
    group.add( "late", [&] { requests._isRaising = true; } );
    group.add( "fine", [&] { EXPECT_EQ( requests._nbDrained, 3 ); } );
    TestMgr tests;
    tests.setLeakCheck( true );
    tests.add( group );
    std::ostringstream report;
    EXPECT_EQ( tests.run( {}, report ), 4 );
    for( const char* const line :
         { "FAILED g.ours:", "1 > 2", "FAILED g.standard: standard\n",
           "FAILED g.foreign: something that is no exception\n", "FAILED g.late: drained\n",
           "passed g.fine\n", "5 tests, 4 failures\n" } ) {
        EXPECT_NE( report.str().find( line ), std::string::npos ) << line << report.str();
    }
    EXPECT_NE( raisedBy<ExAssertionFailed>( [&] { group.add( "none", nullptr ); } ), "" );
}

TEST( TestMgrTest, AStartWithinARunOfTestsRegistersARecord ) {
    EXPECT_TRUE( TestInform::isRegressionTestSuite() );
    ASSERT_TRUE( InBuildInfoMgr::isAppInfoRegistered() );
    EXPECT_STREQ( InBuildInfoMgr::getAppInfo().getVersionNumber(), "0.0" );
}

} // namespace

} // namespace Qv
