#pragma once

#include <resmgt/xml/xmlElement.h>

#include <concepts>
#include <string>

namespace Qv {

/// Finds the children of an element that match; a function object.
///
///     const XmlChildrenFinder find( *shot );
///     for( const RCShdPtr<XmlElement>& layer : find( "layer" ) ) {
///         ...
///     }
///
/// Lifetime: the element must outlive this object.
class QV_RESMGT_API XmlChildrenFinder {
public:
    explicit XmlChildrenFinder( const XmlElement& element ) noexcept
        : _element( element ) {}

    /// Those of the name, in their order.
    Vector<RCShdPtr<XmlElement>> find( std::string_view name ) const {
        return _element.getElementsByTagName( name );
    }
    /// Those that `matches` accepts.
    template <std::predicate<const XmlElement&> Match>
    Vector<RCShdPtr<XmlElement>> find( Match&& matches ) const {
        Vector<RCShdPtr<XmlElement>> found;
        for( auto child = _element.getChildren(); !child.isAtEnd(); ++child ) {
            if( matches( **child ) ) {
                found.push_back( *child );
            }
        }
        return found;
    }
    template <class Match>
    Vector<RCShdPtr<XmlElement>> operator()( Match&& matches ) const {
        return find( std::forward<Match>( matches ) );
    }

private:
    const XmlElement& _element;
};

} // namespace Qv
