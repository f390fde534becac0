#include <resmgt/literals/liEx.h>

#include <base/text/printable.h>

namespace Qv {

namespace {

constexpr std::size_t LONGEST_QUOTE = 120;

constexpr bool goesOn( char byte ) noexcept {
    return ( static_cast<unsigned char>( byte ) & 0xc0U ) == 0x80U;
}

/// The beginning of `text`, at most `maxBytes` long, without a part of a character at its end.
/// Bytes that aren't UTF-8 count as characters.
constexpr std::string_view startOf( std::string_view text, std::size_t maxBytes ) noexcept {
    if( text.size() <= maxBytes ) {
        return text;
    }
    // No character has more than three bytes behind its first.
    std::size_t end = maxBytes;
    while( end > 0 && maxBytes - end < 3 && goesOn( text[end] ) ) {
        --end;
    }
    return text.substr( 0, goesOn( text[end] ) ? maxBytes : end );
}

/// The beginning of `text` for one line of a message.
std::string quote( std::string_view text, std::size_t longest = LONGEST_QUOTE ) {
    return '"' + Printable::makeLine( startOf( text, longest ) ) + '"';
}

std::string quoteCharacter( std::string_view text ) {
    std::size_t length = 1;
    while( startOf( text, length ).size() < length ) {
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
