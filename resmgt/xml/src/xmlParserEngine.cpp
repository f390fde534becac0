#include <resmgt/xml/src/xmlParserEngine.h>

#include <resmgt/xml/src/xmlParserEngine.imp>
#include <resmgt/xml/src/xmlParserStates.imp>

namespace Qv {

template class XmlParserEngine<XmlFileSource>;
template class XmlParserEngine<XmlStringSource>;

} // namespace Qv
