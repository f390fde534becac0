#include <base/init/inInitGuard.h>

#include <tests/support/deadline.h>
#include <tests/support/testSettings.h>

#include <gmock/gmock.h>

#include <chrono>
#include <condition_variable>
#include <cstdlib>
#include <mutex>
#include <string>
#include <thread>

namespace Qv {

namespace {

/// Turns a hang into a failure: a phase that lasts longer than 120 seconds times `testSlowdown()`,
/// or than `QV_TEST_DEADLINE` says, ends the process with the stacks of all threads. A phase is the
/// start of the packages, one test, or their stop.
class Watchdog : public ::testing::EmptyTestEventListener {
public:
    Watchdog() {
        enterPhase( "The start of the packages" );
        _thread = std::thread( [this] { watch(); } );
    }
    ~Watchdog() override {
        {
            const std::lock_guard lock( _mutex );
            _isOver = true;
            _changed.notify_all();
        }
        _thread.join();
    }

    void OnTestStart( const ::testing::TestInfo& test ) override {
        enterPhase( std::string( "Test " ) + test.test_suite_name() + "." + test.name() );
    }
    void OnTestProgramEnd( const ::testing::UnitTest& ) override {
        enterPhase( "The stop of the packages" );
    }

private:
    static double phaseSeconds() {
        const char* const text = std::getenv( "QV_TEST_DEADLINE" );
        return text ? std::strtod( text, nullptr ) : 120.0 * testSlowdown();
    }

    void enterPhase( const std::string& name ) {
        const std::lock_guard lock( _mutex );
        _phase = name;
        _deadline = std::chrono::steady_clock::now() +
                    std::chrono::duration_cast<std::chrono::steady_clock::duration>( _span );
    }

    void watch() {
        std::unique_lock lock( _mutex );
        while( !_isOver ) {
            const auto deadline = _deadline;
            _changed.wait_until( lock, deadline );
            if( !_isOver && std::chrono::steady_clock::now() >= _deadline ) {
                failHang( ( _phase + " lasts longer than its deadline" ).c_str() );
            }
        }
    }

    const std::chrono::duration<double> _span{ phaseSeconds() };
    std::mutex _mutex;
    std::condition_variable _changed;
    std::string _phase;
    std::chrono::steady_clock::time_point _deadline;
    bool _isOver = false;
    std::thread _thread;
};

/// Unless the test's environment has settings of its own: no default files, no event log.
void keepLogsAway() {
    ::setenv( "QV_LOG_UNSPECIFIED", "--", 0 );
    ::setenv( "QV_LOG_DISABLE_EVENTLOG", "1", 0 );
}

Watchdog* listener = nullptr;

/// The framework would delete it.
void releaseListener() {
    ::testing::UnitTest::GetInstance()->listeners().Release( listener );
}

int runTests( int& argc, char**& argv, Watchdog& watchdog ) {
    const InInitGuard packages( argc, argv );
    listener = &watchdog;
    ::testing::UnitTest::GetInstance()->listeners().Append( listener );
    // A test may end its process by `exit`.
    std::atexit( releaseListener );
    const int status = RUN_ALL_TESTS();
    releaseListener();
    return status;
}

} // namespace

} // namespace Qv

int main( int argc, char** argv ) {
    Qv::keepLogsAway();
    ::testing::InitGoogleMock( &argc, argv );
    // The other style forks a process that has threads.
    GTEST_FLAG_SET( death_test_style, "threadsafe" );
    Qv::Watchdog watchdog;
    return Qv::runTests( argc, argv, watchdog );
}
