#include <resmgt/xml/src/xmlAttributes.h>

#include <resmgt/xml/xmlWriter.h>

#include <algorithm>
#include <iterator>
#include <memory>
#include <new>

namespace Qv {

void XmlElement::Attributes::Indexed::set( std::string_view name, std::string_view value ) {
    const auto found = _byName.find( name );
    if( found != _byName.end() ) {
        found->second->setValueMB( std::string( value ) );
        return;
    }
    _all.emplace_back( name, value );
    try {
        _byName.emplace( _all.back().getNodeName(), std::prev( _all.end() ) );
    } catch( ... ) {
        _all.pop_back();
        throw;
    }
}

void XmlElement::Attributes::Indexed::remove( std::string_view name ) {
    const auto found = _byName.find( name );
    if( found != _byName.end() ) {
        const auto attribute = found->second;
        _byName.erase( found );
        _all.erase( attribute );
    }
}

bool XmlElement::Attributes::find( std::string_view name, std::string_view& value ) const {
    if( const Packed* const packed = getPacked() ) {
        const char* const at = packed->find( name );
        if( at == packed->end() ) {
            return false;
        }
        value = Packed::read( at ).value;
        return true;
    }
    const Indexed* const indexed = getIndexed();
    const XmlAttribute* const attribute = indexed == nullptr ? nullptr : indexed->find( name );
    if( attribute == nullptr ) {
        return false;
    }
    value = attribute->getValueMB();
    return true;
}

/// As nearly all that are read are added: behind others, where the memory goes on.
bool XmlElement::Attributes::append( std::string_view name, std::string_view value,
                                     XmlArena& arena ) noexcept {
    Packed* const packed = getPacked();
    if( packed == nullptr || packed->kind != Head::Kind::IN_ARENA || !packed->lacks( name ) ) {
        return false;
    }
    const std::size_t size = packed->getSize() + Packed::measure( name, value );
    if( !packed->mayBe( size, 1 ) || size <= packed->getCapacity() ||
        arena.append( size - packed->getCapacity() ) == nullptr ) {
        return false;
    }
    packed->extend( size - packed->getCapacity() );
    packed->append( name, value );
    return true;
}

void XmlElement::Attributes::set( std::string_view name, std::string_view value, XmlArena* arena ) {
    if( arena != nullptr && append( name, value, *arena ) ) {
        return;
    }
    if( Indexed* const indexed = getIndexed() ) {
        indexed->set( name, value );
        return;
    }
    const Packed none( Head::Kind::ON_HEAP, 0 );
    const Packed* const packed = _head == nullptr ? &none : getPacked();
    const char* const at = packed->find( name );
    const bool isNew = at == packed->end();
    const auto offset = static_cast<std::size_t>( at - packed->begin() );
    const std::size_t former = isNew ? 0 : Packed::read( at ).getSize();
    const std::size_t size = packed->getSize() - former + Packed::measure( name, value );
    if( !packed->mayBe( size, isNew ) ) {
        makeIndexed().set( name, value );
        return;
    }
    Packed& roomy = makeRoom( size, arena );
    if( isNew ) {
        roomy.append( name, value );
    } else {
        roomy.replaceValue( offset, value );
    }
}

void XmlElement::Attributes::remove( std::string_view name ) {
    if( Indexed* const indexed = getIndexed() ) {
        indexed->remove( name );
    } else if( Packed* const packed = getPacked() ) {
        const char* const at = packed->find( name );
        if( at != packed->end() ) {
            packed->remove( at );
        }
    }
}

/// Into one that has none.
void XmlElement::Attributes::copy( const Attributes& source, XmlArena* arena ) {
    if( const Packed* const packed = source.getPacked() ) {
        makeRoom( packed->getSize(), arena ).copy( *packed );
    } else if( source._head != nullptr ) {
        Indexed& indexed = makeIndexed();
        source.forEach(
            [&]( std::string_view name, std::string_view value ) { indexed.set( name, value ); } );
    }
}

void XmlElement::Attributes::streamToOutput( XmlWriter& writer ) const {
    if( const Indexed* const indexed = getIndexed() ) {
        for( const XmlAttribute& attribute : indexed->getAll() ) {
            attribute.streamToOutput( writer );
        }
    } else {
        forEach( [&]( std::string_view name, std::string_view value ) {
            writer.writeSlackAttrib( name, value );
        } );
    }
}

/// Packed, each takes as much as it will: the sizes stand for a blank, "=" and two quotes.
std::size_t XmlElement::Attributes::estimateText() const noexcept {
    const Packed* const packed = getPacked();
    return packed == nullptr ? 0 : packed->getSize();
}

void XmlElement::Attributes::clear() noexcept {
    if( Indexed* const indexed = getIndexed() ) {
        delete indexed;
    } else if( _head != nullptr && _head->kind == Head::Kind::ON_HEAP ) {
        ::operator delete( _head );
    }
    _head = nullptr;
}

/// Packed attributes with room for `size` bytes in all. In the arena they grow where they are.
XmlElement::Attributes::Packed& XmlElement::Attributes::makeRoom( std::size_t size,
                                                                  XmlArena* arena ) {
    Packed* const packed = getPacked();
    const std::size_t capacity = packed == nullptr ? 0 : packed->getCapacity();
    if( packed != nullptr && size <= capacity ) {
        return *packed;
    }
    if( arena != nullptr && packed == nullptr ) {
        char* const memory = arena->append( sizeof( Packed ) + size );
        if( memory != nullptr ) {
            Packed* const made = ::new( memory ) Packed( Head::Kind::IN_ARENA, size );
            _head = made;
            return *made;
        }
    } else if( arena != nullptr && packed->kind == Head::Kind::IN_ARENA &&
               arena->append( size - capacity ) != nullptr ) {
        packed->extend( size - capacity );
        return *packed;
    }
    constexpr std::size_t LEAST = 64;
    const std::size_t more = std::max( { size, 2 * capacity, LEAST } );
    Packed* const made = ::new( ::operator new( sizeof( Packed ) + more + XmlCopy::SLACK ) )
        Packed( Head::Kind::ON_HEAP, more );
    if( packed != nullptr ) {
        made->copy( *packed );
    }
    clear();
    _head = made;
    return *made;
}

XmlElement::Attributes::Indexed& XmlElement::Attributes::makeIndexed() {
    auto made = std::make_unique<Indexed>();
    forEach( [&]( std::string_view name, std::string_view value ) { made->set( name, value ); } );
    clear();
    Indexed* const indexed = made.release();
    _head = indexed;
    return *indexed;
}

} // namespace Qv
