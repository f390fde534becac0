#pragma once

#include <resmgt/resmgtApi.h>

#include <string>
#include <string_view>

namespace Qv {

/// A named part of a document.
class QV_RESMGT_API XmlNode {
public:
    virtual ~XmlNode();
    XmlNode& operator=( const XmlNode& ) = delete;

    const std::string& getNodeName() const noexcept { return _name; }

    /// Whether `text` is a name by XML 1.0, in UTF-8: a letter, "_" or ":", then also digits, "-"
    /// and ".". The letters are those of the fourth edition, which all parsers know. Nothing else
    /// is safe to be written as the name of an element or an attribute.
    static bool isName( std::string_view text ) noexcept;

protected:
    explicit XmlNode( std::string_view name )
        : _name( name ) {}
    XmlNode( const XmlNode& ) = default;

private:
    const std::string _name;
};

} // namespace Qv
