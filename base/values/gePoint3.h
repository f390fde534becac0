#pragma once

namespace Qv {

/// A point in space.
template <class T>
struct GePoint3 {
    bool operator==( const GePoint3& ) const = default;

    T x{};
    T y{};
    T z{};
};

} // namespace Qv
