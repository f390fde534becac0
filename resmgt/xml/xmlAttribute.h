#pragma once

#include <base/ownership/oPtr.h>
#include <resmgt/xml/xmlNode.h>

namespace Qv {

class XmlWriter;

/// An attribute: a name and a text. Wide text is converted as WideStringUtil does it.
///
/// Threads: one at a time.
class QV_RESMGT_API XmlAttribute final : public XmlNode {
public:
    explicit XmlAttribute( std::string_view name, std::string_view value = {} );
    XmlAttribute( const XmlAttribute& ) = default;

    const std::string& getValueMB() const noexcept { return _value; }
    void setValueMB( const std::string& value ) { _value = value; }
    std::wstring getValue() const;
    void setValue( const std::wstring& value );

    /// A copy that belongs to the caller.
    OPtrRet<XmlAttribute> clone() const;

private:
    friend class XmlElement;

    void streamToOutput( XmlWriter& writer ) const;

    std::string _value;
};

} // namespace Qv
