#pragma once

#include <cerrno>

namespace Qv {

/// Repeats a call of the system that fails with -1 for as long as a signal ends it.
template <class Call>
auto retry( Call call ) {
    auto result = call();
    while( result == -1 && errno == EINTR ) {
        result = call();
    }
    return result;
}

} // namespace Qv
