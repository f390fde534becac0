#include <tests/support/script.h>

#include <tests/support/deadline.h>

#include <string>

namespace Qv {

Script::Script( const char* name )
    : _name( name ) {}

void Script::step( int number, const std::function<void()>& body ) {
    waitFor( number - 1 );
    struct Done {
        Script& script;
        ~Done() {
            const std::lock_guard lock( script._mutex );
            ++script._nbDone;
            script._stepDone.notify_all();
        }
    } const done{ *this };
    body();
}

void Script::waitFor( int number ) {
    std::unique_lock lock( _mutex );
    if( !_stepDone.wait_until( lock, deadlineFromNow(), [&] { return _nbDone >= number; } ) ) {
        failHang( ( std::string( "Script '" ) + _name + "' stands after step " +
                    std::to_string( _nbDone ) + "; waited for step " + std::to_string( number ) )
                      .c_str() );
    }
}

} // namespace Qv
