#pragma once

#include <base/failure/qvHere.h>
#include <base/text/ascii.h>
#include <resmgt/literals/liEx.h>

#include <algorithm>
#include <cstdint>
#include <string>
#include <utility>

namespace Qv {

/// A label that is being written.
class LiTimeCodeLabel {
public:
    void append( char separator ) { *_end++ = separator; }
    /// Zero-filled to `width`, at most 20. REQUIRES: `number` isn't negative.
    void append( std::int64_t number, int width ) {
        // Nearly all fields.
        if( width == 2 && number < 100 ) {
            const auto both = static_cast<unsigned>( number );
            *_end++ = static_cast<char>( '0' + both / 10 );
            *_end++ = static_cast<char>( '0' + both % 10 );
            return;
        }
        char digits[20];
        char* first = digits + sizeof( digits );
        for( ; number > 0 || width > 0 || first == digits + sizeof( digits ); --width ) {
            *--first = static_cast<char>( '0' + number % 10 );
            number /= 10;
        }
        _end = std::copy( first, digits + sizeof( digits ), _end );
    }
    std::string getText() const {
        return std::string( _text, static_cast<std::size_t>( _end - _text ) );
    }

private:
    /// Four numbers of 64 bits and their separators.
    char _text[4 * 21];
    char* _end = _text;
};

/// A label that is being read; raises LiEx::ExBadTimeCode at the first character that is wrong.
class LiTimeCodeLabelReader {
public:
    /// Both outlive the reader.
    LiTimeCodeLabelReader( const std::string& label, const std::string& format )
        : _label( label )
        , _format( format ) {
        skipBlanks();
    }

    /// One to `maxDigits` digits, a number of at most `largest`.
    std::int64_t readNumber( const char* what, int maxDigits, std::int64_t largest ) {
        const std::size_t begin = _place;
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
            number = number * 10 + ( _label[_place++] - '0' );
        }
        if( nbDigits == 0 ) {
            fail( _place, what, " are missing" );
        }
        return { number, nbDigits };
    }
    bool isAt( char c ) const { return _place < _label.size() && _label[_place] == c; }
    /// Reads one of the three and answers which; `separator` is what a message asks for.
    char readSeparator( char separator, char second, char third ) {
        if( !isAt( separator ) && !isAt( second ) && !isAt( third ) ) {
            failSeparator( separator );
        }
        return _label[_place++];
    }
    char readSeparator( char separator, char second ) {
        return readSeparator( separator, second, second );
    }
    char readSeparator( char separator ) { return readSeparator( separator, separator ); }
    void readEnd() {
        skipBlanks();
        if( _place != _label.size() ) {
            fail( _place, "the label", " ends before" );
        }
    }

private:
    bool isDigit() const { return _place < _label.size() && Ascii::isDigit( _label[_place] ); }
    void skipBlanks() {
        while( isAt( ' ' ) || isAt( '\t' ) ) {
            ++_place;
        }
    }
    [[noreturn]] void failSeparator( char separator ) const {
        const char expected[] = { '"', separator, '"', '\0' };
        fail( _place, expected, " is missing" );
    }
    [[noreturn]] void fail( std::size_t place, const char* what, const char* problem ) const {
        throw LiEx::ExBadTimeCode( QV_HERE, _label, _format, place, std::string( what ) + problem );
    }

    const std::string& _label;
    const std::string& _format;
    std::size_t _place = 0;
};

} // namespace Qv
