#include <resmgt/initVars/envVar.h>
#include <resmgt/initVars/src/envNumber.h>

#include <cstring>
#include <locale.h>
#include <stdlib.h>
#include <string>

namespace Qv {

int EnvVar::putEnv( const char* assignment ) {
    const char* const value = std::strchr( assignment, '=' );
    if( value == nullptr ) {
        return unsetenv( assignment );
    }
    const std::string name( assignment, value );
    return setenv( name.c_str(), value + 1, 1 );
}

double readDouble( const char* text ) {
    static const locale_t classic = newlocale( LC_ALL_MASK, "C", nullptr );
    return strtod_l( text, nullptr, classic );
}

} // namespace Qv
