#include <resmgt/xml/xmlAttribute.h>

#include <base/text/wideStringUtil.h>
#include <resmgt/xml/xmlWriter.h>

namespace Qv {

XmlAttribute::XmlAttribute( std::string_view name, std::string_view value )
    : XmlNode( name )
    , _value( value ) {}

std::wstring XmlAttribute::getValue() const {
    return WideStringUtil::widen( _value );
}

void XmlAttribute::setValue( const std::wstring& value ) {
    _value = WideStringUtil::narrowMB( value );
}

OPtrRet<XmlAttribute> XmlAttribute::clone() const {
    return OPtr<XmlAttribute>( new XmlAttribute( *this ) );
}

void XmlAttribute::streamToOutput( XmlWriter& writer ) const {
    writer.writeAttrib( getNodeName(), _value );
}

} // namespace Qv
