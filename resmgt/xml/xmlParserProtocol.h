#pragma once

#include <resmgt/resmgtApi.h>
#include <resmgt/xml/xmlEx.h>

#include <string>

namespace Qv {

class XmlPositionSource;

/// Receives the events of a parse.
///
/// `line` is that of the event's last byte in the document, from 1, a line feed being the last byte
/// of its line. The strings belong to the parser, which uses them again: copy what is to stay. An
/// exception that an event raises ends the parse and passes through it.
///
///     <a b="1">text</a>    notifyBeginElement( "a" ), pushAttribute( "b", "1" ),
///                          notifyStartTagEnd, notifyTextData( "text" ),
///                          notifyClosingElement( "a" )
///     <a b="1"/>           notifyBeginElement( "a" ), pushAttribute( "b", "1" ),
///                          notifyEmptyElementEnd
class QV_RESMGT_API XmlParserProtocol {
public:
    XmlParserProtocol();
    XmlParserProtocol( const XmlParserProtocol& ) = delete;
    XmlParserProtocol& operator=( const XmlParserProtocol& ) = delete;

    /// XmlParser doesn't call it: it drops declarations and document types.
    virtual void createXmlDeclaration( const std::string& version, int line );
    /// A document type declaration was read.
    virtual void createDocumentType( const std::string& name, int line );
    /// The name of a start tag was read.
    virtual void notifyBeginElement( const std::string& name, int line );
    /// A "/>", of the element that began last.
    virtual void notifyEmptyElementEnd( int line );
    /// The ">" of a start tag; XmlParser omits it when that follows the element's name directly.
    virtual void notifyStartTagEnd( int line );
    /// An end tag was read.
    virtual void notifyClosingElement( const std::string& name, int line );
    /// References in `value` are resolved.
    virtual void pushAttribute( const std::string& name, const std::string& value, int line );
    /// Without the white space that the text begins with, and with references resolved.
    virtual void notifyTextData( const std::string& text, int line );
    /// XmlParser doesn't call it: it has no character data sections.
    virtual void notifyCharacterData( const std::string& data, int line );
    virtual ~XmlParserProtocol();
    /// Is asked after each event. False ends the parse without an error, and no further event
    /// follows; but the two events of an empty element without white space, "<a/>", are one.
    virtual bool keepParsing() const;

    /// The document's name in messages; the parser sets it at its start. A parse that an event
    /// starts with this protocol leaves the name as it was.
    void setFileName( const std::string& name );
    const std::string& getFileName() const noexcept;

    /// The last byte of the event that is being reported. All 0 outside of a parse.
    XmlPosition getPosition() const;

private:
    friend class XmlPositionSource;

    std::string _fileName;
    const XmlPositionSource* _positionSource = nullptr;
};

} // namespace Qv
