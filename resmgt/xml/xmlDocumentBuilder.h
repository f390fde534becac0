#pragma once

#include <base/ownership/rcShdPtr.h>
#include <resmgt/xml/xmlParserProtocol.h>

#include <memory>
#include <vector>

namespace Qv {

class XmlArena;
class XmlDocument;
class XmlElement;

/// Makes a tree in a document of the events of a parse.
///
/// Roots:    the first element of all becomes the document's root, in place of one that was
///           there; a second root's tree is dropped.
/// End tags: one behind the root's end that has the root's name, as in `<a/></a>`, is taken as if
///           it weren't there.
/// Attributes: of equal ones the last counts, in the first one's place.
/// Unterminated: the tree has the open elements, and XmlDocument::isComplete is false.
/// Errors:   XmlEx::ExSyntaxError; the document keeps what it has. Where one speaks of an element
///           that is "given", "expected" or "root" it has the element's name.
class QV_RESMGT_API XmlDocumentBuilder : public XmlParserProtocol {
public:
    /// The document must outlive the builder. Elements that are open must stay where they are
    /// meanwhile.
    explicit XmlDocumentBuilder( XmlDocument& document );
    ~XmlDocumentBuilder() override;

    /// Errors: XmlEx::ExXmlVersionNotSupported for a version other than "1.0".
    void createXmlDeclaration( const std::string& version, int line ) override;
    void createDocumentType( const std::string& name, int line ) override;
    void notifyBeginElement( const std::string& name, int line ) override;
    void notifyEmptyElementEnd( int line ) override;
    void notifyClosingElement( const std::string& name, int line ) override;
    void pushAttribute( const std::string& name, const std::string& value, int line ) override;
    void notifyTextData( const std::string& text, int line ) override;
    void notifyCharacterData( const std::string& data, int line ) override;

private:
    [[noreturn]] void fail( const std::string& message, int line ) const;
    void setData( const std::string& text, int line, const char* problem );
    void popElement();

    XmlDocument& _document;
    const std::unique_ptr<XmlArena> _arena;
    std::vector<XmlElement*> _openElements;
    bool _hasRoot = false;
    /// Of the tree that is dropped.
    RCShdPtr<XmlElement> _otherRoot;
};

} // namespace Qv
