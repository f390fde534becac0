#pragma once

#include <array>
#include <cstring>
#include <string>
#include <string_view>

namespace Qv {

/// A string that is given new text again and again.
///
/// Cost: no allocation once it has had a text as long. For short texts there is a string of each
///       length, so that nothing but the bytes changes.
class XmlReusedString {
public:
    /// The result stays as it is until the next call. `text` isn't part of it.
    const std::string& assign( std::string_view text ) {
        const std::size_t size = text.size();
        if( size >= _short.size() ) {
            return _long.assign( text );
        }
        std::string& result = _short[size];
        if( result.size() != size ) {
            result.resize( size );
        }
        copyShort( result.data(), text.data(), size );
        return result;
    }

    /// Empty, to be filled.
    std::string& clear() {
        _long.clear();
        return _long;
    }

private:
    /// Two overlapping copies of a known size are faster than one whose size varies.
    template <std::size_t SIZE>
    static void copyEnds( char* to, const char* from, std::size_t size ) {
        std::memcpy( to, from, SIZE );
        std::memcpy( to + size - SIZE, from + size - SIZE, SIZE );
    }
    /// REQUIRES: `size` is at most 32.
    static void copyShort( char* to, const char* from, std::size_t size ) {
        if( size >= 16 ) {
            copyEnds<16>( to, from, size );
        } else if( size >= 8 ) {
            copyEnds<8>( to, from, size );
        } else if( size >= 4 ) {
            copyEnds<4>( to, from, size );
        } else if( size != 0 ) {
            to[0] = from[0];
            to[size / 2] = from[size / 2];
            to[size - 1] = from[size - 1];
        }
    }

    std::array<std::string, 33> _short;
    std::string _long;
};

} // namespace Qv
