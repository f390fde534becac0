#pragma once

#include <resmgt/xml/src/xmlKnownNames.h>
#include <resmgt/xml/src/xmlReferences.h>
#include <resmgt/xml/src/xmlUniqueNames.h>

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace Qv {

/// What XML 1.0 asks beyond what the parser's states look at. Each call takes the next piece of a
/// document, and returns what is wrong with it.
class XmlStrictChecks {
public:
    /// What stands between "<?" and "?>". `isAtStart` if nothing stands before it.
    XmlFault takeDeclaration( std::string_view text, bool isAtStart );
    /// What stands between "<!DOCTYPE" and ">".
    XmlFault takeDoctype( std::string_view text );
    /// Any piece that begins and ends between characters.
    XmlFault takeComment( std::string_view text ) const;
    XmlFault beginElement( std::string_view name );
    XmlFault endElement( std::string_view name );
    void endEmptyElement();
    XmlFault takeAttributeName( std::string_view name );
    /// False, and nothing is taken, if the name must be looked at as above.
    bool takeKnownAttribute( std::string_view name ) noexcept {
        return _known.take( name ) == XmlKnownNames::Answer::NEW;
    }
    /// The next two before references are resolved.
    XmlFault takeValue( std::string_view value ) const;
    XmlFault takeText( std::string_view text ) const;
    XmlFault takeEnd() const;

private:
    bool _hasRoot = false;
    bool _hasDoctype = false;
    XmlKnownNames _known;
    /// Those that can't be known.
    XmlUniqueNames _attributes;
    /// The names of the open elements, one behind the other, and where each begins.
    std::string _openNames;
    std::vector<std::size_t> _open;
};

} // namespace Qv
