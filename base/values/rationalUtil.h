#pragma once

#include <base/qvBaseApi.h>
#include <base/values/rational.h>

/// Fractions from text. Neither the locale nor blanks play a part: text is a number from its first
/// character to its last, or malformed.
///
/// Errors: RationalEx::ExBadFormat for malformed or null text, RationalEx::ExOutOfRange for a
///         number that can't be held.
namespace Qv::RationalUtil {

/// A decimal number, such as "29.97", "-.5" or "24e3", as a fraction in lowest terms: 2997/100.
/// Where the exact value doesn't fit two ints, the nearest fraction that does; of the digits, the
/// first 18 significant ones count. A magnitude above the largest int is out of range.
QV_BASE_API Rational fromFloatString( const char* text );

/// Two whole numbers with `separator` between them, such as "30000/1001", not reduced. Each may
/// have a sign. A denominator of 0 is malformed.
QV_BASE_API Rational fromFractionString( const char* text, char separator );

} // namespace Qv::RationalUtil
