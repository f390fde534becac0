#pragma once

#include <resmgt/xml/src/xmlCopy.h>

#include <array>
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
        if( size >= _short.size() || _short[size].size() != size ) {
            return assignRare( text );
        }
        std::string& result = _short[size];
        XmlCopy::copy( result.data(), text );
        return result;
    }

    /// Empty, to be filled.
    std::string& clear() {
        _long.clear();
        return _long;
    }

private:
    /// A long text, or the first of its size.
    const std::string& assignRare( std::string_view text );

    std::array<std::string, 33> _short;
    std::string _long;
};

} // namespace Qv
