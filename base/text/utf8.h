#pragma once

#include <cstddef>
#include <string_view>

namespace Qv::Utf8 {

/// The beginning of `text`, at most `maxBytes` long, without a part of a character at its end.
/// Bytes that aren't UTF-8 count as characters.
constexpr std::string_view startOf( std::string_view text, std::size_t maxBytes ) noexcept {
    const auto goesOnAt = [=]( std::size_t place ) {
        return ( static_cast<unsigned char>( text[place] ) & 0xc0U ) == 0x80U;
    };
    if( text.size() <= maxBytes ) {
        return text;
    }
    // No character has more than three bytes behind its first.
    std::size_t end = maxBytes;
    while( end > 0 && maxBytes - end < 3 && goesOnAt( end ) ) {
        --end;
    }
    return text.substr( 0, goesOnAt( end ) ? maxBytes : end );
}

} // namespace Qv::Utf8
