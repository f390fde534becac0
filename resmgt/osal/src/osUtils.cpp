#include <resmgt/osal/osUtils.h>

#include <resmgt/osal/osEnv.h>

#include <cstdlib>

namespace Qv {

std::string OsUtils::getUserName( bool isAccount ) {
    if( !isAccount ) {
        for( const char* const variable : { "LOGNAME", "USER" } ) {
            std::string name;
            if( OsEnv::getVariable( name, variable ) && !name.empty() ) {
                return name;
            }
        }
    }
    return performGetUserName();
}

void OsUtils::exitOnCrash() {
    std::_Exit( 1 );
}

} // namespace Qv
