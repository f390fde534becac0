#include <resmgt/xml/src/xmlReusedString.h>

namespace Qv {

const std::string& XmlReusedString::assignRare( std::string_view text ) {
    std::string& result = text.size() < _short.size() ? _short[text.size()] : _long;
    return result.assign( text );
}

} // namespace Qv
