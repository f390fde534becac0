#include <resmgt/osal/osEnv.h>
#include <resmgt/osal/osFilePath.h>

#include <cstdlib>
#include <unistd.h>

namespace Qv {

std::string OsEnv::performGetSeparator( const std::string& name ) {
    return name == "PATH" ? ":" : OsFilePath::getMultiPathSeparator();
}

bool OsEnv::performChange( const char* name, const char* value ) {
    return ( value != nullptr ? ::setenv( name, value, 1 ) : ::unsetenv( name ) ) == 0;
}

const char* const* OsEnv::performGetAll() {
    return environ;
}

} // namespace Qv
