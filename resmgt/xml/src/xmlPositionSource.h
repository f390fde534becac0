#pragma once

#include <resmgt/xml/xmlParserProtocol.h>

namespace Qv {

/// Tells a protocol where its parse is, for the time of the parse.
class XmlPositionSource {
public:
    XmlPositionSource( const XmlPositionSource& ) = delete;
    XmlPositionSource& operator=( const XmlPositionSource& ) = delete;

    virtual XmlPosition getPosition() const = 0;

    /// Makes this the source of the protocol's positions until the end of the guard's scope, then
    /// the former one again: a call-back may start another parse with the same protocol.
    class Guard {
    public:
        Guard( XmlParserProtocol& protocol, const XmlPositionSource& source )
            : _protocol( protocol )
            , _former( protocol._positionSource ) {
            protocol._positionSource = &source;
        }
        Guard( const Guard& ) = delete;
        Guard& operator=( const Guard& ) = delete;
        ~Guard() { _protocol._positionSource = _former; }

    private:
        XmlParserProtocol& _protocol;
        const XmlPositionSource* const _former;
    };

protected:
    XmlPositionSource() = default;
    ~XmlPositionSource() = default;
};

} // namespace Qv
