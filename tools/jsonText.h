#pragma once

#include <base/text/wideStringUtil.h>

#include <cstdio>
#include <string>

namespace Qv {

/// The text as a JSON string with its quotes. That is Unicode: bytes of a name that aren't become
/// "?".
inline std::string quoteJson( const std::string& name ) {
    const std::string text = WideStringUtil::narrowReplace( WideStringUtil::widen( name ) );
    std::string quoted = "\"";
    for( const char c : text ) {
        if( c == '"' || c == '\\' ) {
            quoted += '\\';
            quoted += c;
        } else if( static_cast<unsigned char>( c ) < 0x20 ) {
            char code[8];
            std::snprintf( code, sizeof code, "\\u%04x", static_cast<unsigned>( c ) );
            quoted += code;
        } else {
            quoted += c;
        }
    }
    return quoted + '"';
}

} // namespace Qv
