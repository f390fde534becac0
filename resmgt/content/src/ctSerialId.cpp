#include <resmgt/content/ctSerialId.h>

#include <array>
#include <cinttypes>
#include <cstdio>
#include <ostream>

namespace Qv {

std::ostream& operator<<( std::ostream& stream, const CtSerialId& id ) {
    const std::uint64_t number = id;
    std::array<char, 24> text;
    std::snprintf( text.data(), text.size(), "%010" PRIu64 "-%010" PRIu64, number >> 32,
                   number & UINT32_MAX );
    return stream << text.data();
}

} // namespace Qv
