#pragma once

#include <cstddef>
#include <string>
#include <string_view>

/// The steps of conversion between UTF-8 and a wide form with units of 16 or 32 bits.
namespace Qv::Utf {

/// The greatest code point of Unicode.
constexpr char32_t LAST_CHARACTER = 0x10ffff;
/// Stands for what can't be represented.
constexpr char32_t REPLACEMENT_CHARACTER = 0xfffd;
/// Added to a byte from 0x80 that is part of no well-formed sequence.
constexpr char32_t ESCAPE_BASE = 0xdc00;

constexpr bool isHighSurrogate( char32_t code ) {
    return code >= 0xd800 && code <= 0xdbff;
}
constexpr bool isLowSurrogate( char32_t code ) {
    return code >= 0xdc00 && code <= 0xdfff;
}
constexpr bool isCharacter( char32_t code ) {
    return code <= LAST_CHARACTER && !isHighSurrogate( code ) && !isLowSurrogate( code );
}
constexpr bool isEscapedByte( char32_t code ) {
    return code >= ESCAPE_BASE + 0x80 && code <= ESCAPE_BASE + 0xff;
}

/// The byte at `position`, as a number.
constexpr unsigned char byteAt( std::string_view text, std::size_t position ) {
    return static_cast<unsigned char>( text[position] );
}

/// How many bytes the sequence that begins with `lead` has; 0 if none begins so. Table 3-7 of the
/// Unicode standard: C0, C1 and F5 up begin none.
constexpr std::size_t sequenceLength( unsigned char lead ) {
    return lead < 0x80   ? 1U
           : lead < 0xc2 ? 0U
           : lead < 0xe0 ? 2U
           : lead < 0xf0 ? 3U
           : lead < 0xf5 ? 4U
                         : 0U;
}

/// Takes the next character, or the next malformed byte in its escaped form, from `text`.
/// REQUIRES: `position` is within `text`.
constexpr char32_t takeNarrow( std::string_view text, std::size_t& position ) {
    constexpr char32_t SMALLEST[] = { 0, 0, 0x80, 0x800, 0x10000 };
    const unsigned char lead = byteAt( text, position );
    const std::size_t length = sequenceLength( lead );
    if( length == 1 ) {
        ++position;
        return lead;
    }
    char32_t code = length == 0 ? 0U : lead & ( 0x7fU >> length );
    bool isWellFormed = length != 0 && text.size() - position >= length;
    for( std::size_t i = 1; isWellFormed && i < length; ++i ) {
        const unsigned char next = byteAt( text, position + i );
        isWellFormed = ( next & 0xc0U ) == 0x80U;
        code = code << 6 | ( next & 0x3fU );
    }
    if( !isWellFormed || code < SMALLEST[length] || !isCharacter( code ) ) {
        ++position;
        return ESCAPE_BASE + lead;
    }
    position += length;
    return code;
}

/// REQUIRES: `code` is a character.
inline void appendNarrow( std::string& result, char32_t code ) {
    const auto append = [&result]( char32_t byte ) {
        result += static_cast<char>( static_cast<unsigned char>( byte ) );
    };
    if( code < 0x80 ) {
        append( code );
        return;
    }
    if( code < 0x800 ) {
        append( 0xc0 | code >> 6 );
    } else {
        if( code < 0x10000 ) {
            append( 0xe0 | code >> 12 );
        } else {
            append( 0xf0 | code >> 18 );
            append( 0x80 | ( code >> 12 & 0x3f ) );
        }
        append( 0x80 | ( code >> 6 & 0x3f ) );
    }
    append( 0x80 | ( code & 0x3f ) );
}

/// Takes the next character, or whatever unit isn't part of one, from `text`.
template <class Unit>
constexpr char32_t takeWide( std::basic_string_view<Unit> text, std::size_t& position ) {
    const auto code = static_cast<char32_t>( text[position++] );
    if constexpr( sizeof( Unit ) == 2 ) {
        if( isHighSurrogate( code ) && position < text.size() ) {
            const auto low = static_cast<char32_t>( text[position] );
            if( isLowSurrogate( low ) ) {
                ++position;
                return 0x10000 + ( ( code - 0xd800 ) << 10 ) + ( low - 0xdc00 );
            }
        }
    }
    return code;
}

/// Adds the code point in units of UTF-16 or UTF-32, by the width of `Unit`.
template <class Unit>
void appendWide( std::basic_string<Unit>& result, char32_t code ) {
    if constexpr( sizeof( Unit ) == 2 ) {
        if( code >= 0x10000 ) {
            const char32_t offset = code - 0x10000;
            result += static_cast<Unit>( 0xd800 + ( offset >> 10 ) );
            result += static_cast<Unit>( 0xdc00 + ( offset & 0x3ff ) );
            return;
        }
    }
    result += static_cast<Unit>( code );
}

/// UTF-8 as text of wide units.
template <class Unit>
std::basic_string<Unit> widen( std::string_view text ) {
    std::basic_string<Unit> result;
    result.reserve( text.size() );
    for( std::size_t position = 0; position < text.size(); ) {
        appendWide( result, takeNarrow( text, position ) );
    }
    return result;
}

/// `appendOther( result, code )` is called for what isn't a character.
template <class Unit, class AppendOther>
std::string narrow( std::basic_string_view<Unit> text, AppendOther appendOther ) {
    std::string result;
    result.reserve( text.size() );
    for( std::size_t position = 0; position < text.size(); ) {
        const char32_t code = takeWide( text, position );
        if( isCharacter( code ) ) {
            appendNarrow( result, code );
        } else {
            appendOther( result, code );
        }
    }
    return result;
}

/// Narrow text in which escaped bytes are bytes again.
template <class Unit>
std::string narrowRestoring( std::basic_string_view<Unit> text ) {
    return narrow( text, []( std::string& result, char32_t code ) {
        if( isEscapedByte( code ) ) {
            result += static_cast<char>( static_cast<unsigned char>( code - ESCAPE_BASE ) );
        } else {
            appendNarrow( result, REPLACEMENT_CHARACTER );
        }
    } );
}

} // namespace Qv::Utf
