#pragma once

#include <algorithm>
#include <string>
#include <string_view>

/// Characters and texts as ASCII sees them, whatever the locale is: bytes from 0x80 are no letters,
/// digits or blanks, and have no case. Wide characters go by the same rules.
namespace Qv::Ascii {

/// As `isspace` in the "C" locale: blank, tab, line feed, vertical tab, form feed, return.
template <class Char>
constexpr bool isSpace( Char c ) noexcept {
    return c == ' ' || ( c >= '\t' && c <= '\r' );
}

template <class Char>
constexpr bool isDigit( Char c ) noexcept {
    return c >= '0' && c <= '9';
}

template <class Char>
constexpr bool isUpper( Char c ) noexcept {
    return c >= 'A' && c <= 'Z';
}

template <class Char>
constexpr bool isLower( Char c ) noexcept {
    return c >= 'a' && c <= 'z';
}

template <class Char>
constexpr bool isLetter( Char c ) noexcept {
    return isLower( c ) || isUpper( c );
}

constexpr char toLower( char c ) noexcept {
    return isUpper( c ) ? static_cast<char>( c - 'A' + 'a' ) : c;
}

constexpr char toUpper( char c ) noexcept {
    return isLower( c ) ? static_cast<char>( c - 'a' + 'A' ) : c;
}

inline std::string toLowerCase( std::string text ) {
    std::ranges::transform( text, text.begin(), toLower );
    return text;
}

constexpr bool equalsIgnoringCase( std::string_view left, std::string_view right ) noexcept {
    return std::ranges::equal( left, right, {}, toLower, toLower );
}

constexpr std::string_view trimFront( std::string_view text ) noexcept {
    while( !text.empty() && isSpace( text.front() ) ) {
        text.remove_prefix( 1 );
    }
    return text;
}

constexpr std::string_view trimBack( std::string_view text ) noexcept {
    while( !text.empty() && isSpace( text.back() ) ) {
        text.remove_suffix( 1 );
    }
    return text;
}

/// `text` without white space at its ends.
constexpr std::string_view trim( std::string_view text ) noexcept {
    return trimBack( trimFront( text ) );
}

} // namespace Qv::Ascii
