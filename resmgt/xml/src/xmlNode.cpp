#include <resmgt/xml/xmlNode.h>

#include <resmgt/xml/src/xmlCharacters.h>

namespace Qv {

XmlNode::~XmlNode() = default;

bool XmlNode::isName( std::string_view text ) noexcept {
    return XmlCharacters::isName( text );
}

} // namespace Qv
