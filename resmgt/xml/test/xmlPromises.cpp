#include <resmgt/xml/test/xmlPromises.h>

#include <resmgt/xml/test/xmlOutcome.h>
#include <resmgt/xml/test/xmlPeers.h>
#include <resmgt/xml/xmlDocument.h>
#include <resmgt/xml/xmlEx.h>

#include <optional>
#include <stdexcept>
#include <string>

namespace Qv::XmlPromises {

namespace {

void expect( bool holds, const char* promise, std::string_view text ) {
    if( !holds ) {
        throw std::logic_error( std::string( promise ) + ": '" + std::string( text ) + "'" );
    }
}

/// None for a document that is refused.
std::optional<std::string> readStrictly( const std::string& text ) {
    try {
        return canonicalByQv( text, true );
    } catch( const XmlEx::ExSyntaxError& ) {
        return std::nullopt;
    }
}

} // namespace

void checkPieces( std::string_view text ) {
    const std::string document( text );
    for( const bool strict : { false, true } ) {
        XmlReadOptions options;
        options.strict = strict;
        options.maxDepth = 20;
        options.maxTokenSize = 40;
        const XmlOutcome outcome = parseText( document, options );
        for( const std::size_t size : { 1U, 2U, 5U, 16U, 33U } ) {
            expect( parsePieces( document, size, options ) == outcome, "pieces matter", text );
        }
    }
}

void checkStrictly( std::string_view text ) {
    if( const std::optional<std::string> own = readStrictly( std::string( text ) ) ) {
        const std::optional<std::string> other = canonicalByExpat( text );
        expect( other.has_value(), "expat refuses", text );
        expect( *own == *other, "expat reads otherwise", text );
    }
}

void checkWriting( std::string_view text ) {
    const std::string document( text );
    if( const std::optional<std::string> own = readStrictly( document ) ) {
        XmlReadOptions options;
        options.strict = true;
        XmlDocument tree;
        tree.loadText( document, options );
        expect( tree.isComplete(), "a whole document isn't complete", text );
        for( const int indentation : { 0, 1, 4 } ) {
            const std::string written = tree.streamToString( indentation );
            expect( readStrictly( written ) == own, "what is written differs", written );
        }
    }
}

} // namespace Qv::XmlPromises
