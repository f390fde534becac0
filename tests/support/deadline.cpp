#include <tests/support/deadline.h>

#include <tests/support/testSettings.h>
#include <tests/support/threadStacks.h>

#include <cstdio>
#include <cstdlib>
#include <string>
#include <thread>

namespace Qv {

namespace {

constexpr double WAIT_SECONDS = 60.0;
constexpr auto POLL_INTERVAL = std::chrono::microseconds( 200 );

} // namespace

std::chrono::steady_clock::time_point deadlineFromNow() {
    const std::chrono::duration<double> span( WAIT_SECONDS * testSlowdown() );
    return std::chrono::steady_clock::now() +
           std::chrono::duration_cast<std::chrono::steady_clock::duration>( span );
}

void failHang( const char* text ) {
    std::fflush( stdout );
    std::fprintf( stderr, "\n[  HANG    ] %s\n", text );
    printThreadStacks();
    std::_Exit( 3 );
}

void waitUntil( const std::function<bool()>& condition, const char* what ) {
    const auto deadline = deadlineFromNow();
    while( !condition() ) {
        if( std::chrono::steady_clock::now() > deadline ) {
            failHang( ( std::string( "This never came: " ) + what ).c_str() );
        }
        std::this_thread::sleep_for( POLL_INTERVAL );
    }
}

} // namespace Qv
