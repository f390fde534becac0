#pragma once

#include <base/values/dtTimeIndex.h>
#include <base/values/rational.h>

namespace Qv {

/// A time: an index together with the rate at which it counts, in units a second. Index i at the
/// rate r is the instant i/r seconds.
///
/// Rounding: a conversion that isn't exact rounds down, towards minus infinity: to the unit that
///           the instant lies in. All of it is integer arithmetic.
/// No rate:  at SPECIAL_RATE an index counts in units of its own. Conversion from or to it keeps
///           the index, and comparison with it compares the indices.
/// Errors:   DtTimeEx::ExOutOfRange if an index doesn't fit 64 bits, DtTimeEx::ExBadRate where a
///           rate has to be used whose numerator or denominator is 0.
class QV_BASE_API DtTime {
public:
    /// Stands for the absence of a rate; equal to no other rate.
    static constexpr Rational SPECIAL_RATE{ 0, 0 };

    DtTime( const DtTimeIndex& index, const Rational& rate ) noexcept
        : _index( index )
        , _rate( rate ) {}
    DtTime( const DtTimeIndex& index, int numerator, int denominator ) noexcept
        : DtTime( index, Rational( numerator, denominator ) ) {}

    const DtTimeIndex& getIndex() const noexcept { return _index; }
    const Rational& getRate() const noexcept { return _rate; }

    /// This time at `rate`.
    [[nodiscard]] DtTime convertRate( const Rational& rate ) const;

    /// Both have the rate of this time, to which `other` is converted first.
    DtTime operator+( const DtTime& other ) const;
    DtTime operator-( const DtTime& other ) const;

    /// Exact comparison of the instants, whatever the rates.
    bool operator==( const DtTime& other ) const { return compare( other ) == 0; }
    bool operator<( const DtTime& other ) const { return compare( other ) < 0; }
    bool operator>( const DtTime& other ) const { return compare( other ) > 0; }
    bool operator<=( const DtTime& other ) const { return compare( other ) <= 0; }
    bool operator>=( const DtTime& other ) const { return compare( other ) >= 0; }

private:
    /// Negative, 0 or positive.
    int compare( const DtTime& other ) const;

    DtTimeIndex _index;
    Rational _rate;
};

} // namespace Qv
