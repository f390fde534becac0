#pragma once

#include <base/qvBaseApi.h>

#include <array>
#include <compare>
#include <cstdint>
#include <string>

namespace Qv {

/// Universally unique identifier of version 4 (random) and the variant of RFC 4122.
class QV_BASE_API Uuid {
public:
    /// Asks a constructor for a new identifier.
    enum CreateEnum { CREATE };

    /// A new one, from the system's random source. Raises ExSysErrorANSI if that fails.
    explicit Uuid( CreateEnum create );

    /// Canonical text: 36 characters, small hexadecimal digits in groups of 8, 4, 4, 4 and 12.
    std::string toString() const;

    /// Orders as the texts do.
    friend std::strong_ordering operator<=>( const Uuid&, const Uuid& ) = default;

private:
    /// In the order of the text.
    std::array<std::uint8_t, 16> _bytes;
};

} // namespace Qv
