#include <resmgt/xml/xmlElement.h>

#include <base/failure/assertions.h>
#include <base/text/wideStringUtil.h>
#include <resmgt/xml/src/xmlAttributes.h>
#include <resmgt/xml/src/xmlConversion.h>
#include <resmgt/xml/src/xmlWriterBulk.h>
#include <resmgt/xml/xmlEx.h>

#include <algorithm>
#include <climits>
#include <unordered_set>
#include <utility>
#include <vector>

namespace Qv {

/// Goes by the place, so that a change of the children can't lead it astray.
class XmlElement::ChildIteratorEng final : public IteratorEng<RCShdPtr<XmlElement>> {
public:
    explicit ChildIteratorEng( const XmlElement& parent )
        : _parent( parent ) {
        take();
    }

    const RCShdPtr<XmlElement>* getCurrent() const override {
        return _current.isNull() ? nullptr : &_current;
    }
    void advance() override {
        ++_index;
        take();
    }
    ChildIteratorEng* clone() const override { return new ChildIteratorEng( *this ); }

private:
    void take() {
        const Children& children = _parent._children;
        _current = RCShdPtr<XmlElement>( _index < children.size() ? children[_index] : nullptr );
    }

    const XmlElement& _parent;
    std::size_t _index = 0;
    RCShdPtr<XmlElement> _current;
};

XmlElement::Children::~Children() {
    freeMany();
}

void XmlElement::Children::freeMany() noexcept {
    if( _capacity != 1 ) {
        delete[] _many;
    }
}

void XmlElement::Children::reserve( std::size_t capacity ) {
    if( capacity <= _capacity ) {
        return;
    }
    QV_ASSERT( capacity <= INT_MAX );
    XmlElement** const more = new XmlElement*[capacity];
    std::copy( begin(), end(), more );
    freeMany();
    _many = more;
    _capacity = static_cast<std::uint32_t>( capacity );
}

void XmlElement::Children::insert( std::size_t index, XmlElement* child ) {
    if( _size == _capacity ) {
        constexpr std::size_t LEAST = 4;
        reserve( std::max<std::size_t>( LEAST, std::size_t{ 2 } * _capacity ) );
    }
    XmlElement** const place = const_cast<XmlElement**>( begin() ) + index;
    std::copy_backward( place, place + ( _size - index ), place + ( _size - index ) + 1 );
    *place = child;
    ++_size;
}

void XmlElement::Children::erase( std::size_t index ) noexcept {
    XmlElement** const place = const_cast<XmlElement**>( begin() ) + index;
    std::copy( place + 1, place + ( _size - index ), place );
    --_size;
}

XmlElement::XmlElement( std::string_view name, int line )
    : XmlNode( name )
    , _line( static_cast<unsigned int>( std::max( line, 0 ) ) & INT_MAX )
    , _wasChild( 0 ) {}

XmlElement::XmlElement( std::string_view name )
    : XmlElement( name, 0 ) {}

/// Those below that nobody else holds are chained up and go one after the other, each without
/// children by then.
XmlElement::~XmlElement() {
    XmlElement* dying = nullptr;
    const auto dropChildren = [&]( XmlElement& parent ) {
        for( XmlElement* const child : parent._children ) {
            // Whom nobody else has nobody else can take: that needs no exchange with other threads.
            if( child->getRefCount() == 1 || child->removeReference() ) {
                child->_nextDying = std::exchange( dying, child );
            }
        }
        parent._children.clear();
    };
    dropChildren( *this );
    XmlArena::Releases memory;
    while( dying != nullptr ) {
        XmlElement* const element = std::exchange( dying, dying->_nextDying );
        dropChildren( *element );
        element->~XmlElement();
        memory.add( element );
    }
}

RCShdPtr<XmlElement> XmlElement::create( XmlArena& arena, std::string_view name, int line ) {
    return RCShdPtr<XmlElement>( new( arena ) XmlElement( name, line ) );
}

void* XmlElement::operator new( std::size_t size ) {
    return XmlArena::allocateAlone( size );
}

void* XmlElement::operator new( std::size_t size, XmlArena& arena ) {
    return arena.allocate( size );
}

void XmlElement::operator delete( void* memory ) noexcept {
    XmlArena::release( memory );
}

void XmlElement::operator delete( void* memory, XmlArena& ) noexcept {
    XmlArena::release( memory );
}

/// Calls `enter` for this element and all below it in the document's order, and `leave` behind the
/// last one below each.
template <class Enter, class Leave>
void XmlElement::walk( const Enter& enter, const Leave& leave ) const {
    struct Place {
        const XmlElement* element;
        std::size_t nextChild;
    };
    std::vector<Place> open;
    const XmlElement* next = this;
    while( true ) {
        if( next != nullptr ) {
            enter( *next );
            open.push_back( { next, 0 } );
        }
        Place& place = open.back();
        if( place.nextChild < place.element->_children.size() ) {
            next = place.element->_children[place.nextChild++];
        } else {
            leave( *place.element );
            open.pop_back();
            next = nullptr;
        }
        if( open.empty() ) {
            return;
        }
    }
}

RCShdPtr<XmlElement> XmlElement::clone() const {
    XmlArena arena;
    RCShdPtr<XmlElement> root;
    std::vector<XmlElement*> open;
    walk(
        [&]( const XmlElement& source ) {
            const RCShdPtr<XmlElement> copy =
                create( arena, source.getNodeName(), source.getLine() );
            copy->_attributes.copy( source._attributes, &arena );
            copy->_data = source._data;
            copy->_children.reserve( source._children.size() );
            if( open.empty() ) {
                root = copy;
            } else {
                open.back()->appendChild( copy );
            }
            open.push_back( copy.get() );
        },
        [&]( const XmlElement& ) { open.pop_back(); } );
    return root;
}

void XmlElement::appendChild( const RCShdPtr<XmlElement>& child ) {
    checkNewChild( child );
    insertAt( _children.size(), *child );
}

void XmlElement::insertBefore( const RCShdPtr<XmlElement>& child,
                               const RCShdPtr<XmlElement>& reference ) {
    checkNewChild( child );
    insertAt( findChild( reference ), *child );
}

void XmlElement::replaceChild( const RCShdPtr<XmlElement>& child,
                               const RCShdPtr<XmlElement>& former ) {
    checkNewChild( child );
    insertAt( findChild( former ), *child );
    removeChild( former );
}

void XmlElement::removeChild( const RCShdPtr<XmlElement>& child ) {
    const std::size_t place = findChild( child );
    const RCShdPtr<XmlElement> kept( _children[place] );
    _children.erase( place );
    [[maybe_unused]] const bool wasLast = kept->removeReference();
}

ConstIterator<RCShdPtr<XmlElement>> XmlElement::getChildren() const {
    return ConstIterator<RCShdPtr<XmlElement>>( new ChildIteratorEng( *this ) );
}

RCShdPtr<XmlElement> XmlElement::getElementByTagName( std::string_view name ) const {
    const auto found = std::ranges::find( _children, name, &XmlElement::getNodeName );
    return RCShdPtr<XmlElement>( found == _children.end() ? nullptr : *found );
}

Vector<RCShdPtr<XmlElement>> XmlElement::getElementsByTagName( std::string_view name ) const {
    Vector<RCShdPtr<XmlElement>> found;
    for( XmlElement* const child : _children ) {
        if( child->getNodeName() == name ) {
            found.emplace_back( child );
        }
    }
    return found;
}

Vector<RCShdPtr<XmlElement>> XmlElement::getAllElementsByTagName( std::string_view name ) const {
    Vector<RCShdPtr<XmlElement>> found;
    walk(
        [&]( const XmlElement& element ) {
            if( &element != this && element.getNodeName() == name ) {
                found.emplace_back( const_cast<XmlElement*>( &element ) );
            }
        },
        []( const XmlElement& ) {} );
    return found;
}

/// Whether this element is `from` or below it. Each element is asked once, in however many places
/// it stands.
bool XmlElement::isReachable( const XmlElement& from ) const {
    if( this == &from ) {
        return true;
    }
    if( !_wasChild || from._children.size() == 0 ) {
        return false;
    }
    std::unordered_set<const XmlElement*> seen{ &from };
    std::vector<const XmlElement*> open{ &from };
    while( !open.empty() && !seen.contains( this ) ) {
        const XmlElement* const element = open.back();
        open.pop_back();
        for( const XmlElement* const child : element->_children ) {
            if( seen.insert( child ).second ) {
                open.push_back( child );
            }
        }
    }
    return seen.contains( this );
}

void XmlElement::checkNewChild( const RCShdPtr<XmlElement>& child ) const {
    QV_ASSERT( !isReachable( *child ) );
}

/// Errors: XmlEx::ExLexicalError for what isn't one.
void XmlElement::checkNames() const {
    walk(
        []( const XmlElement& element ) {
            const auto check = [&]( std::string_view name, std::string_view ) {
                if( !isName( name ) ) {
                    throw XmlEx::ExLexicalError( QV_HERE, std::string( name ), element.getLine() );
                }
            };
            check( element.getNodeName(), {} );
            element._attributes.forEach( check );
        },
        []( const XmlElement& ) {} );
}

/// The bytes that this element takes as a text, or a little fewer.
std::size_t XmlElement::estimateText( bool isIndenting, int indentation ) const {
    constexpr std::size_t EMPTY_TAG = 3;
    constexpr std::size_t TWO_TAGS = 5;
    const std::size_t blanks = static_cast<std::size_t>( std::max( indentation, 0 ) );
    std::size_t size = 0;
    std::size_t depth = 0;
    const auto addLine = [&] { size += isIndenting ? 1 + depth * blanks : 0; };
    walk(
        [&]( const XmlElement& element ) {
            addLine();
            const bool isEmpty = element._data.empty() && element._children.size() == 0;
            const std::size_t name = element.getNodeName().size();
            size += isEmpty ? EMPTY_TAG + name : TWO_TAGS + 2 * name;
            size += element._attributes.estimateText() + element._data.size();
            ++depth;
        },
        [&]( const XmlElement& element ) {
            --depth;
            if( element._children.size() != 0 ) {
                addLine();
            }
        } );
    return size;
}

std::size_t XmlElement::findChild( const RCShdPtr<XmlElement>& child ) const {
    const auto found = std::ranges::find( _children, child.get() );
    if( found == _children.end() ) {
        throw XmlEx::ExChildNotFound( QV_HERE );
    }
    return static_cast<std::size_t>( found - _children.begin() );
}

void XmlElement::insertAt( std::size_t index, XmlElement& child ) {
    _children.insert( index, &child );
    child.addReference();
    child._wasChild = 1;
}

std::wstring XmlElement::getAttribute( std::string_view name ) const {
    return WideStringUtil::widen( getAttributeMB( name ) );
}

std::string XmlElement::getAttributeMB( std::string_view name ) const {
    std::string value;
    if( !getAttributeMB( name, value ) ) {
        throw XmlEx::ExNonExistentAttribute( QV_HERE );
    }
    return value;
}

template <class T>
bool XmlElement::readAttribute( std::string_view name, T& value ) const {
    std::string_view text;
    const bool isThere = _attributes.find( name, text );
    if( isThere ) {
        XmlConversion::toValue( std::string( text ), value );
    }
    return isThere;
}

bool XmlElement::getAttribute( std::string_view name, bool& value ) const {
    return readAttribute( name, value );
}

bool XmlElement::getAttribute( std::string_view name, int& value ) const {
    return readAttribute( name, value );
}

bool XmlElement::getAttribute( std::string_view name, unsigned int& value ) const {
    return readAttribute( name, value );
}

bool XmlElement::getAttribute( std::string_view name, long long& value ) const {
    return readAttribute( name, value );
}

bool XmlElement::getAttribute( std::string_view name, float& value ) const {
    return readAttribute( name, value );
}

bool XmlElement::getAttribute( std::string_view name, double& value ) const {
    return readAttribute( name, value );
}

bool XmlElement::getAttribute( std::string_view name, std::wstring& value ) const {
    return readAttribute( name, value );
}

bool XmlElement::getAttributeMB( std::string_view name, std::string& value ) const {
    return readAttribute( name, value );
}

bool XmlElement::getAttributeMB( std::string_view name, std::string& value,
                                 const std::string& defaultValue ) const {
    const bool isThere = getAttributeMB( name, value );
    if( !isThere ) {
        value = defaultValue;
    }
    return isThere;
}

Vector<XmlAttribute> XmlElement::getAttributes() const {
    Vector<XmlAttribute> all;
    _attributes.forEach(
        [&]( std::string_view name, std::string_view value ) { all.emplace_back( name, value ); } );
    return all;
}

void XmlElement::setAttribute( std::string_view name, const XmlValue& value ) {
    _attributes.set( name, value.getText(), nullptr );
}

void XmlElement::removeAttribute( std::string_view name ) {
    _attributes.remove( name );
}

std::wstring XmlElement::getData() const {
    return WideStringUtil::widen( _data );
}

void XmlElement::getData( bool& value ) const {
    XmlConversion::toValue( _data, value );
}

void XmlElement::getData( int& value ) const {
    XmlConversion::toValue( _data, value );
}

void XmlElement::getData( unsigned int& value ) const {
    XmlConversion::toValue( _data, value );
}

void XmlElement::getData( long long& value ) const {
    XmlConversion::toValue( _data, value );
}

void XmlElement::getData( float& value ) const {
    XmlConversion::toValue( _data, value );
}

void XmlElement::getData( double& value ) const {
    XmlConversion::toValue( _data, value );
}

void XmlElement::setData( const XmlValue& value ) {
    _data = value.getText();
}

bool XmlElement::isTrue( std::string_view childName, bool defaultValue ) const {
    const RCShdPtr<XmlElement> child = getElementByTagName( childName );
    bool value = defaultValue;
    if( !child.isNull() ) {
        child->getData( value );
    }
    return value;
}

std::string XmlElement::toString() const {
    return XmlWriter::writeToString( *this, 0 );
}

void XmlElement::streamToOutput( XmlWriter& writer ) const {
    streamAs( getNodeName(), writer );
}

void XmlElement::streamChildren( XmlWriter& writer ) const {
    XmlWriter::Bulk bulk( writer );
    for( const XmlElement* const child : _children ) {
        child->streamToOutput( writer );
    }
    bulk.flush();
}

void XmlElement::streamAs( std::string_view name, XmlWriter& writer ) const {
    XmlWriter::Bulk bulk( writer );
    walk(
        [&]( const XmlElement& element ) {
            writer.openTag( &element == this ? name : element.getNodeName() );
            element._attributes.streamToOutput( writer );
            if( !element._data.empty() ) {
                writer.writeData( element._data );
            }
        },
        [&]( const XmlElement& ) { writer.closeTag(); } );
    bulk.flush();
}

} // namespace Qv
