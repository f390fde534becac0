#include <resmgt/xml/test/xmlOutcome.h>

#include <resmgt/osal/osFileReader.h>
#include <resmgt/xml/src/xmlParserEngine.h>
#include <resmgt/xml/xmlParser.h>

#include <fstream>
#include <functional>
#include <ostream>
#include <stdexcept>

namespace Qv {

void XmlRecorder::notifyBeginElement( const std::string& name, int line ) {
    add( "(" + name, line );
}

void XmlRecorder::notifyEmptyElementEnd( int line ) {
    add( "/", line );
}

void XmlRecorder::notifyStartTagEnd( int line ) {
    add( ">", line );
}

void XmlRecorder::notifyClosingElement( const std::string& name, int line ) {
    add( ")" + name, line );
}

void XmlRecorder::pushAttribute( const std::string& name, const std::string& value, int line ) {
    add( name + "=" + value, line );
}

void XmlRecorder::notifyTextData( const std::string& text, int line ) {
    add( "'" + text + "'", line );
}

void XmlRecorder::add( const std::string& event, int line ) {
    events.push_back( event + ":" + std::to_string( line ) );
}

std::ostream& operator<<( std::ostream& out, const XmlOutcome& outcome ) {
    return out << outcome.events << " | " << outcome.message << " at " << outcome.line << ":"
               << outcome.column << " (" << outcome.offset << ")";
}

namespace {

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

} // namespace Qv
