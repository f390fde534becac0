#include <resmgt/logger/src/lgStartText.h>

#include <ctime>

#include <time.h>

namespace Qv {

std::string LgStartText::makeDated( const char* text ) {
    // The least that ctime_r may be given.
    constexpr std::size_t SIZE = 26;
    const std::time_t now = ::time( nullptr );
    char date[SIZE];
    const char* const written = ::ctime_r( &now, date );
    return std::string( text ) + ( written != nullptr ? written : "\n" );
}

} // namespace Qv
