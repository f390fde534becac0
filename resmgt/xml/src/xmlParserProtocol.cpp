#include <resmgt/xml/xmlParserProtocol.h>

#include <resmgt/xml/src/xmlPositionSource.h>

namespace Qv {

XmlParserProtocol::XmlParserProtocol() = default;

void XmlParserProtocol::createXmlDeclaration( const std::string&, int ) {}

void XmlParserProtocol::createDocumentType( const std::string&, int ) {}

void XmlParserProtocol::notifyBeginElement( const std::string&, int ) {}

void XmlParserProtocol::notifyEmptyElementEnd( int ) {}

void XmlParserProtocol::notifyStartTagEnd( int ) {}

void XmlParserProtocol::notifyClosingElement( const std::string&, int ) {}

void XmlParserProtocol::pushAttribute( const std::string&, const std::string&, int ) {}

void XmlParserProtocol::notifyTextData( const std::string&, int ) {}

void XmlParserProtocol::notifyCharacterData( const std::string&, int ) {}

XmlParserProtocol::~XmlParserProtocol() = default;

bool XmlParserProtocol::keepParsing() const {
    return true;
}

void XmlParserProtocol::setFileName( const std::string& name ) {
    _fileName = name;
}

const std::string& XmlParserProtocol::getFileName() const noexcept {
    return _fileName;
}

XmlPosition XmlParserProtocol::getPosition() const {
    return _positionSource != nullptr ? _positionSource->getPosition() : XmlPosition{};
}

} // namespace Qv
