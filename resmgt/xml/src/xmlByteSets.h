#pragma once

#include <resmgt/xml/src/xmlBytes.h>

#include <array>
#include <bit>
#include <string_view>

namespace Qv {

/// A set of bytes as a table with an entry for each.
class XmlByteTable {
public:
    consteval XmlByteTable( std::string_view members ) {
        for( const char member : members ) {
            _isMember[static_cast<unsigned char>( member )] = true;
        }
    }

    constexpr bool operator[]( char byte ) const noexcept {
        return _isMember[static_cast<unsigned char>( byte )];
    }

private:
    std::array<bool, 256> _isMember{};
};

/// The sets of bytes that the parser looks for.
///
/// `MEMBERS` is the set. `candidates` marks them among sixteen bytes, and may mark others that are
/// rare in documents. Each set holds the NUL, which ends a document. A line feed is in a set to be
/// counted, a "&" to be noticed: what is looked for goes on behind them, except that an element's
/// name ends at white space. `isEnd` is false for them.
namespace XmlByteSets {

inline constexpr XmlByteTable WHITE_SPACE{ std::string_view( " \t\r\n" ) };

/// Ends an element's name.
struct ElementName {
    static constexpr XmlByteTable MEMBERS{ std::string_view( " \t\r\n/>\0", 7 ) };
    static bool isEnd( char byte ) { return MEMBERS[byte]; }
    template <class Bytes>
    static unsigned int candidates( const Bytes& bytes ) {
        return ( bytes.atMost( ' ' ) | bytes.equalTo( '/' ) | bytes.equalTo( '>' ) ).mask();
    }
};

/// Ends the name in an end tag, or a document type.
struct TagEnd {
    static constexpr XmlByteTable MEMBERS{ std::string_view( ">\n\0", 3 ) };
    static bool isEnd( char byte ) { return MEMBERS[byte] && byte != '\n'; }
    template <class Bytes>
    static unsigned int candidates( const Bytes& bytes ) {
        return ( bytes.atMost( '\n' ) | bytes.equalTo( '>' ) ).mask();
    }
};

/// Ends an attribute's name.
struct AttributeName {
    static constexpr XmlByteTable MEMBERS{ std::string_view( "=<>\n\0", 5 ) };
    static bool isEnd( char byte ) { return MEMBERS[byte] && byte != '\n'; }
    template <class Bytes>
    static unsigned int candidates( const Bytes& bytes ) {
        // "<" and ">" differ in one bit.
        return ( bytes.atMost( '\n' ) | bytes.with( '<' ^ '>' ).equalTo( '>' ) |
                 bytes.equalTo( '=' ) )
            .mask();
    }
};

/// Ends an attribute's value in double quotes.
struct DoubleQuoted {
    static constexpr XmlByteTable MEMBERS{ std::string_view( "\"<>&\n\0", 6 ) };
    static bool isEnd( char byte ) { return MEMBERS[byte] && byte != '\n' && byte != '&'; }
    template <class Bytes>
    static unsigned int candidates( const Bytes& bytes ) {
        static_assert( std::has_single_bit( static_cast<unsigned>( '"' ^ '&' ) ) );
        return ( bytes.atMost( '\n' ) | bytes.with( '<' ^ '>' ).equalTo( '>' ) |
                 bytes.with( '"' ^ '&' ).equalTo( '&' ) )
            .mask();
    }
};

/// The same in single quotes.
struct SingleQuoted {
    static constexpr XmlByteTable MEMBERS{ std::string_view( "'<>&\n\0", 6 ) };
    static bool isEnd( char byte ) { return MEMBERS[byte] && byte != '\n' && byte != '&'; }
    template <class Bytes>
    static unsigned int candidates( const Bytes& bytes ) {
        return ( bytes.atMost( '\n' ) | bytes.with( '<' ^ '>' ).equalTo( '>' ) |
                 bytes.with( '\'' ^ '&' ).equalTo( '\'' ) )
            .mask();
    }
};

/// Ends a text.
struct Text {
    static constexpr XmlByteTable MEMBERS{ std::string_view( "<&\n\0", 4 ) };
    static bool isEnd( char byte ) { return MEMBERS[byte] && byte != '\n' && byte != '&'; }
    template <class Bytes>
    static unsigned int candidates( const Bytes& bytes ) {
        return ( bytes.atMost( '\n' ) | bytes.equalTo( '<' ) | bytes.equalTo( '&' ) ).mask();
    }
};

/// Ends what is dropped.
struct Markup {
    static constexpr XmlByteTable MEMBERS{ std::string_view( "<\n\0", 3 ) };
    static bool isEnd( char byte ) { return MEMBERS[byte] && byte != '\n'; }
    template <class Bytes>
    static unsigned int candidates( const Bytes& bytes ) {
        return ( bytes.atMost( '\n' ) | bytes.equalTo( '<' ) ).mask();
    }
};

/// May end a comment.
struct Comment {
    static constexpr XmlByteTable MEMBERS{ std::string_view( "-\n\0", 3 ) };
    static bool isEnd( char byte ) { return MEMBERS[byte] && byte != '\n'; }
    template <class Bytes>
    static unsigned int candidates( const Bytes& bytes ) {
        return ( bytes.atMost( '\n' ) | bytes.equalTo( '-' ) ).mask();
    }
};

/// May end a declaration.
struct Declaration {
    static constexpr XmlByteTable MEMBERS{ std::string_view( "?>\n\0", 4 ) };
    static bool isEnd( char byte ) { return MEMBERS[byte] && byte != '\n'; }
    template <class Bytes>
    static unsigned int candidates( const Bytes& bytes ) {
        return ( bytes.atMost( '\n' ) | bytes.with( '?' ^ '>' ).equalTo( '?' ) ).mask();
    }
};

} // namespace XmlByteSets

/// The first byte of the set in `[from, end)`, or `end`.
template <class Set, class Bytes = XmlBytes>
inline const char* findXmlByte( const char* from, const char* end ) noexcept {
    for( ; end - from >= Bytes::SIZE; from += Bytes::SIZE ) {
        unsigned int found = Set::candidates( Bytes::load( from ) );
        for( ; found != 0; found &= found - 1 ) {
            const char* const candidate = from + std::countr_zero( found );
            if( Set::MEMBERS[*candidate] ) {
                return candidate;
            }
        }
    }
    while( from != end && !Set::MEMBERS[*from] ) {
        ++from;
    }
    return from;
}

} // namespace Qv
