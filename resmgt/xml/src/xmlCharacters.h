#pragma once

#include <resmgt/xml/src/xmlBytes.h>

#include <cstddef>
#include <string_view>

/// What XML 1.0 allows in documents.
namespace Qv::XmlCharacters {

/// Production 2, "Char".
constexpr bool isCharacter( char32_t code ) noexcept {
    return code >= 0x20 ? code <= 0xD7FF || ( code >= 0xE000 && code <= 0xFFFD ) ||
                              ( code >= 0x10000 && code <= 0x10FFFF )
                        : code == '\t' || code == '\n' || code == '\r';
}

/// Where the first character stands that XML doesn't allow, or the first byte that isn't UTF-8;
/// `npos` if there is neither.
std::size_t findForbidden( std::string_view text ) noexcept;

/// Production 5, "Name", with the letters of the fourth edition (appendix B): all parsers know
/// these, and few know the more that the fifth has.
bool isName( std::string_view text ) noexcept;

/// Bit i is set if byte i is of 0x20 to 0x7F, which all are characters.
template <class Bytes>
unsigned int findPlain( const Bytes& bytes ) noexcept {
    return ~( bytes | bytes.atMost( 0x1F ) ).mask();
}

} // namespace Qv::XmlCharacters
