#include <resmgt/xml/xmlNode.h>

#include <base/text/ascii.h>

#include <algorithm>
#include <cstdint>

namespace Qv {

namespace {

struct Range {
    char32_t first;
    char32_t last;
};

// https://www.w3.org/TR/xml/#NT-NameStartChar, beyond ASCII.
constexpr Range STARTS[] = { { 0xc0, 0xd6 },     { 0xd8, 0xf6 },     { 0xf8, 0x2ff },
                             { 0x370, 0x37d },   { 0x37f, 0x1fff },  { 0x200c, 0x200d },
                             { 0x2070, 0x218f }, { 0x2c00, 0x2fef }, { 0x3001, 0xd7ff },
                             { 0xf900, 0xfdcf }, { 0xfdf0, 0xfffd }, { 0x10000, 0xeffff } };
// https://www.w3.org/TR/xml/#NT-NameChar, those that aren't above.
constexpr Range OTHERS[] = { { 0xb7, 0xb7 }, { 0x300, 0x36f }, { 0x203f, 0x2040 } };

template <std::size_t N>
bool isIn( const Range ( &ranges )[N], char32_t c ) noexcept {
    return std::ranges::any_of( ranges,
                                [&]( const Range& r ) { return r.first <= c && c <= r.last; } );
}

bool isStart( char32_t c ) noexcept {
    return c < 0x80 ? Ascii::isLetter( c ) || c == '_' || c == ':' : isIn( STARTS, c );
}

bool isPart( char32_t c ) noexcept {
    return isStart( c ) ||
           ( c < 0x80 ? Ascii::isDigit( c ) || c == '-' || c == '.' : isIn( OTHERS, c ) );
}

/// Takes the first character off `text`, which isn't empty. One that is ill-formed becomes 0, which
/// is in no name.
char32_t takeCharacter( std::string_view& text ) noexcept {
    const auto at = [&]( std::size_t i ) { return static_cast<unsigned char>( text[i] ); };
    const unsigned lead = at( 0 );
    const std::size_t length = lead < 0x80   ? 1
                               : lead < 0xc2 ? 0
                               : lead < 0xe0 ? 2
                               : lead < 0xf0 ? 3
                               : lead < 0xf5 ? 4
                                             : 0;
    if( length == 0 || length > text.size() ) {
        text = {};
        return 0;
    }
    char32_t c = length == 1 ? lead : lead & ( 0x7fU >> length );
    bool isWhole = true;
    for( std::size_t i = 1; i < length; ++i ) {
        isWhole = isWhole && ( at( i ) & 0xc0U ) == 0x80;
        c = c << 6 | ( at( i ) & 0x3fU );
    }
    constexpr char32_t LEAST[] = { 0, 0, 0x80, 0x800, 0x10000 };
    text.remove_prefix( length );
    return isWhole && c >= LEAST[length] ? c : 0;
}

} // namespace

XmlNode::~XmlNode() = default;

bool XmlNode::isName( std::string_view text ) noexcept {
    if( text.empty() || !isStart( takeCharacter( text ) ) ) {
        return false;
    }
    while( !text.empty() ) {
        if( !isPart( takeCharacter( text ) ) ) {
            return false;
        }
    }
    return true;
}

} // namespace Qv
