#include <resmgt/logger/src/lgNumberText.h>

#include <array>
#include <bit>
#include <cfloat>
#include <charconv>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <limits>

namespace Qv {

namespace {

static_assert( LDBL_MANT_DIG <= 64, "a mantissa is taken in one 64-bit word" );

__extension__ using Wide = unsigned __int128;

constexpr int MANTISSA_BITS = 64;
constexpr std::uint64_t DECIMALS = 1000000;
// Enough for any number of 20 digits.
constexpr std::size_t WORD_SIZE = 20;

std::size_t printDigits( char* text, std::uint64_t value ) noexcept {
    return static_cast<std::size_t>( std::to_chars( text, text + WORD_SIZE, value ).ptr - text );
}

std::size_t printPadded( char* text, std::uint64_t value, int width ) noexcept {
    for( int digit = width; digit > 0; --digit ) {
        text[digit - 1] = static_cast<char>( '0' + value % 10 );
        value /= 10;
    }
    return static_cast<std::size_t>( width );
}

/// A natural number in limbs of nine decimal digits, the lowest first.
class Decimal {
public:
    explicit Decimal( std::uint64_t value ) noexcept {
        for( ; value != 0; value /= LIMB ) {
            _limbs[_nb++] = static_cast<std::uint32_t>( value % LIMB );
        }
    }

    void shiftLeft( int bits ) noexcept {
        for( ; bits > 0; bits -= STEP ) {
            const int step = bits < STEP ? bits : STEP;
            std::uint64_t carry = 0;
            for( std::size_t i = 0; i < _nb; ++i ) {
                carry += static_cast<std::uint64_t>( _limbs[i] ) << step;
                _limbs[i] = static_cast<std::uint32_t>( carry % LIMB );
                carry /= LIMB;
            }
            // A step makes at most one limb more of it.
            if( carry != 0 ) {
                _limbs[_nb++] = static_cast<std::uint32_t>( carry );
            }
        }
    }

    std::size_t print( char* text ) const noexcept {
        std::size_t length = printDigits( text, _limbs[_nb - 1] );
        for( std::size_t i = _nb - 1; i > 0; --i ) {
            length += printPadded( text + length, _limbs[i - 1], NB_LIMB_DIGITS );
        }
        return length;
    }

private:
    static constexpr std::uint64_t LIMB = 1000000000;
    static constexpr int NB_LIMB_DIGITS = 9;
    // The greatest shift whose carry stays below one limb.
    static constexpr int STEP = 29;
    static constexpr std::size_t NB_LIMBS = LDBL_MAX_10_EXP / NB_LIMB_DIGITS + 2;

    // Not filled with zeros: most numbers need few.
    std::array<std::uint32_t, NB_LIMBS> _limbs;
    std::size_t _nb = 0;
};

/// A fraction in millionths, rounded half to even: `mantissa` shifted right by `bits`, which is
/// below one.
std::uint64_t toMillionths( std::uint64_t mantissa, int bits ) noexcept {
    constexpr int NB_WIDE_BITS = 128;
    if( bits >= NB_WIDE_BITS ) {
        return 0;
    }
    const Wide scaled = static_cast<Wide>( mantissa ) * DECIMALS;
    const Wide whole = scaled >> bits;
    const Wide rest = scaled - ( whole << bits );
    const Wide half = static_cast<Wide>( 1 ) << ( bits - 1 );
    const bool isUp = rest > half || ( rest == half && ( whole & 1 ) != 0 );
    return static_cast<std::uint64_t>( whole ) + ( isUp ? 1 : 0 );
}

std::size_t printDecimals( char* text, std::uint64_t millionths ) noexcept {
    // A digit more, so that no zero is left out; it stands where the point belongs.
    const std::size_t length = printDigits( text, DECIMALS + millionths );
    *text = '.';
    return length;
}

/// `mantissa` shifted left by `shift`, or right where that is negative.
std::size_t printFinite( char* text, std::uint64_t mantissa, int shift ) noexcept {
    if( shift > 0 && mantissa != 0 ) {
        Decimal decimal( mantissa );
        decimal.shiftLeft( shift );
        const std::size_t length = decimal.print( text );
        return length + printDecimals( text + length, 0 );
    }
    std::uint64_t whole = 0;
    std::uint64_t millionths = 0;
    if( shift == 0 ) {
        whole = mantissa;
    } else if( mantissa != 0 ) {
        const int bits = -shift;
        whole = bits < MANTISSA_BITS ? mantissa >> bits : 0;
        const std::uint64_t fraction =
            bits < MANTISSA_BITS ? mantissa - ( whole << bits ) : mantissa;
        millionths = toMillionths( fraction, bits );
        whole += millionths / DECIMALS;
        millionths %= DECIMALS;
    }
    const std::size_t length = printDigits( text, whole );
    return length + printDecimals( text + length, millionths );
}

/// The sign, and the text of what isn't finite. True if that was all.
template <class T>
bool printSpecial( char*& text, T value ) noexcept {
    if( std::signbit( value ) ) {
        *text++ = '-';
    }
    if( std::isfinite( value ) ) {
        return false;
    }
    std::memcpy( text, std::isnan( value ) ? "nan" : "inf", 3 );
    text += 3;
    return true;
}

} // namespace

std::size_t LgNumberText::printFloat( char* text, double value ) noexcept {
    static_assert( std::numeric_limits<double>::is_iec559 && DBL_MANT_DIG == 53 );
    constexpr int NB_STORED_BITS = 52;
    constexpr int EXPONENT_MASK = 0x7ff;
    // Of the last bit of a mantissa whose stored exponent is 1 or, without the leading bit, 0.
    constexpr int LEAST_SHIFT = -1074;
    char* end = text;
    if( !printSpecial( end, value ) ) {
        const auto bits = std::bit_cast<std::uint64_t>( value );
        const int exponent = static_cast<int>( bits >> NB_STORED_BITS ) & EXPONENT_MASK;
        std::uint64_t mantissa = bits & ( ( std::uint64_t{ 1 } << NB_STORED_BITS ) - 1 );
        if( exponent != 0 ) {
            mantissa |= std::uint64_t{ 1 } << NB_STORED_BITS;
        }
        end += printFinite( end, mantissa, LEAST_SHIFT + ( exponent != 0 ? exponent - 1 : 0 ) );
    }
    return static_cast<std::size_t>( end - text );
}

std::size_t LgNumberText::printFloat( char* text, long double value ) noexcept {
    char* end = text;
    if( !printSpecial( end, value ) ) {
        int exponent = 0;
        const long double fraction = std::frexp( std::fabs( value ), &exponent );
        const auto mantissa = static_cast<std::uint64_t>( std::ldexp( fraction, MANTISSA_BITS ) );
        end += printFinite( end, mantissa, exponent - MANTISSA_BITS );
    }
    return static_cast<std::size_t>( end - text );
}

} // namespace Qv
