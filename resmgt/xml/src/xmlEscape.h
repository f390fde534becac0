#pragma once

#include <cstdint>
#include <cstring>
#include <string_view>

/// What texts and attributes' values can't hold as it is: & < > ' " and NUL.
namespace Qv::XmlEscape {

inline constexpr std::size_t WORD = sizeof( std::uint64_t );

constexpr std::uint64_t repeat( unsigned char byte ) noexcept {
    return byte * std::uint64_t{ 0x0101010101010101 };
}

/// Whether a byte of `word` is 0.
constexpr bool hasZero( std::uint64_t word ) noexcept {
    return ( ( word - repeat( 1 ) ) & ~word & repeat( 0x80 ) ) != 0;
}

/// Two of the characters differ from their neighbours & ' and < > by one bit.
inline bool hasMarkup( const char* text ) noexcept {
    std::uint64_t word;
    std::memcpy( &word, text, WORD );
    return hasZero( word ) || hasZero( word ^ repeat( '"' ) ) ||
           hasZero( ( word | repeat( '&' ^ '\'' ) ) ^ repeat( '&' | '\'' ) ) ||
           hasZero( ( word | repeat( '<' ^ '>' ) ) ^ repeat( '<' | '>' ) );
}

/// The entity of a character; empty for NUL, which has none. A null view for others.
constexpr std::string_view getEntity( char c ) noexcept {
    switch( c ) {
    case '&':
        return "&amp;";
    case '<':
        return "&lt;";
    case '>':
        return "&gt;";
    case '\'':
        return "&apos;";
    case '"':
        return "&quot;";
    case '\0':
        return "";
    default:
        return {};
    }
}

constexpr bool isMarkup( char c ) noexcept {
    return getEntity( c ).data() != nullptr;
}

/// The first of the characters from `text` on, else `end`.
inline const char* find( const char* text, const char* end ) noexcept {
    while( static_cast<std::size_t>( end - text ) >= WORD && !hasMarkup( text ) ) {
        text += WORD;
    }
    while( text != end && !isMarkup( *text ) ) {
        ++text;
    }
    return text;
}

} // namespace Qv::XmlEscape
