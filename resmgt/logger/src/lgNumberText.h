#pragma once

#include <cstddef>

namespace Qv::LgNumberText {

/// What the longest values take: their digits, a sign, the point and six decimals.
constexpr std::size_t MAX_DOUBLE_SIZE = 317;
constexpr std::size_t MAX_LONG_DOUBLE_SIZE = 4941;

/// Writes the value as "%f" does in the "C" locale, without a terminator, and returns the length.
/// Exact; without allocation. `text` holds as much as the longest value takes.
std::size_t printFloat( char* text, double value ) noexcept;
std::size_t printFloat( char* text, long double value ) noexcept;

} // namespace Qv::LgNumberText
