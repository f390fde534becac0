#include <resmgt/logger/lgTypes.h>

#include <base/failure/assertions.h>
#include <resmgt/logger/lgEx.h>

#include <cstring>

namespace Qv {

namespace {

constexpr const char* NAMES[LgTypes::NUM_LEVELS] = {
    "Internal Error", "Fatal Error",   "Error",   "Warning",   "User Message",
    "Support",        "Informational", "Tracing", "Profiling",
};

} // namespace

const char* LgTypes::getLevelName( Level l ) {
    QV_ASSERT_TEXT( l >= 0 && l < NUM_LEVELS, "l < NUM_LEVELS" );
    return NAMES[l];
}

LgTypes::Level LgTypes::getLevel( const char* name ) {
    QV_ASSERT( name );
    for( int l = 0; l < NUM_LEVELS; ++l ) {
        if( std::strcmp( name, NAMES[l] ) == 0 ) {
            return static_cast<Level>( l );
        }
    }
    throw LgEx::InvalidLevelString( QV_HERE, name );
}

} // namespace Qv
