#include <base/text/printable.h>

#include <base/text/utf.h>

#include <algorithm>

namespace Qv {

namespace {

constexpr bool isPlain( char c ) noexcept {
    return c >= ' ' && c <= '~';
}

constexpr bool isControl( char32_t code ) noexcept {
    return code < ' ' || ( code >= 0x7f && code <= 0x9f );
}

template <class IsKept>
std::string clean( std::string_view text, IsKept isKept ) {
    const auto isUntouched = [&]( char c ) { return isPlain( c ) || isKept( c ); };
    const auto end = std::ranges::find_if_not( text, isUntouched );
    auto position = static_cast<std::size_t>( end - text.begin() );
    std::string result( text.substr( 0, position ) );
    result.reserve( text.size() );
    while( position < text.size() ) {
        const bool isUntouchedByte = isUntouched( text[position] );
        const char32_t code = Utf::takeNarrow( text, position );
        if( isUntouchedByte || ( Utf::isCharacter( code ) && !isControl( code ) ) ) {
            Utf::appendNarrow( result, code );
        } else {
            result += '?';
        }
    }
    return result;
}

} // namespace

std::string Printable::makeText( std::string_view text ) {
    return clean( text, []( char c ) { return c == '\n' || c == '\t'; } );
}

std::string Printable::makeLine( std::string_view text ) {
    return clean( text, []( char ) { return false; } );
}

} // namespace Qv
