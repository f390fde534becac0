#pragma once

#include <resmgt/xml/src/xmlArena.h>
#include <resmgt/xml/src/xmlCopy.h>
#include <resmgt/xml/xmlElement.h>

#include <cstdint>
#include <cstring>
#include <list>
#include <map>

namespace Qv {

struct XmlElement::Attributes::Head {
    enum class Kind : std::uint8_t { IN_ARENA, ON_HEAP, INDEXED };

    const Kind kind;
};

/// A few short attributes in a row behind this head, each as the sizes of its name and value and
/// their bytes. XmlCopy::SLACK bytes can be read behind all of it. There are so few that each
/// search goes through all, and a change moves the rest.
class XmlElement::Attributes::Packed : public Head {
public:
    /// An attribute as it lies there.
    struct Entry {
        std::size_t getSize() const noexcept { return measure( name, value ); }

        std::string_view name;
        std::string_view value;
    };

    Packed( Kind place, std::size_t capacity ) noexcept
        : Head{ place }
        , _capacity( static_cast<std::uint16_t>( capacity ) ) {}

    /// What an attribute takes.
    static std::size_t measure( std::string_view name, std::string_view value ) noexcept {
        return 2 * sizeof( Size ) + name.size() + value.size();
    }
    /// Whether the attributes may become so many bytes, and so many more.
    bool mayBe( std::size_t size, int nbMore ) const noexcept {
        constexpr std::size_t MOST_BYTES = 4096;
        constexpr int MOST_ATTRIBUTES = 48;
        return size <= MOST_BYTES && _count + nbMore <= MOST_ATTRIBUTES;
    }

    std::size_t getSize() const noexcept { return _size; }
    std::size_t getCapacity() const noexcept { return _capacity; }
    void extend( std::size_t size ) noexcept {
        _capacity = static_cast<std::uint16_t>( _capacity + size );
    }
    char* getBytes() const noexcept {
        return const_cast<char*>( reinterpret_cast<const char*>( this + 1 ) );
    }

    /// Where the first entry begins, and where the last one ends.
    const char* begin() const noexcept { return getBytes(); }
    const char* end() const noexcept { return getBytes() + _size; }
    static Entry read( const char* at ) noexcept {
        Size sizes[2];
        std::memcpy( sizes, at, sizeof( sizes ) );
        const char* const text = at + sizeof( sizes );
        return { { text, sizes[0] }, { text + sizes[0], sizes[1] } };
    }
    /// Whether it is certain that there is none of the name.
    bool lacks( std::string_view name ) const noexcept { return ( _marks & markOf( name ) ) == 0; }
    /// `end` without one.
    const char* find( std::string_view name ) const noexcept {
        if( lacks( name ) ) {
            return end();
        }
        const char* at = begin();
        while( at != end() ) {
            const Entry entry = read( at );
            if( entry.name == name ) {
                break;
            }
            at += entry.getSize();
        }
        return at;
    }

    /// REQUIRES: room, as of the next one.
    void append( std::string_view name, std::string_view value ) noexcept {
        char* const at = getBytes() + _size;
        const Size sizes[] = { static_cast<Size>( name.size() ),
                               static_cast<Size>( value.size() ) };
        std::memcpy( at, sizes, sizeof( sizes ) );
        XmlCopy::copy( XmlCopy::copy( at + sizeof( sizes ), name ), value );
        _size = static_cast<Size>( _size + measure( name, value ) );
        ++_count;
        _marks |= markOf( name );
    }
    void replaceValue( std::size_t offset, std::string_view value ) noexcept {
        char* const at = getBytes() + offset;
        const Entry entry = read( at );
        char* const place = at + measure( entry.name, {} );
        const char* const behind = place + entry.value.size();
        std::memmove( place + value.size(), behind, static_cast<std::size_t>( end() - behind ) );
        XmlCopy::copy( place, value );
        _size = static_cast<Size>( _size - entry.value.size() + value.size() );
        const auto size = static_cast<Size>( value.size() );
        std::memcpy( at + sizeof( Size ), &size, sizeof( Size ) );
    }
    void remove( const char* at ) noexcept {
        const std::size_t size = read( at ).getSize();
        char* const place = getBytes() + ( at - begin() );
        std::memmove( place, at + size, static_cast<std::size_t>( end() - at ) - size );
        _size = static_cast<Size>( _size - size );
        --_count;
    }
    void copy( const Packed& source ) noexcept {
        std::memcpy( getBytes(), source.begin(), source._size );
        _size = source._size;
        _count = source._count;
        _marks = source._marks;
    }

private:
    using Size = std::uint16_t;

    /// One bit, which few other names have.
    static std::uint32_t markOf( std::string_view name ) noexcept {
        constexpr unsigned int NB_BITS = 32;
        const unsigned int ends = name.empty() ? 0U
                                               : static_cast<unsigned char>( name.front() ) +
                                                     5U * static_cast<unsigned char>( name.back() );
        return std::uint32_t{ 1 } << ( ( ends + 11U * name.size() ) % NB_BITS );
    }

    std::uint8_t _count = 0;
    Size _size = 0;
    /// Bytes that there is room for.
    Size _capacity;
    /// Of all names that were ever here: most that aren't here are known by it at once.
    std::uint32_t _marks = 0;
};

/// Any number of attributes of any size.
class XmlElement::Attributes::Indexed : public Head {
public:
    Indexed()
        : Head{ Kind::INDEXED } {}

    const std::list<XmlAttribute>& getAll() const noexcept { return _all; }
    const XmlAttribute* find( std::string_view name ) const {
        const auto found = _byName.find( name );
        return found == _byName.end() ? nullptr : &*found->second;
    }
    void set( std::string_view name, std::string_view value );
    void remove( std::string_view name );

private:
    std::list<XmlAttribute> _all;
    /// A tree: nobody can choose names that make it slow. Its keys are the attributes' own names.
    std::map<std::string_view, std::list<XmlAttribute>::iterator> _byName;
};

template <class Use>
void XmlElement::Attributes::forEach( const Use& use ) const {
    if( const Packed* const packed = getPacked() ) {
        for( const char* at = packed->begin(); at != packed->end(); ) {
            const Packed::Entry entry = Packed::read( at );
            use( entry.name, entry.value );
            at += entry.getSize();
        }
    } else if( const Indexed* const indexed = getIndexed() ) {
        for( const XmlAttribute& attribute : indexed->getAll() ) {
            use( std::string_view( attribute.getNodeName() ),
                 std::string_view( attribute.getValueMB() ) );
        }
    }
}

inline XmlElement::Attributes::Packed* XmlElement::Attributes::getPacked() const noexcept {
    return _head == nullptr || _head->kind == Head::Kind::INDEXED ? nullptr
                                                                  : static_cast<Packed*>( _head );
}

inline XmlElement::Attributes::Indexed* XmlElement::Attributes::getIndexed() const noexcept {
    return _head == nullptr || _head->kind != Head::Kind::INDEXED ? nullptr
                                                                  : static_cast<Indexed*>( _head );
}

} // namespace Qv
