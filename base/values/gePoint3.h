#pragma once

namespace Qv {

/// A point in space.
template <class T>
struct GePoint3 {
    bool operator==( const GePoint3& ) const = default;

    /// The first coordinate.
    T x{};
    /// The second coordinate.
    T y{};
    /// The third coordinate.
    T z{};
};

} // namespace Qv
