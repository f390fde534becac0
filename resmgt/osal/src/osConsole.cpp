#include <resmgt/osal/osConsole.h>

#include <resmgt/osal/osEnv.h>

#include <cstdio>
#include <cstdlib>
#include <string>

namespace Qv {

namespace {

bool isOpen = false;

} // namespace

void OsConsole::open() {
    std::string value;
    const bool isAsked =
        OsEnv::getVariable( value, "QV_CONSOLE" ) && std::strtol( value.c_str(), nullptr, 10 ) != 0;
    if( isAsked ) {
        performOpen();
        isOpen = true;
    }
}

void OsConsole::close() {
    if( isOpen ) {
        std::fputs( "\n\nPress any key to continue", stdout );
        std::fflush( stdout );
        performWaitForKey();
        isOpen = false;
    }
}

} // namespace Qv
