#pragma once

#include <base/qvBaseApi.h>

#include <cstdint>
#include <iosfwd>

namespace Qv {

/// A position in time, counted in the units of some rate; an integer of 64 bits that takes part in
/// integer arithmetic as such.
class DtTimeIndex {
public:
    constexpr DtTimeIndex( std::int64_t value = 0 ) noexcept
        : _value( value ) {}

    constexpr operator std::int64_t() const noexcept { return _value; }
    constexpr std::int64_t getValue() const noexcept { return _value; }

private:
    std::int64_t _value;
};

/// Writes the number as the stream writes integers.
QV_BASE_API std::ostream& operator<<( std::ostream& stream, const DtTimeIndex& index );

} // namespace Qv
