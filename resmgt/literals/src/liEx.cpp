#include <resmgt/literals/liEx.h>

#include <base/text/utf8.h>

#include <algorithm>

namespace Qv {

namespace {

constexpr std::size_t LONGEST_QUOTE = 120;

bool isControl( char c ) {
    return ( c >= 0 && c < ' ' ) || c == '\x7f';
}

/// The beginning of `text` for one line of a message.
std::string quote( std::string_view text, std::size_t longest = LONGEST_QUOTE ) {
    std::string quoted( Utf8::startOf( text, longest ) );
    // Reasons end at a zero character.
    std::replace_if( quoted.begin(), quoted.end(), isControl, '?' );
    return '"' + quoted + '"';
}

std::string quoteCharacter( std::string_view text ) {
    std::size_t length = 1;
    while( Utf8::startOf( text, length ).size() < length ) {
        ++length;
    }
    return quote( text, length );
}

} // namespace

LiEx::ExBadRate::ExBadRate( const char* file, int line, const char* rate, const char* problem )
    : ExCloneable( file, line ) {
    setReason( ( "The rate " + quote( rate ) + ' ' + problem + '.' ).c_str() );
}

LiEx::ExBadTimeCode::ExBadTimeCode( const char* file, int line, const std::string& label,
                                    const std::string& format, std::size_t place,
                                    const std::string& problem )
    : ExCloneable( file, line ) {
    const std::string where = place < label.size()
                                  ? quoteCharacter( std::string_view( label ).substr( place ) )
                                  : std::string( "the end" );
    setReason( ( quote( label ) + " is no timecode of the format " + quote( format ) +
                 ": at character " + std::to_string( place + 1 ) + ", " + where + ": " + problem +
                 '.' )
                   .c_str() );
}

LiEx::ExConversionError::ExConversionError( const char* file, int line, const char* text,
                                            const char* expected )
    : ExCloneable( file, line ) {
    setReason( ( quote( text ) + " is not " + expected + '.' ).c_str() );
}

} // namespace Qv
