#include <tests/support/scopedEnvironment.h>

#include <cstdlib>

#include <stdlib.h>

namespace Qv {

ScopedEnvironment::ScopedEnvironment( const char* name )
    : _name( name ) {
    if( const char* const value = std::getenv( name ) ) {
        _before = value;
    }
    ::unsetenv( name );
}

ScopedEnvironment::ScopedEnvironment( const char* name, const char* value )
    : ScopedEnvironment( name ) {
    ::setenv( name, value, 1 );
}

ScopedEnvironment::~ScopedEnvironment() {
    if( _before ) {
        ::setenv( _name.c_str(), _before->c_str(), 1 );
    } else {
        ::unsetenv( _name.c_str() );
    }
}

} // namespace Qv
