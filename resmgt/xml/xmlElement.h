#pragma once

#include <base/containers/vector.h>
#include <base/ownership/rcShdPtr.h>
#include <resmgt/xml/xmlAttribute.h>
#include <resmgt/xml/xmlValue.h>

#include <cstddef>
#include <cstdint>
#include <type_traits>

namespace Qv {

class XmlArena;

/// An element of a document: attributes, child elements, and one text.
///
///     const RCShdPtr<XmlElement> shot( new XmlElement( "shot" ) );
///     shot->setAttribute( "frames", 240 );
///     shot->setData( "Night & fog" );
///
/// Children:   an element shares them. One that stands in several places, or is kept elsewhere, is
///             the same element everywhere. What is put below itself is an assertion.
/// Attributes: keep the order in which their names came first.
/// Names:      narrow, as XmlWriter describes. Any text is taken.
/// Text:       narrow text is UTF-8 where it is converted to or from wide text; else any bytes.
///             XmlValue describes how values become text. Read as `bool`, "true" in any case is
///             true and everything else false. Read as a number, a text that isn't one, or is one
///             that the type can't hold, raises XmlEx::ExConversionError.
/// Threads:    several may read a tree at once, if none changes it; to put an element somewhere
///             changes it too.
/// Depth:      no operation recurses: destruction, copying, searching and writing take trees of any
///             depth.
/// Memory:     what is read from a document, and a clone, lies in blocks, of 4 KiB at first and of
///             2 MiB in large documents; a block stays while one of its elements does.
class QV_RESMGT_API XmlElement final : public XmlNode, public RCBase<LkCounter<int>> {
public:
    explicit XmlElement( std::string_view name );
    XmlElement( const XmlElement& ) = delete;
    XmlElement& operator=( const XmlElement& ) = delete;
    ~XmlElement() override;
    static void* operator new( std::size_t size );
    static void operator delete( void* memory ) noexcept;

    /// A deep copy, with the lines.
    RCShdPtr<XmlElement> clone() const;
    /// The end of its start tag's name in the document that it was read from; 0 for others.
    int getLine() const noexcept { return static_cast<int>( _line ); }

    /// Null for a child is ExNullPtr.
    void appendChild( const RCShdPtr<XmlElement>& child );
    /// Errors, as of the next two: XmlEx::ExChildNotFound if the reference isn't a child. Of a
    /// child that stands here several times the first one is meant.
    void insertBefore( const RCShdPtr<XmlElement>& child, const RCShdPtr<XmlElement>& reference );
    /// Puts `child` where `former` is.
    void replaceChild( const RCShdPtr<XmlElement>& child, const RCShdPtr<XmlElement>& former );
    /// Takes out the child, and all below it.
    void removeChild( const RCShdPtr<XmlElement>& child );
    int getNbChildren() const noexcept { return static_cast<int>( _children.size() ); }
    /// The element must outlive the iterator. Children that are added or removed meanwhile may be
    /// missed or met twice.
    ConstIterator<RCShdPtr<XmlElement>> getChildren() const;

    /// The first child of the name, else null.
    RCShdPtr<XmlElement> getElementByTagName( std::string_view name ) const;
    /// All children of the name.
    Vector<RCShdPtr<XmlElement>> getElementsByTagName( std::string_view name ) const;
    /// All elements of the name below this one, in the document's order.
    Vector<RCShdPtr<XmlElement>> getAllElementsByTagName( std::string_view name ) const;

    /// Errors, as of the next one: XmlEx::ExNonExistentAttribute.
    std::wstring getAttribute( std::string_view name ) const;
    std::string getAttributeMB( std::string_view name ) const;
    /// False, and `value` as it was, where there is no such attribute.
    bool getAttribute( std::string_view name, bool& value ) const;
    bool getAttribute( std::string_view name, int& value ) const;
    bool getAttribute( std::string_view name, unsigned int& value ) const;
    bool getAttribute( std::string_view name, long long& value ) const;
    bool getAttribute( std::string_view name, float& value ) const;
    bool getAttribute( std::string_view name, double& value ) const;
    bool getAttribute( std::string_view name, std::wstring& value ) const;
    bool getAttributeMB( std::string_view name, std::string& value ) const;
    /// False, and `value` as `defaultValue`, where there is no such attribute.
    template <class T>
    bool getAttribute( std::string_view name, T& value,
                       const std::type_identity_t<T>& defaultValue ) const {
        const bool isThere = getAttribute( name, value );
        if( !isThere ) {
            value = defaultValue;
        }
        return isThere;
    }
    bool getAttributeMB( std::string_view name, std::string& value,
                         const std::string& defaultValue ) const;
    /// Copies of all, in their order.
    Vector<XmlAttribute> getAttributes() const;
    void setAttribute( std::string_view name, const XmlValue& value );
    /// There needn't be one.
    void removeAttribute( std::string_view name );

    std::wstring getData() const;
    const std::string& getDataMB() const noexcept { return _data; }
    void getData( bool& value ) const;
    void getData( int& value ) const;
    void getData( unsigned int& value ) const;
    void getData( long long& value ) const;
    void getData( float& value ) const;
    void getData( double& value ) const;
    void setData( const XmlValue& value );

    /// The text of the first child of the name, read as `bool`; without such a child the default.
    bool isTrue( std::string_view childName, bool defaultValue ) const;

    /// As `streamToOutput` writes it with an indentation of 0.
    std::string toString() const;
    /// Attributes, then the text, then the children. Errors: as of XmlWriter; what was written
    /// before stays written.
    void streamToOutput( XmlWriter& writer ) const;
    /// Writes the children.
    void streamChildren( XmlWriter& writer ) const;

private:
    friend class XmlArena;
    friend class XmlDocument;
    friend class XmlDocumentBuilder;
    friend class XmlWriter;
    class ChildIteratorEng;

    /// The attributes: some lie in a row in one piece of memory, many or long ones in a list with
    /// an index.
    class Attributes {
    public:
        Attributes() noexcept = default;
        Attributes( const Attributes& ) = delete;
        Attributes& operator=( const Attributes& ) = delete;
        ~Attributes() { clear(); }

        /// Whether there is one; `value` is valid until a change.
        bool find( std::string_view name, std::string_view& value ) const;
        /// `arena` is that in which the element is the newest one; null for others.
        void set( std::string_view name, std::string_view value, XmlArena* arena );
        void remove( std::string_view name );
        void copy( const Attributes& source, XmlArena* arena );
        void clear() noexcept;
        void streamToOutput( XmlWriter& writer ) const;
        /// The bytes that they take in a document, at least.
        std::size_t estimateText() const noexcept;
        /// Calls `use( name, value )` for each.
        template <class Use>
        void forEach( const Use& use ) const;

    private:
        struct Head;
        class Packed;
        class Indexed;

        Packed* getPacked() const noexcept;
        Indexed* getIndexed() const noexcept;
        bool append( std::string_view name, std::string_view value, XmlArena& arena ) noexcept;
        Packed& makeRoom( std::size_t size, XmlArena* arena );
        Indexed& makeIndexed();

        Head* _head = nullptr;
    };

    /// The children, to each of which a reference is held. One alone takes no memory of its own.
    class Children {
    public:
        Children() noexcept = default;
        Children( const Children& ) = delete;
        Children& operator=( const Children& ) = delete;
        /// REQUIRES: no references are held.
        ~Children();

        std::size_t size() const noexcept { return _size; }
        XmlElement* const* begin() const noexcept { return _capacity == 1 ? &_one : _many; }
        XmlElement* const* end() const noexcept { return begin() + _size; }
        XmlElement* operator[]( std::size_t index ) const noexcept { return begin()[index]; }
        void reserve( std::size_t capacity );
        void insert( std::size_t index, XmlElement* child );
        void erase( std::size_t index ) noexcept;
        void clear() noexcept { _size = 0; }

    private:
        void freeMany() noexcept;

        union {
            XmlElement* _one = nullptr;
            XmlElement** _many;
        };
        std::uint32_t _size = 0;
        std::uint32_t _capacity = 1;
    };

    XmlElement( std::string_view name, int line );
    static RCShdPtr<XmlElement> create( XmlArena& arena, std::string_view name, int line );
    static void* operator new( std::size_t size, XmlArena& arena );
    static void operator delete( void* memory, XmlArena& arena ) noexcept;

    template <class Enter, class Leave>
    void walk( const Enter& enter, const Leave& leave ) const;
    bool isReachable( const XmlElement& from ) const;
    void checkNames() const;
    std::size_t estimateText( bool isIndenting, int indentation ) const;
    void checkNewChild( const RCShdPtr<XmlElement>& child ) const;
    std::size_t findChild( const RCShdPtr<XmlElement>& child ) const;
    void insertAt( std::size_t index, XmlElement& child );
    void streamAs( std::string_view name, XmlWriter& writer ) const;
    template <class T>
    bool readAttribute( std::string_view name, T& value ) const;

    const unsigned int _line : 31;
    /// Has been a child of some element.
    unsigned int _wasChild : 1;
    Attributes _attributes;
    std::string _data;
    Children _children;
    /// Of those that are being destroyed together.
    XmlElement* _nextDying = nullptr;
};

} // namespace Qv
