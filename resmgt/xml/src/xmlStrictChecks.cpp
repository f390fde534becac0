#include <resmgt/xml/src/xmlStrictChecks.h>

#include <base/text/ascii.h>
#include <resmgt/xml/src/xmlByteSets.h>
#include <resmgt/xml/src/xmlCharacters.h>

#include <algorithm>

namespace Qv {

namespace {

constexpr const char* INVALID_NAME = "Invalid name";
constexpr const char* INVALID_CHARACTER = "Invalid character";
constexpr const char* BAD_DECLARATION = "Bad XML declaration";
constexpr const char* BAD_DOCTYPE = "Bad document type";

XmlFault checkCharacters( std::string_view text ) {
    const std::size_t found = XmlCharacters::findForbidden( text );
    return found == std::string_view::npos ? XmlFault{} : XmlFault{ INVALID_CHARACTER, found };
}

/// Takes a text apart from its front on.
class Scanner {
public:
    explicit Scanner( std::string_view text )
        : _text( text )
        , _rest( text ) {}

    bool isAtEnd() const { return _rest.empty(); }
    std::size_t getIndex() const { return _text.size() - _rest.size(); }

    bool skipSpace() {
        const auto isSpace = []( char c ) { return XmlByteSets::WHITE_SPACE[c]; };
        return !take( isSpace ).empty();
    }
    bool skip( std::string_view expected ) {
        const bool isThere = _rest.starts_with( expected );
        _rest.remove_prefix( isThere ? expected.size() : 0 );
        return isThere;
    }
    /// Up to white space, or the end.
    std::string_view takeWord() {
        return take( []( char c ) { return !XmlByteSets::WHITE_SPACE[c]; } );
    }
    /// Null data where there are no quotes.
    std::string_view takeQuoted() {
        const char quote = _rest.empty() ? '\0' : _rest.front();
        if( quote != '"' && quote != '\'' ) {
            return {};
        }
        const std::size_t end = _rest.find( quote, 1 );
        if( end == std::string_view::npos ) {
            return {};
        }
        const std::string_view result = _rest.substr( 1, end - 1 );
        _rest.remove_prefix( end + 1 );
        return result;
    }
    /// White space, `name`, "=" and a quoted text. Null data, and nothing is passed, if it isn't
    /// there.
    std::string_view takePseudoAttribute( std::string_view name ) {
        const std::string_view former = _rest;
        if( skipSpace() && skip( name ) ) {
            skipSpace();
            if( skip( "=" ) ) {
                skipSpace();
                if( const std::string_view value = takeQuoted(); value.data() != nullptr ) {
                    return value;
                }
            }
        }
        _rest = former;
        return {};
    }

private:
    template <class Test>
    std::string_view take( Test test ) {
        const auto end = std::ranges::find_if_not( _rest, test );
        const std::string_view result( _rest.begin(), end );
        _rest = std::string_view( end, _rest.end() );
        return result;
    }

    const std::string_view _text;
    std::string_view _rest;
};

bool isVersion( std::string_view text ) {
    return text.size() > 2 && text.starts_with( "1." ) &&
           std::ranges::all_of( text.substr( 2 ), Ascii::isDigit<char> );
}

bool isEncodingName( std::string_view text ) {
    return !text.empty() && Ascii::isLetter( text.front() ) &&
           std::ranges::all_of( text, []( char c ) {
               return Ascii::isLetter( c ) || Ascii::isDigit( c ) || c == '.' || c == '_' ||
                      c == '-';
           } );
}

/// Production 23, "XMLDecl", behind its "<?xml".
XmlFault checkXmlDeclaration( Scanner& text ) {
    if( !isVersion( text.takePseudoAttribute( "version" ) ) ) {
        return { BAD_DECLARATION, text.getIndex() };
    }
    const std::string_view encoding = text.takePseudoAttribute( "encoding" );
    if( encoding.data() != nullptr && !isEncodingName( encoding ) ) {
        return { BAD_DECLARATION, text.getIndex() };
    }
    const std::string_view alone = text.takePseudoAttribute( "standalone" );
    if( alone.data() != nullptr && alone != "yes" && alone != "no" ) {
        return { BAD_DECLARATION, text.getIndex() };
    }
    text.skipSpace();
    return text.isAtEnd() ? XmlFault{} : XmlFault{ BAD_DECLARATION, text.getIndex() };
}

/// Production 12, "PubidLiteral", without its quotes.
bool isPublicId( std::string_view text ) {
    return text.data() != nullptr && std::ranges::all_of( text, []( char c ) {
               return Ascii::isLetter( c ) || Ascii::isDigit( c ) ||
                      std::string_view( " \r\n-'()+,./:=?;!*#@$_%" ).find( c ) !=
                          std::string_view::npos;
           } );
}

/// Production 75, "ExternalID", behind white space; nothing is one too.
bool skipExternalId( Scanner& text ) {
    if( text.skip( "PUBLIC" ) ) {
        if( !text.skipSpace() || !isPublicId( text.takeQuoted() ) ) {
            return false;
        }
    } else if( !text.skip( "SYSTEM" ) ) {
        return true;
    }
    return text.skipSpace() && text.takeQuoted().data() != nullptr;
}

} // namespace

XmlFault XmlStrictChecks::takeDeclaration( std::string_view text, bool isAtStart ) {
    if( const XmlFault fault = checkCharacters( text ); fault.message != nullptr ) {
        return fault;
    }
    Scanner scanner( text );
    const std::string_view target = scanner.takeWord();
    if( target == "xml" ) {
        return isAtStart ? checkXmlDeclaration( scanner )
                         : XmlFault{ "The XML declaration isn't at the start", 0 };
    }
    const bool isReserved = Ascii::equalsIgnoringCase( target, "xml" );
    return isReserved || !XmlCharacters::isName( target ) ? XmlFault{ INVALID_NAME, 0 }
                                                          : XmlFault{};
}

XmlFault XmlStrictChecks::takeDoctype( std::string_view text ) {
    if( const XmlFault fault = checkCharacters( text ); fault.message != nullptr ) {
        return fault;
    }
    if( _hasDoctype ) {
        return { "There are two document types", 0 };
    }
    _hasDoctype = true;
    Scanner scanner( text );
    if( !scanner.skipSpace() || !XmlCharacters::isName( scanner.takeWord() ) ) {
        return { BAD_DOCTYPE, scanner.getIndex() };
    }
    if( scanner.skipSpace() && !skipExternalId( scanner ) ) {
        return { BAD_DOCTYPE, scanner.getIndex() };
    }
    scanner.skipSpace();
    return scanner.isAtEnd() ? XmlFault{} : XmlFault{ BAD_DOCTYPE, scanner.getIndex() };
}

XmlFault XmlStrictChecks::takeComment( std::string_view text ) const {
    return checkCharacters( text );
}

XmlFault XmlStrictChecks::beginElement( std::string_view name ) {
    _known.beginTag();
    if( _known.take( name ) == XmlKnownNames::Answer::UNKNOWN ) {
        if( !XmlCharacters::isName( name ) ) {
            return { INVALID_NAME, 0 };
        }
        _known.learn( name );
    }
    if( _open.empty() && _hasRoot ) {
        return { "There are several root elements", 0 };
    }
    _hasRoot = true;
    _open.push_back( _openNames.size() );
    _openNames += name;
    _attributes.clear();
    _known.beginTag();
    return {};
}

XmlFault XmlStrictChecks::endElement( std::string_view name ) {
    const std::string_view open = _openNames;
    if( _open.empty() || open.substr( _open.back() ) != name ) {
        return { "The end tag doesn't match a start tag", 0 };
    }
    endEmptyElement();
    return {};
}

void XmlStrictChecks::endEmptyElement() {
    _openNames.resize( _open.back() );
    _open.pop_back();
}

XmlFault XmlStrictChecks::takeAttributeName( std::string_view name ) {
    switch( _known.take( name ) ) {
    case XmlKnownNames::Answer::NEW:
        return {};
    case XmlKnownNames::Answer::REPEATED:
        return { "The attribute is there already", 0 };
    case XmlKnownNames::Answer::UNKNOWN:
        break;
    }
    if( !XmlCharacters::isName( name ) ) {
        return { INVALID_NAME, 0 };
    }
    return _known.learn( name ) || _attributes.add( name )
               ? XmlFault{}
               : XmlFault{ "The attribute is there already", 0 };
}

XmlFault XmlStrictChecks::takeValue( std::string_view value ) const {
    return checkCharacters( value );
}

XmlFault XmlStrictChecks::takeText( std::string_view text ) const {
    if( const std::size_t found = text.find( "]]>" ); found != std::string_view::npos ) {
        const XmlFault fault = checkCharacters( text.substr( 0, found ) );
        return fault.message != nullptr ? fault : XmlFault{ "\"]]>\" in a text", found };
    }
    return checkCharacters( text );
}

XmlFault XmlStrictChecks::takeEnd() const {
    if( !_open.empty() ) {
        return { "An element is left open", 0 };
    }
    return _hasRoot ? XmlFault{} : XmlFault{ "There is no root element", 0 };
}

} // namespace Qv
