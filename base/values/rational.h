#pragma once

#include <compare>
#include <cstdint>

namespace Qv {

/// A fraction of two ints, compared by value and kept as it was given: 50/2 equals 25/1, but stays
/// 50/2.
///
/// Signs:   the denominator may be negative; -1/-2 equals 1/2.
/// Zero denominator: n/0 is above every number for n > 0, below every number for n < 0. 0/0 is no
///          value: it equals only itself and stands before everything, so that fractions can be
///          keys of an ordered container.
/// Errors:  none; comparison can't overflow.
class Rational {
public:
    constexpr Rational() noexcept
        : Rational( 0, 1 ) {}
    constexpr Rational( int numerator, int denominator ) noexcept
        : _numerator( numerator )
        , _denominator( denominator ) {}

    constexpr void setValue( int numerator, int denominator ) noexcept {
        _numerator = numerator;
        _denominator = denominator;
    }
    constexpr int getNumerator() const noexcept { return _numerator; }
    constexpr int getDenominator() const noexcept { return _denominator; }
    /// The nearest double; an infinity or NaN if the denominator is 0.
    constexpr double getDouble() const noexcept {
        return static_cast<double>( _numerator ) / static_cast<double>( _denominator );
    }

    friend constexpr bool operator==( const Rational& lhs, const Rational& rhs ) noexcept {
        return ( lhs <=> rhs ) == 0;
    }
    friend constexpr std::weak_ordering operator<=>( const Rational& lhs,
                                                     const Rational& rhs ) noexcept {
        const Wide a = lhs.widened();
        const Wide b = rhs.widened();
        if( a.isUndefined() || b.isUndefined() ) {
            return b.isUndefined() <=> a.isUndefined();
        }
        if( a.denominator == 0 && b.denominator == 0 ) {
            return ( a.numerator > 0 ) <=> ( b.numerator > 0 );
        }
        return a.numerator * b.denominator <=> b.numerator * a.denominator;
    }

private:
    /// The same value with a denominator that isn't negative. Products of two parts fit.
    struct Wide {
        constexpr bool isUndefined() const noexcept { return numerator == 0 && denominator == 0; }

        std::int64_t numerator;
        std::int64_t denominator;
    };

    constexpr Wide widened() const noexcept {
        const std::int64_t sign = _denominator < 0 ? -1 : 1;
        return { sign * _numerator, sign * _denominator };
    }

    int _numerator;
    int _denominator;
};

} // namespace Qv
