#pragma once

#include <resmgt/xml/src/xmlByteSets.h>

#include <string_view>

/// What texts and attributes' values can't hold as it is: & < > ' " and NUL.
namespace Qv::XmlEscape {

struct Unwritable {
    static constexpr XmlByteTable MEMBERS{ std::string_view( "&<>'\"\0", 6 ) };
    /// Marks no other bytes. Two of them differ from their neighbours & ' and < > by one bit.
    template <class Bytes>
    static unsigned int candidates( const Bytes& bytes ) {
        return ( bytes.with( '&' ^ '\'' ).equalTo( '\'' ) | bytes.with( '<' ^ '>' ).equalTo( '>' ) |
                 bytes.equalTo( '"' ) | bytes.equalTo( '\0' ) )
            .mask();
    }
};

/// The entity of one of the five.
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
    default:
        return "&quot;";
    }
}

} // namespace Qv::XmlEscape
