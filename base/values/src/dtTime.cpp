#include <base/values/dtTime.h>

#include <base/failure/qvHere.h>
#include <base/values/dtTimeEx.h>

#include <limits>
#include <ostream>

namespace Qv {

namespace {

__extension__ typedef __int128 Int128;

/// A rate's parts with a positive numerator, as both serve as divisors and factors of times.
/// An index times two parts is below 2^125.
struct Rate {
    explicit Rate( const Rational& rate )
        : numerator( rate.getNumerator() )
        , denominator( rate.getDenominator() ) {
        if( numerator == 0 || denominator == 0 ) {
            throw DtTimeEx::ExBadRate( QV_HERE, rate );
        }
        if( numerator < 0 ) {
            numerator = -numerator;
            denominator = -denominator;
        }
    }

    Int128 numerator;
    Int128 denominator;
};

std::int64_t checkedIndex( Int128 index, const char* operation ) {
    if( index < std::numeric_limits<std::int64_t>::min() ||
        index > std::numeric_limits<std::int64_t>::max() ) {
        throw DtTimeEx::ExOutOfRange( QV_HERE, operation );
    }
    return static_cast<std::int64_t>( index );
}

Int128 divideRoundingDown( Int128 dividend, Int128 divisor ) {
    const Int128 quotient = dividend / divisor;
    const bool isRoundedUp = dividend % divisor != 0 && ( dividend < 0 ) != ( divisor < 0 );
    return isRoundedUp ? quotient - 1 : quotient;
}

} // namespace

std::ostream& operator<<( std::ostream& stream, const DtTimeIndex& index ) {
    return stream << index.getValue();
}

DtTime DtTime::convertRate( const Rational& rate ) const {
    if( rate == _rate || rate == SPECIAL_RATE || _rate == SPECIAL_RATE ) {
        return DtTime( _index, rate );
    }
    const Rate from( _rate );
    const Rate to( rate );
    const Int128 index = divideRoundingDown( _index.getValue() * from.denominator * to.numerator,
                                             from.numerator * to.denominator );
    return DtTime( checkedIndex( index, "DtTime::convertRate" ), rate );
}

DtTime DtTime::operator+( const DtTime& other ) const {
    const Int128 added = other.convertRate( _rate )._index.getValue();
    return DtTime( checkedIndex( _index.getValue() + added, "DtTime::operator+" ), _rate );
}

DtTime DtTime::operator-( const DtTime& other ) const {
    const Int128 taken = other.convertRate( _rate )._index.getValue();
    return DtTime( checkedIndex( _index.getValue() - taken, "DtTime::operator-" ), _rate );
}

int DtTime::compare( const DtTime& other ) const {
    Int128 left = _index.getValue();
    Int128 right = other._index.getValue();
    if( !( _rate == SPECIAL_RATE || other._rate == SPECIAL_RATE ) ) {
        const Rate leftRate( _rate );
        const Rate rightRate( other._rate );
        left *= leftRate.denominator * rightRate.numerator;
        right *= rightRate.denominator * leftRate.numerator;
    }
    return left < right ? -1 : left > right ? 1 : 0;
}

} // namespace Qv
