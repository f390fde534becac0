#include <resmgt/xml/xmlParser.h>

#include <resmgt/xml/src/xmlParserEngine.h>

namespace Qv {

void XmlParser::parse( XmlParserProtocol& protocol, OsFileReader& reader ) {
    parse( protocol, reader, XmlReadOptions() );
}

void XmlParser::parse( XmlParserProtocol& protocol, OsFileReader& reader,
                       const XmlReadOptions& options ) {
    XmlFileParserEngine( protocol, options, XmlFileSource( reader ) ).run();
}

void XmlParser::parse( XmlParserProtocol& protocol, const std::string& text ) {
    parse( protocol, text, XmlReadOptions() );
}

void XmlParser::parse( XmlParserProtocol& protocol, const std::string& text,
                       const XmlReadOptions& options ) {
    XmlStringParserEngine( protocol, options, XmlStringSource( text ) ).run();
}

} // namespace Qv
