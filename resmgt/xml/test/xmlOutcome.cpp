#include <resmgt/xml/test/xmlOutcome.h>

#include <resmgt/osal/osFileReader.h>
#include <resmgt/xml/src/xmlParserEngine.imp>
#include <resmgt/xml/src/xmlParserStates.imp>
#include <resmgt/xml/xmlParser.h>

#include <fstream>
#include <functional>
#include <ostream>
#include <stdexcept>

namespace Qv {

std::ostream& operator<<( std::ostream& out, const XmlOutcome& outcome ) {
    return out << outcome.events << " | " << outcome.message << " at " << outcome.line << ":"
               << outcome.column << " (" << outcome.offset << ")";
}

namespace {

class Pieces {
public:
    Pieces( std::string_view text, std::size_t size )
        : _text( text )
        , _size( size ) {}

    std::string_view getNext() {
        const std::string_view next = _text.substr( 0, _size );
        _text.remove_prefix( next.size() );
        _piece.assign( next.begin(), next.end() );
        _piece.shrink_to_fit();
        return { _piece.data(), _piece.size() };
    }
    std::string getName() const { return "pieces"; }

private:
    std::string_view _text;
    std::size_t _size;
    std::vector<char> _piece;
};

XmlOutcome outcomeOf( const std::function<void( XmlParserProtocol& )>& parse ) {
    XmlRecorder recorder;
    XmlOutcome result;
    try {
        parse( recorder );
    } catch( const XmlEx::ExSyntaxError& error ) {
        result = { "", error.getMessage(), error.getLine(), error.getColumn(), error.getOffset() };
    }
    for( const std::string& event : recorder.events ) {
        result.events += result.events.empty() ? event : " " + event;
    }
    return result;
}

} // namespace

XmlOutcome parseText( const std::string& text, const XmlReadOptions& options ) {
    return outcomeOf(
        [&]( XmlParserProtocol& protocol ) { XmlParser::parse( protocol, text, options ); } );
}

XmlOutcome parsePieces( const std::string& text, std::size_t size, const XmlReadOptions& options ) {
    return outcomeOf( [&]( XmlParserProtocol& protocol ) {
        XmlParserEngine<Pieces>( protocol, options, Pieces( text, size ) ).run();
    } );
}

XmlOutcome parseFile( const std::string& path, std::size_t bufferSize,
                      const XmlReadOptions& options ) {
    return outcomeOf( [&]( XmlParserProtocol& protocol ) {
        OsFileReader reader( OsFilePath( path ), false );
        XmlFileParserEngine( protocol, options, XmlFileSource( reader, bufferSize ) ).run();
    } );
}

void writeFile( const std::string& path, const std::string& text ) {
    std::ofstream file( path, std::ios::binary );
    if( !( file << text ).flush() ) {
        throw std::runtime_error( path + " couldn't be written" );
    }
}

std::string utf16( std::u16string_view text, bool isBig ) {
    std::string result;
    for( const char16_t unit : text ) {
        const char bytes[] = { static_cast<char>( unit >> 8 ), static_cast<char>( unit & 0xFF ) };
        result += bytes[isBig ? 0 : 1];
        result += bytes[isBig ? 1 : 0];
    }
    return result;
}

} // namespace Qv
