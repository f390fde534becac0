#pragma once

#include <base/failure/qvHere.h>
#include <base/text/ascii.h>
#include <resmgt/literals/liEx.h>
#include <resmgt/literals/liStringUtil.h>

#include <cstddef>
#include <cstdint>
#include <string>
#include <utility>

namespace Qv {

/// REQUIRES: `number` is below 100.
inline void writeTwoDigits( char* text, std::uint64_t number ) {
    const auto both = static_cast<unsigned>( number );
    text[0] = static_cast<char>( '0' + both / 10 );
    text[1] = static_cast<char>( '0' + both % 10 );
}

/// At least 100 if there aren't two digits.
inline unsigned readTwoDigits( const char* text ) {
    const unsigned tens = static_cast<unsigned char>( text[0] ) - unsigned( '0' );
    const unsigned ones = static_cast<unsigned char>( text[1] ) - unsigned( '0' );
    return tens > 9 || ones > 9 ? 100 : tens * 10 + ones;
}

/// Writes `number` over the `width` zeros at `place`. A longer one pushes back what follows.
inline void writeInLabel( std::string& label, std::size_t place, std::size_t width,
                          std::uint64_t number ) {
    if( width == 2 && number < 100 ) [[likely]] {
        writeTwoDigits( &label[place], number );
        return;
    }
    for( ; width > 0; number /= 10 ) {
        label[place + --width] = static_cast<char>( '0' + number % 10 );
    }
    if( number > 0 ) {
        label.insert( place, LiStringUtil::convertNb( number ) );
    }
}

/// A label that is being read; raises LiEx::ExBadTimeCode at the first character that is wrong.
class LiTimeCodeLabelReader {
public:
    /// Both outlive the reader.
    LiTimeCodeLabelReader( const std::string& label, const std::string& format )
        : _at( label.data() )
        , _end( _at + label.size() )
        , _label( label )
        , _format( format ) {
        skipBlanks();
    }

    /// One to `maxDigits` digits, a number of at most `largest`.
    std::int64_t readNumber( const char* what, int maxDigits, std::int64_t largest ) {
        const char* const begin = _at;
        const std::int64_t number = readDecimals( what, maxDigits ).first;
        if( number > largest ) {
            fail( begin, what, " are out of range" );
        }
        return number;
    }
    /// The number that one to `maxDigits` digits make, and how many they are.
    std::pair<std::int64_t, int> readDecimals( const char* what, int maxDigits ) {
        std::int64_t number = 0;
        int nbDigits = 0;
        for( ; nbDigits < maxDigits && isDigit(); ++nbDigits ) {
            number = number * 10 + ( *_at++ - '0' );
        }
        if( nbDigits == 0 ) {
            fail( _at, what, " are missing" );
        }
        return { number, nbDigits };
    }
    bool isAt( char c ) const { return _at != _end && *_at == c; }
    /// Reads one of the three and answers which; `separator` is what a message asks for.
    char readSeparator( char separator, char second, char third ) {
        if( !isAt( separator ) && !isAt( second ) && !isAt( third ) ) {
            failSeparator( separator );
        }
        return *_at++;
    }
    char readSeparator( char separator, char second ) {
        return readSeparator( separator, second, second );
    }
    char readSeparator( char separator ) { return readSeparator( separator, separator ); }
    void readEnd() {
        skipBlanks();
        if( _at != _end ) {
            fail( _at, "the label", " ends before" );
        }
    }

private:
    bool isDigit() const { return _at != _end && Ascii::isDigit( *_at ); }
    void skipBlanks() {
        while( isAt( ' ' ) || isAt( '\t' ) ) {
            ++_at;
        }
    }
    [[noreturn]] void failSeparator( char separator ) const {
        const char expected[] = { '"', separator, '"', '\0' };
        fail( _at, expected, " is missing" );
    }
    [[noreturn]] void fail( const char* place, const char* what, const char* problem ) const {
        throw LiEx::ExBadTimeCode( QV_HERE, _label, _format,
                                   static_cast<std::size_t>( place - _label.data() ),
                                   std::string( what ) + problem );
    }

    const char* _at;
    const char* _end;
    const std::string& _label;
    const std::string& _format;
};

} // namespace Qv
