#include <resmgt/xml/xmlDocumentBuilder.h>

#include <base/failure/qvHere.h>
#include <resmgt/xml/src/xmlArena.h>
#include <resmgt/xml/src/xmlAttributes.h>
#include <resmgt/xml/xmlDocument.h>

namespace Qv {

XmlDocumentBuilder::XmlDocumentBuilder( XmlDocument& document )
    : _document( document )
    , _arena( std::make_unique<XmlArena>() ) {}

XmlDocumentBuilder::~XmlDocumentBuilder() = default;

void XmlDocumentBuilder::createXmlDeclaration( const std::string& version, int line ) {
    if( version != "1.0" ) {
        throw XmlEx::ExXmlVersionNotSupported( QV_HERE, line, getFileName() );
    }
}

void XmlDocumentBuilder::createDocumentType( const std::string& name, int ) {
    _document.setDocumentType( OPtr<XmlDocumentType>( new XmlDocumentType( name ) ) );
}

void XmlDocumentBuilder::notifyBeginElement( const std::string& name, int line ) {
    OPtr<XmlElement> owner( new( *_arena ) XmlElement( name, line ) );
    XmlElement* const element = owner.get();
    if( !_openElements.empty() ) {
        XmlElement& parent = *_openElements.back();
        parent.insertAt( parent._children.size(), *element );
        [[maybe_unused]] const XmlElement* const adopted = owner.release();
    } else {
        RCShdPtr<XmlElement>& root = _hasRoot ? _otherRoot : _document._root;
        root = RCShdPtr<XmlElement>( owner.release() );
        _hasRoot = true;
    }
    _openElements.push_back( element );
    _document._isComplete = false;
}

void XmlDocumentBuilder::notifyEmptyElementEnd( int ) {
    popElement();
}

void XmlDocumentBuilder::notifyClosingElement( const std::string& name, int line ) {
    if( !_openElements.empty() ) {
        const std::string& expected = _openElements.back()->getNodeName();
        if( name != expected ) {
            fail( "at \"" + name + "\" element end tag. End tag " + expected + "\" missing", line );
        }
    } else if( _document._root.isNull() ) {
        fail( "No root element", line );
    } else if( name != _document._root->getNodeName() ) {
        fail( name + "\" is not the root element, expected " + _document._root->getNodeName(),
              line );
    }
    popElement();
}

void XmlDocumentBuilder::pushAttribute( const std::string& name, const std::string& value,
                                        int line ) {
    if( _openElements.empty() ) {
        fail( "Can't pushAttribute : No valid element", line );
    }
    XmlElement& element = *_openElements.back();
    element._attributes.set( name, value, _arena->isNewest( &element ) ? _arena.get() : nullptr );
}

void XmlDocumentBuilder::notifyTextData( const std::string& text, int line ) {
    setData( text, line, "No valid element for adding text data" );
}

void XmlDocumentBuilder::notifyCharacterData( const std::string& data, int line ) {
    setData( data, line, "No valid element for adding character data" );
}

void XmlDocumentBuilder::setData( const std::string& text, int line, const char* problem ) {
    if( _openElements.empty() ) {
        fail( problem, line );
    }
    _openElements.back()->_data = text;
}

/// The stack may be empty already.
void XmlDocumentBuilder::popElement() {
    if( !_openElements.empty() ) {
        _openElements.pop_back();
    }
    if( _openElements.empty() ) {
        _otherRoot.reset();
        _document._isComplete = true;
    }
}

/// Where the parser reports a place it is exact; an event from elsewhere has its line alone.
void XmlDocumentBuilder::fail( const std::string& message, int line ) const {
    XmlPosition position = getPosition();
    if( position.line != line ) {
        position = { line, 0, 0 };
    }
    throw XmlEx::ExSyntaxError( QV_HERE, message, position, getFileName() );
}

} // namespace Qv
