#include <tests/support/watchdog.h>

#include <tests/support/deadline.h>
#include <tests/support/testSettings.h>

#include <cstdlib>

namespace Qv {

namespace {

constexpr double PHASE_SECONDS = 120.0;

double phaseSeconds() {
    const char* const text = std::getenv( "QV_TEST_DEADLINE" );
    return text ? std::strtod( text, nullptr ) : PHASE_SECONDS * testSlowdown();
}

} // namespace

Watchdog::Watchdog( const char* firstPhase )
    : _span( phaseSeconds() ) {
    enterPhase( firstPhase );
    _thread = std::thread( [this] { watch(); } );
}

Watchdog::~Watchdog() {
    {
        const std::lock_guard lock( _mutex );
        _isOver = true;
        _changed.notify_all();
    }
    _thread.join();
}

void Watchdog::enterPhase( const std::string& name ) {
    const std::lock_guard lock( _mutex );
    _phase = name;
    _deadline = std::chrono::steady_clock::now() +
                std::chrono::duration_cast<std::chrono::steady_clock::duration>( _span );
}

void Watchdog::watch() {
    std::unique_lock lock( _mutex );
    while( !_isOver ) {
        const auto deadline = _deadline;
        _changed.wait_until( lock, deadline );
        if( !_isOver && std::chrono::steady_clock::now() >= _deadline ) {
            failHang( ( _phase + " lasts longer than its deadline" ).c_str() );
        }
    }
}

} // namespace Qv
