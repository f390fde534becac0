#include <base/failure/qvHere.h>
#include <base/text/wideStringUtil.h>
#include <base/values/rationalEx.h>
#include <base/values/rationalUtil.h>
#include <resmgt/literals/liEx.h>
#include <resmgt/literals/liStringUtil.h>

#include <charconv>
#include <type_traits>

namespace Qv {

namespace {

// Characters. The longest shortest form of a double has 24.
constexpr std::size_t LONGEST_NUMBER = 32;

template <class T>
std::string toText( T number ) {
    char text[LONGEST_NUMBER];
    return std::string( text, std::to_chars( text, text + LONGEST_NUMBER, number ).ptr );
}

template <class T>
std::wstring toWideText( T number ) {
    const std::string text = toText( number );
    return std::wstring( text.begin(), text.end() );
}

template <class T>
T toNumber( const std::string& text ) {
    const std::string number = LiStringUtil::trimLeadingAndTrailingSpaces( text );
    const char* begin = number.data();
    const char* const end = begin + number.size();
    if( number.starts_with( '+' ) && !number.starts_with( "+-" ) ) {
        ++begin;
    }
    T result{};
    const auto [stop, error] = std::from_chars( begin, end, result );
    // Names of infinities and NaNs are read, too.
    const bool isDecimal = number.find_first_of( "nN" ) == std::string::npos;
    if( stop != end || !isDecimal || error == std::errc::invalid_argument ) {
        throw LiEx::ExConversionError(
            QV_HERE, text.c_str(), std::is_floating_point_v<T> ? "a number" : "a whole number" );
    }
    if( error != std::errc() ) {
        throw LiEx::ExConversionError( QV_HERE, text.c_str(), "in the range of the number's type" );
    }
    return result;
}

template <class T>
T toNumber( const std::wstring& text ) {
    return toNumber<T>( WideStringUtil::narrowMB( text ) );
}

} // namespace

std::string LiStringUtil::convertNb( int number ) {
    return toText( number );
}

std::string LiStringUtil::convertNb( unsigned int number ) {
    return toText( number );
}

std::string LiStringUtil::convertNb( long number ) {
    return toText( number );
}

std::string LiStringUtil::convertNb( unsigned long number ) {
    return toText( number );
}

std::string LiStringUtil::convertNb( long long number ) {
    return toText( number );
}

std::string LiStringUtil::convertNb( unsigned long long number ) {
    return toText( number );
}

std::string LiStringUtil::convertNb( float number ) {
    return toText( number );
}

std::string LiStringUtil::convertNb( double number ) {
    return toText( number );
}

std::wstring LiStringUtil::convertNbW( int number ) {
    return toWideText( number );
}

std::wstring LiStringUtil::convertNbW( unsigned int number ) {
    return toWideText( number );
}

std::wstring LiStringUtil::convertNbW( long number ) {
    return toWideText( number );
}

std::wstring LiStringUtil::convertNbW( unsigned long number ) {
    return toWideText( number );
}

std::wstring LiStringUtil::convertNbW( long long number ) {
    return toWideText( number );
}

std::wstring LiStringUtil::convertNbW( unsigned long long number ) {
    return toWideText( number );
}

std::wstring LiStringUtil::convertNbW( float number ) {
    return toWideText( number );
}

std::wstring LiStringUtil::convertNbW( double number ) {
    return toWideText( number );
}

int LiStringUtil::convertToInt( const std::string& text ) {
    return toNumber<int>( text );
}

unsigned int LiStringUtil::convertToUInt( const std::string& text ) {
    return toNumber<unsigned int>( text );
}

long long LiStringUtil::convertToLong( const std::string& text ) {
    return toNumber<long long>( text );
}

unsigned long long LiStringUtil::convertToULong( const std::string& text ) {
    return toNumber<unsigned long long>( text );
}

float LiStringUtil::convertToFloat( const std::string& text ) {
    return toNumber<float>( text );
}

double LiStringUtil::convertToDouble( const std::string& text ) {
    return toNumber<double>( text );
}

int LiStringUtil::convertToIntW( const std::wstring& text ) {
    return toNumber<int>( text );
}

unsigned int LiStringUtil::convertToUIntW( const std::wstring& text ) {
    return toNumber<unsigned int>( text );
}

long long LiStringUtil::convertToLongW( const std::wstring& text ) {
    return toNumber<long long>( text );
}

unsigned long long LiStringUtil::convertToULongW( const std::wstring& text ) {
    return toNumber<unsigned long long>( text );
}

float LiStringUtil::convertToFloatW( const std::wstring& text ) {
    return toNumber<float>( text );
}

double LiStringUtil::convertToDoubleW( const std::wstring& text ) {
    return toNumber<double>( text );
}

Rational LiStringUtil::convertToRational( const std::string& text ) {
    const std::string number = trimLeadingAndTrailingSpaces( text );
    try {
        // The texts end at a zero character there.
        if( number.find( '\0' ) == std::string::npos ) {
            return number.find( '/' ) != std::string::npos
                       ? RationalUtil::fromFractionString( number.c_str(), '/' )
                       : RationalUtil::fromFloatString( number.c_str() );
        }
    } catch( const RationalEx& ) {
        // Reported below, as for all other kinds of numbers.
    }
    throw LiEx::ExConversionError( QV_HERE, text.c_str(), "a fraction" );
}

} // namespace Qv
