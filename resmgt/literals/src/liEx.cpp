#include <resmgt/literals/liEx.h>

#include <algorithm>
#include <cstdio>

namespace Qv {

namespace {

bool isControl( char c ) {
    return ( c >= 0 && c < ' ' ) || c == '\x7f';
}

/// Whether a character of UTF-8 goes on at `place`.
bool goesOn( const std::string& text, std::size_t place ) {
    return place < text.size() && ( static_cast<unsigned char>( text[place] ) & 0xc0 ) == 0x80;
}

/// The part of `text` from `begin` to `end` and to the end of the character there, for one line.
std::string quote( const std::string& text, std::size_t begin, std::size_t end ) {
    // No character has more bytes.
    for( const std::size_t limit = end + 3; end < limit && goesOn( text, end ); ) {
        ++end;
    }
    std::string quoted = text.substr( begin, end - begin );
    // Reasons end at a zero character.
    std::replace_if( quoted.begin(), quoted.end(), isControl, '?' );
    return '"' + quoted + '"';
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
    const std::string where =
        place < label.size() ? quote( label, place, place + 1 ) : std::string( "the end" );
    char reason[512];
    std::snprintf( reason, sizeof( reason ),
                   "%s is no timecode of the format \"%.80s\": at character %zu, %s: %.80s.",
                   quote( label, 0, 120 ).c_str(), format.c_str(), place + 1, where.c_str(),
                   problem.c_str() );
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
