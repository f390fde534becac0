#include <resmgt/literals/liEx.h>

#include <algorithm>
#include <cstdio>

namespace Qv {

namespace {

bool isControl( char c ) {
    return ( c >= 0 && c < ' ' ) || c == '\x7f';
}

} // namespace

LiEx::ExBadRate::ExBadRate( const char* file, int line, const char* rate, const char* problem )
    : ExCloneable( file, line ) {
    char reason[256];
    std::snprintf( reason, sizeof( reason ), "The rate \"%.80s\" %.120s.", rate, problem );
    setReason( reason );
}

LiEx::ExBadTimeCode::ExBadTimeCode( const char* file, int line, const std::string& label,
                                    const std::string& format, std::size_t place,
                                    const std::string& problem )
    : ExCloneable( file, line ) {
    // Reasons end at a zero character, and are for one line.
    std::string quoted = label.substr( 0, 120 );
    std::replace_if( quoted.begin(), quoted.end(), isControl, '?' );
    std::string where = "the end";
    if( place < label.size() ) {
        where = std::string( "\"" ) + ( isControl( label[place] ) ? '?' : label[place] ) + '"';
    }
    char reason[512];
    std::snprintf( reason, sizeof( reason ),
                   "\"%s\" is no timecode of the format \"%.80s\": at character %zu, %s: %.80s.",
                   quoted.c_str(), format.c_str(), place + 1, where.c_str(), problem.c_str() );
    setReason( reason );
}

LiEx::ExConversionError::ExConversionError( const char* file, int line, const char* text,
                                            const char* expected )
    : ExCloneable( file, line ) {
    char reason[256];
    std::snprintf( reason, sizeof( reason ), "\"%.120s\" is not %.80s.", text, expected );
    setReason( reason );
}

} // namespace Qv
