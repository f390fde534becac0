#pragma once

#include <cstddef>
#include <cstring>
#include <string_view>

namespace Qv::XmlCopy {

/// The number whose bytes stand at `from`, which needs no alignment.
template <class Number>
Number load( const char* from ) noexcept {
    Number result;
    std::memcpy( &result, from, sizeof( result ) );
    return result;
}

/// Of a known size, and overlapping, which is faster than one of a size that varies.
template <std::size_t SIZE>
void copyEnds( char* to, const char* from, std::size_t size ) noexcept {
    std::memcpy( to, from, SIZE );
    std::memcpy( to + size - SIZE, from + size - SIZE, SIZE );
}

/// Copies a text, which is short as a rule, and returns where the copy ends.
inline char* copy( char* to, std::string_view text ) noexcept {
    const std::size_t size = text.size();
    if( size > 32 ) {
        std::memcpy( to, text.data(), size );
    } else if( size >= 16 ) {
        copyEnds<16>( to, text.data(), size );
    } else if( size >= 8 ) {
        copyEnds<8>( to, text.data(), size );
    } else if( size >= 4 ) {
        copyEnds<4>( to, text.data(), size );
    } else if( size != 0 ) {
        to[0] = text[0];
        to[size / 2] = text[size / 2];
        to[size - 1] = text[size - 1];
    }
    return to + size;
}

/// What lies behind a text that is copied, or scanned, in whole pieces.
inline constexpr std::size_t SLACK = 16;

/// The same of a text behind which SLACK bytes can be read, to where as many can be written.
inline char* copySlack( char* to, std::string_view text ) noexcept {
    for( std::size_t done = 0; done < text.size(); done += SLACK ) {
        std::memcpy( to + done, text.data() + done, SLACK );
    }
    return to + text.size();
}

} // namespace Qv::XmlCopy
