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
    XmlReusedString() {
        for( std::size_t size = 0; size < _short.size(); ++size ) {
            _short[size].resize( size );
        }
    }

    /// The result stays as it is until the next call. `text` isn't part of it.
    const std::string& assign( std::string_view text ) {
        const std::size_t size = text.size();
        if( size >= _short.size() ) {
            return _long.assign( text );
        }
        std::string& result = _short[size];
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
    static void copyShort( char* to, const char* from, std::size_t size ) {
        if( size >= 8 ) {
            std::memcpy( to, from, 8 );
            std::memcpy( to + size - 8, from + size - 8, 8 );
        } else if( size >= 4 ) {
            std::memcpy( to, from, 4 );
            std::memcpy( to + size - 4, from + size - 4, 4 );
        } else if( size != 0 ) {
            to[0] = from[0];
            to[size / 2] = from[size / 2];
            to[size - 1] = from[size - 1];
        }
    }

    /// Those that need no memory besides the object.
    std::array<std::string, 16> _short;
    std::string _long;
};

} // namespace Qv
