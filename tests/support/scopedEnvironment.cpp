#include <tests/support/scopedEnvironment.h>

#include <cstdlib>

#include <stdlib.h>

namespace Qv {

namespace {

void set( const char* name, const char* value ) {
    if( value ) {
        ::setenv( name, value, 1 );
    } else {
        ::unsetenv( name );
    }
}

} // namespace

ScopedEnvironment::ScopedEnvironment( const char* name, const char* value )
    : _name( name ) {
    if( const char* const before = std::getenv( name ) ) {
        _before = before;
    }
    set( name, value );
}

ScopedEnvironment::~ScopedEnvironment() {
    set( _name.c_str(), _before ? _before->c_str() : nullptr );
}

} // namespace Qv
