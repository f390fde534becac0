#pragma once

#include <base/ownership/oPtr.h>
#include <resmgt/xml/xmlNode.h>

namespace Qv {

/// The type that a document says it has: a name.
class QV_RESMGT_API XmlDocumentType final : public XmlNode {
public:
    explicit XmlDocumentType( std::string_view name )
        : XmlNode( name ) {}
    XmlDocumentType( const XmlDocumentType& ) = default;

    /// A copy that belongs to the caller.
    OPtrRet<XmlDocumentType> clone() const {
        return OPtr<XmlDocumentType>( new XmlDocumentType( *this ) );
    }
};

} // namespace Qv
