#pragma once

#include <sstream>
#include <string>

namespace Qv {

/// What an object writes to a stream by its `dump`, else by `<<`.
template <class Object>
std::string dumpOf( const Object& object ) {
    std::ostringstream text;
    if constexpr( requires { object.dump( text ); } ) {
        object.dump( text );
    } else {
        text << object;
    }
    return text.str();
}

} // namespace Qv
