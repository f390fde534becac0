#include <resmgt/xml/src/xmlReferences.h>

#include <base/text/ascii.h>
#include <base/text/utf.h>
#include <resmgt/xml/src/xmlCharacters.h>

#include <charconv>
#include <system_error>

namespace Qv {

namespace {

struct Entity {
    std::string_view name;
    char character;
};

constexpr Entity ENTITIES[] = {
    { "lt;", '<' }, { "gt;", '>' }, { "amp;", '&' }, { "apos;", '\'' }, { "quot;", '"' } };

struct Number {
    std::string_view digits;
    int base;
};

bool isHexadecimalPrefix( std::string_view text ) {
    const auto isDigit = []( char c ) {
        const char lower = Ascii::toLower( c );
        return Ascii::isDigit( c ) || ( lower >= 'a' && lower <= 'f' );
    };
    return text.size() > 2 && text[0] == '0' && Ascii::toLower( text[1] ) == 'x' &&
           isDigit( text[2] );
}

/// What `strtol` reads, in each locale the same; -1 where that is nothing, negative or too large.
int leadingNumber( const Number& number ) {
    std::string_view text = Ascii::trimFront( number.digits );
    const bool isNegative = text.starts_with( '-' );
    if( isNegative || text.starts_with( '+' ) ) {
        text.remove_prefix( 1 );
    }
    if( number.base == 16 && isHexadecimalPrefix( text ) ) {
        text.remove_prefix( 2 );
    }
    unsigned int result = 0;
    const std::errc error =
        std::from_chars( text.data(), text.data() + text.size(), result, number.base ).ec;
    const bool isInRange = error == std::errc() && result <= ( isNegative ? 0 : 0xFFFF );
    return isInRange ? static_cast<int>( result ) : -1;
}

const char* appendByte( const Number& number, std::string& result ) {
    const int code = leadingNumber( number );
    if( code < 0 ) {
        return "Ascii representation not between 0 and 65535";
    }
    result += static_cast<char>( static_cast<unsigned char>( code ) );
    return nullptr;
}

const char* appendCharacter( const Number& number, std::string& result ) {
    unsigned int code = 0;
    const char* const end = number.digits.data() + number.digits.size();
    const auto [stop, error] = std::from_chars( number.digits.data(), end, code, number.base );
    if( error == std::errc::invalid_argument || stop != end ) {
        return "Invalid escape sequence between '&' and ';'";
    }
    if( error != std::errc() || !XmlCharacters::isCharacter( code ) ) {
        return "Reference to a character that XML doesn't allow";
    }
    Utf::appendNarrow( result, code );
    return nullptr;
}

/// `reference` is what follows the "&", with its ";". Returns what is wrong with it, or null.
const char* appendReferenced( std::string_view reference, bool strict, std::string& result ) {
    for( const Entity& entity : ENTITIES ) {
        if( reference == entity.name ) {
            result += entity.character;
            return nullptr;
        }
    }
    if( !reference.starts_with( '#' ) ) {
        return "Invalid escape sequence between '&' and ';'";
    }
    if( reference.size() < 3 ) {
        return "Invalid Ascii escape sequence - No digits.";
    }
    const bool isHexadecimal = reference[1] == 'x';
    reference.remove_suffix( 1 );
    const Number number{ reference.substr( isHexadecimal ? 2 : 1 ), isHexadecimal ? 16 : 10 };
    if( number.digits.empty() ) {
        return "No digits found in Ascii escape sequence";
    }
    return strict ? appendCharacter( number, result ) : appendByte( number, result );
}

} // namespace

XmlFault resolveXmlReferences( std::string_view text, bool strict, std::string& result ) {
    std::size_t at = 0;
    for( ;; ) {
        const std::size_t start = text.find( '&', at );
        result += text.substr( at, start - at );
        if( start == std::string_view::npos ) {
            return {};
        }
        const std::size_t end = text.find_first_of( "; ", start );
        if( end == std::string_view::npos || text[end] == ' ' ) {
            return { "Invalid escape sequence after '&'", start };
        }
        const std::string_view reference = text.substr( start + 1, end - start );
        if( const char* const message = appendReferenced( reference, strict, result ) ) {
            return { message, start };
        }
        at = end + 1;
    }
}

} // namespace Qv
