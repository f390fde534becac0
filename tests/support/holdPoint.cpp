#include <tests/support/holdPoint.h>

#include <tests/support/deadline.h>

#include <string>

namespace Qv {

HoldPoint::HoldPoint( const char* name )
    : _name( name ) {}

void HoldPoint::pass() {
    std::unique_lock lock( _mutex );
    ++_nbReached;
    _changed.notify_all();
    if( !_changed.wait_until( lock, deadlineFromNow(), [this] { return _isReleased; } ) ) {
        failHang( ( std::string( "Nobody released the hold point: " ) + _name ).c_str() );
    }
}

void HoldPoint::waitUntilReached( int nbThreads ) {
    std::unique_lock lock( _mutex );
    if( !_changed.wait_until( lock, deadlineFromNow(), [&] { return _nbReached >= nbThreads; } ) ) {
        failHang( ( std::string( "Too few threads came to the hold point: " ) + _name ).c_str() );
    }
}

void HoldPoint::release() {
    const std::lock_guard lock( _mutex );
    _isReleased = true;
    _changed.notify_all();
}

} // namespace Qv
