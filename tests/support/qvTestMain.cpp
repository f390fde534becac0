#include <base/init/inInitGuard.h>

#include <tests/support/watchdog.h>

#include <gmock/gmock.h>

#include <string>

namespace {

class WatchedTests : public ::testing::EmptyTestEventListener {
public:
    explicit WatchedTests( Qv::Watchdog& watchdog )
        : _watchdog( watchdog ) {}

    void OnTestStart( const ::testing::TestInfo& test ) override {
        _watchdog.enterPhase( std::string( "Test " ) + test.test_suite_name() + "." + test.name() );
    }
    void OnTestProgramEnd( const ::testing::UnitTest& ) override {
        _watchdog.enterPhase( "The stop of the packages" );
    }

private:
    Qv::Watchdog& _watchdog;
};

int runTests( int& argc, const char* const*& argv, Qv::Watchdog& watchdog ) {
    const Qv::InInitGuard packages( argc, argv );
    ::testing::UnitTest::GetInstance()->listeners().Append( new WatchedTests( watchdog ) );
    return RUN_ALL_TESTS();
}

} // namespace

int main( int argc, char** argv ) {
    ::testing::InitGoogleMock( &argc, argv );
    // The other style forks a process that has threads.
    GTEST_FLAG_SET( death_test_style, "threadsafe" );
    const char* const* arguments = argv;
    Qv::Watchdog watchdog( "The start of the packages" );
    return runTests( argc, arguments, watchdog );
}
