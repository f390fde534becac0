#pragma once

#include <cstddef>

namespace Qv {

/// Pages that a large document takes few of: to get them one by one from the system costs more than
/// to fill them.
struct XmlLargePages {
    static constexpr std::size_t SIZE = std::size_t{ 1 } << 21;

    /// For `SIZE` bytes that are aligned to it. A system that has none, or doesn't listen, gives
    /// its ordinary ones.
    static void ask( void* memory ) noexcept;
};

} // namespace Qv
