#include <tests/support/gate.h>

#include <tests/support/deadline.h>

#include <string>

namespace Qv {

Gate::Gate( const char* name )
    : _name( name ) {}

void Gate::open() {
    const std::lock_guard lock( _mutex );
    _isOpen = true;
    _opened.notify_all();
}

void Gate::wait() {
    std::unique_lock lock( _mutex );
    if( !_opened.wait_until( lock, deadlineFromNow(), [this] { return _isOpen; } ) ) {
        failHang( ( std::string( "Nobody opened the gate: " ) + _name ).c_str() );
    }
}

bool Gate::isOpen() const {
    const std::lock_guard lock( _mutex );
    return _isOpen;
}

} // namespace Qv
