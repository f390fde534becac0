#include <base/values/rationalUtil.h>

#include <base/failure/qvHere.h>
#include <base/text/ascii.h>
#include <base/values/rationalEx.h>

#include <algorithm>
#include <charconv>
#include <limits>
#include <string_view>

namespace Qv {

namespace {

__extension__ typedef unsigned __int128 UInt128;

constexpr int MAX_PART = std::numeric_limits<int>::max();
constexpr int MAX_DIGITS = 18;
/// A number of at most MAX_DIGITS digits divided by a higher power of ten is nearer to 0 than to
/// 1/MAX_PART.
constexpr int MAX_DIVISOR_EXPONENT = MAX_DIGITS + 9;

/// The magnitude `digits` x 10^`exponent`, and a sign.
struct Decimal {
    bool isNegative = false;
    UInt128 digits = 0;
    std::int64_t exponent = 0;
};

/// Takes the sign away; answers whether it was a minus.
bool takeSign( std::string_view& text ) {
    if( text.empty() || ( text.front() != '-' && text.front() != '+' ) ) {
        return false;
    }
    const bool isNegative = text.front() == '-';
    text.remove_prefix( 1 );
    return isNegative;
}

/// Takes the digits at the front away, each of which moves the number's point by `step` places;
/// answers whether there was one.
bool takeDigits( std::string_view& text, int step, Decimal& number ) {
    const bool isFirstDigit = !text.empty() && Ascii::isDigit( text.front() );
    constexpr auto DIGITS_LIMIT = UInt128( 1'000'000'000'000'000'000 / 10 );
    while( !text.empty() && Ascii::isDigit( text.front() ) ) {
        if( number.digits < DIGITS_LIMIT ) {
            number.digits = number.digits * 10 + static_cast<unsigned>( text.front() - '0' );
            number.exponent += step;
        } else {
            number.exponent += step + 1;
        }
        text.remove_prefix( 1 );
    }
    return isFirstDigit;
}

/// Takes an exponent away if there is one; answers whether the text is well formed.
bool takeExponent( std::string_view& text, Decimal& number ) {
    if( text.empty() || ( text.front() != 'e' && text.front() != 'E' ) ) {
        return true;
    }
    text.remove_prefix( 1 );
    // Beyond this any exponent gives 0 or is out of range.
    constexpr std::int64_t LIMIT = 1'000'000'000'000;
    const bool isNegative = takeSign( text );
    const bool hasDigits = !text.empty() && Ascii::isDigit( text.front() );
    std::int64_t exponent = 0;
    for( ; !text.empty() && Ascii::isDigit( text.front() ); text.remove_prefix( 1 ) ) {
        exponent = std::min( LIMIT, exponent * 10 + ( text.front() - '0' ) );
    }
    number.exponent += isNegative ? -exponent : exponent;
    return hasDigits;
}

Decimal parseDecimal( const char* text ) {
    Decimal result;
    std::string_view rest( text == nullptr ? "" : text );
    result.isNegative = takeSign( rest );
    bool hasDigits = takeDigits( rest, 0, result );
    if( !rest.empty() && rest.front() == '.' ) {
        rest.remove_prefix( 1 );
        hasDigits = takeDigits( rest, -1, result ) || hasDigits;
    }
    if( !hasDigits || !takeExponent( rest, result ) || !rest.empty() ) {
        throw RationalEx::ExBadFormat( QV_HERE, text == nullptr ? "" : text, "a decimal number" );
    }
    return result;
}

UInt128 powerOfTen( std::int64_t exponent ) {
    UInt128 result = 1;
    for( ; exponent > 0; --exponent ) {
        result *= 10;
    }
    return result;
}

/// One step of a continued fraction: the next convergent is `earlier` plus a multiple of `last`.
struct Convergents {
    UInt128 earlier[2] = { 0, 1 };
    UInt128 last[2] = { 1, 0 };

    /// The greatest multiple up to `wanted` with which both parts stay within MAX_PART.
    UInt128 greatestMultiple( UInt128 wanted ) const {
        for( int part : { 0, 1 } ) {
            if( last[part] != 0 ) {
                wanted = std::min( wanted, ( MAX_PART - earlier[part] ) / last[part] );
            }
        }
        return wanted;
    }
    void advance( UInt128 multiple ) {
        for( int part : { 0, 1 } ) {
            const UInt128 next = earlier[part] + multiple * last[part];
            earlier[part] = last[part];
            last[part] = next;
        }
    }
};

/// The fraction nearest to `numerator` / `denominator` with both parts within MAX_PART.
///
/// REQUIRES: the value is at most MAX_PART, and `denominator` x 2^32 fits.
///
/// The convergents of the continued fraction are the nearest fractions of their size. When the
/// next one is too large, the answer is the last that fits or an intermediate one on the other
/// side of the value: no fraction between these two has parts that fit.
Rational nearest( UInt128 numerator, UInt128 denominator ) {
    const UInt128 whole = denominator;
    Convergents parts;
    while( denominator != 0 ) {
        const UInt128 wanted = numerator / denominator;
        const UInt128 multiple = parts.greatestMultiple( wanted );
        if( multiple < wanted ) {
            const UInt128 next = parts.earlier[1] + multiple * parts.last[1];
            // The last convergent is off by denominator / (last[1] x whole).
            if( 2 * denominator * next > whole ) {
                parts.advance( multiple );
            }
            break;
        }
        parts.advance( multiple );
        numerator -= wanted * denominator;
        std::swap( numerator, denominator );
    }
    return Rational( static_cast<int>( parts.last[0] ), static_cast<int>( parts.last[1] ) );
}

int parsePart( std::string_view part, const char* text ) {
    const char* const begin = part.data() + ( part.starts_with( '+' ) ? 1 : 0 );
    const char* const end = part.data() + part.size();
    int result = 0;
    const auto [stop, error] = std::from_chars( begin, end, result );
    const bool hasTwoSigns = begin != part.data() && begin != end && *begin == '-';
    if( stop != end || error == std::errc::invalid_argument || hasTwoSigns ) {
        throw RationalEx::ExBadFormat( QV_HERE, text, "a fraction" );
    }
    if( error == std::errc::result_out_of_range ) {
        throw RationalEx::ExOutOfRange( QV_HERE, text );
    }
    return result;
}

} // namespace

Rational RationalUtil::fromFloatString( const char* text ) {
    const Decimal number = parseDecimal( text );
    if( number.digits == 0 || number.exponent < -MAX_DIVISOR_EXPONENT ) {
        return Rational( 0, 1 );
    }
    constexpr int MAX_INT_DIGITS = std::numeric_limits<int>::digits10;
    const UInt128 numerator =
        number.digits *
        powerOfTen( std::clamp<std::int64_t>( number.exponent, 0, MAX_INT_DIGITS + 1 ) );
    const UInt128 denominator = powerOfTen( -number.exponent );
    if( numerator > denominator * MAX_PART ) {
        throw RationalEx::ExOutOfRange( QV_HERE, text );
    }
    const Rational magnitude = nearest( numerator, denominator );
    return number.isNegative ? Rational( -magnitude.getNumerator(), magnitude.getDenominator() )
                             : magnitude;
}

Rational RationalUtil::fromFractionString( const char* text, char separator ) {
    const std::string_view whole( text == nullptr ? "" : text );
    const std::size_t middle = whole.find( separator, 1 );
    if( middle == std::string_view::npos ) {
        throw RationalEx::ExBadFormat( QV_HERE, whole.data(), "a fraction" );
    }
    const int numerator = parsePart( whole.substr( 0, middle ), text );
    const int denominator = parsePart( whole.substr( middle + 1 ), text );
    if( denominator == 0 ) {
        throw RationalEx::ExBadFormat( QV_HERE, text, "a fraction" );
    }
    return Rational( numerator, denominator );
}

} // namespace Qv
