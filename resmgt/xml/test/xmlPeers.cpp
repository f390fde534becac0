#include <resmgt/xml/test/xmlPeers.h>

#include <resmgt/xml/xmlParser.h>
#include <resmgt/xml/xmlParserProtocol.h>

#include <expat.h>
#include <libxml/parser.h>
#include <libxml/parserInternals.h>

#include <algorithm>
#include <memory>

namespace Qv {

namespace {

constexpr const char* WHITE_SPACE = " \t\r\n";

/// Puts the canonical form together.
class Canonical {
public:
    void begin( std::string_view name ) {
        endText();
        ( _result += " (" ) += name;
    }
    void attribute( std::string_view name, std::string_view value ) {
        std::string normal = withoutReturns( value );
        std::ranges::replace_if(
            normal, []( char c ) { return c == '\t' || c == '\n'; }, ' ' );
        ( ( ( _result += ' ' ) += name ) += '=' ) += normal;
    }
    void text( std::string_view part ) { _text += part; }
    void end() {
        endText();
        _result += " )";
    }
    const std::string& get() const { return _result; }

private:
    static std::string withoutReturns( std::string_view text ) {
        std::string result;
        for( std::size_t i = 0; i < text.size(); ++i ) {
            const bool isReturn = text[i] == '\r';
            if( !isReturn || i + 1 == text.size() || text[i + 1] != '\n' ) {
                result += isReturn ? '\n' : text[i];
            }
        }
        return result;
    }
    void endText() {
        const std::string normal = withoutReturns( _text );
        const std::size_t start = normal.find_first_not_of( WHITE_SPACE );
        if( start != std::string::npos ) {
            _result += " '" + normal.substr( start ) + "'";
        }
        _text.clear();
    }

    std::string _text;
    std::string _result;
};

class QvReader : public XmlParserProtocol {
public:
    void notifyBeginElement( const std::string& name, int ) override { canonical.begin( name ); }
    void notifyEmptyElementEnd( int ) override { canonical.end(); }
    void notifyClosingElement( const std::string&, int ) override { canonical.end(); }
    void pushAttribute( const std::string& name, const std::string& value, int ) override {
        canonical.attribute( name, value );
    }
    void notifyTextData( const std::string& text, int ) override { canonical.text( text ); }

    Canonical canonical;
};

/// The call-backs of expat; libxml2's differ in their types.
struct Expat {
    static void begin( void* canonical, const XML_Char* name, const XML_Char** attributes ) {
        auto& own = *static_cast<Canonical*>( canonical );
        own.begin( name );
        for( ; *attributes != nullptr; attributes += 2 ) {
            own.attribute( attributes[0], attributes[1] );
        }
    }
    static void end( void* canonical, const XML_Char* ) {
        static_cast<Canonical*>( canonical )->end();
    }
    static void text( void* canonical, const XML_Char* text, int size ) {
        static_cast<Canonical*>( canonical )->text( { text, static_cast<std::size_t>( size ) } );
    }
};

struct Libxml2 {
    static const char* chars( const xmlChar* text ) {
        return text != nullptr ? reinterpret_cast<const char*>( text ) : "";
    }
    static void begin( void* canonical, const xmlChar* name, const xmlChar** attributes ) {
        auto& own = *static_cast<Canonical*>( canonical );
        own.begin( chars( name ) );
        for( ; attributes != nullptr && *attributes != nullptr; attributes += 2 ) {
            own.attribute( chars( attributes[0] ), chars( attributes[1] ) );
        }
    }
    static void end( void* canonical, const xmlChar* ) {
        static_cast<Canonical*>( canonical )->end();
    }
    static void text( void* canonical, const xmlChar* text, int size ) {
        static_cast<Canonical*>( canonical )
            ->text( { chars( text ), static_cast<std::size_t>( size ) } );
    }
    static xmlEntityPtr entity( void*, const xmlChar* name ) {
        return xmlGetPredefinedEntity( name );
    }
};

} // namespace

std::string canonicalByQv( const std::string& text, bool strict ) {
    XmlReadOptions options;
    options.strict = strict;
    QvReader reader;
    XmlParser::parse( reader, text, options );
    return reader.canonical.get();
}

std::optional<std::string> canonicalByExpat( std::string_view text ) {
    Canonical canonical;
    const std::unique_ptr<XML_ParserStruct, decltype( &XML_ParserFree )> parser(
        XML_ParserCreate( nullptr ), &XML_ParserFree );
    XML_SetUserData( parser.get(), &canonical );
    XML_SetElementHandler( parser.get(), Expat::begin, Expat::end );
    XML_SetCharacterDataHandler( parser.get(), Expat::text );
    if( XML_Parse( parser.get(), text.data(), static_cast<int>( text.size() ), 1 ) !=
        XML_STATUS_OK ) {
        return std::nullopt;
    }
    return canonical.get();
}

std::optional<std::string> canonicalByLibxml2( std::string_view text ) {
    Canonical canonical;
    xmlSAXHandler handler = {};
    handler.startElement = Libxml2::begin;
    handler.endElement = Libxml2::end;
    handler.characters = Libxml2::text;
    handler.ignorableWhitespace = Libxml2::text;
    handler.cdataBlock = Libxml2::text;
    handler.getEntity = Libxml2::entity;
    const std::unique_ptr<xmlParserCtxt, decltype( &xmlFreeParserCtxt )> parser(
        xmlCreateMemoryParserCtxt( text.data(), static_cast<int>( text.size() ) ),
        &xmlFreeParserCtxt );
    if( parser == nullptr ) {
        return std::nullopt;
    }
    *parser->sax = handler;
    parser->userData = &canonical;
    parser->replaceEntities = 1;
    xmlParseDocument( parser.get() );
    return parser->wellFormed != 0 ? std::optional( canonical.get() ) : std::nullopt;
}

} // namespace Qv
