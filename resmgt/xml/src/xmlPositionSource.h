#pragma once

#include <resmgt/xml/xmlParserProtocol.h>

#include <string>

namespace Qv {

/// Gives a protocol the position of its parse, for the time of the parse.
class XmlPositionSource {
public:
    XmlPositionSource( const XmlPositionSource& ) = delete;
    XmlPositionSource& operator=( const XmlPositionSource& ) = delete;

    virtual XmlPosition getPosition() const = 0;

    /// Makes this the source of the protocol's positions until the end of the guard's scope. A
    /// call-back may start another parse with the same protocol: behind it the former source is
    /// there again, with the document's name.
    class Guard {
    public:
        Guard( XmlParserProtocol& protocol, const XmlPositionSource& source )
            : _protocol( protocol )
            , _former( protocol._positionSource )
            , _formerName( _former != nullptr ? protocol._fileName : std::string() ) {
            protocol._positionSource = &source;
        }
        Guard( const Guard& ) = delete;
        Guard& operator=( const Guard& ) = delete;
        ~Guard() {
            _protocol._positionSource = _former;
            if( _former != nullptr ) {
                _protocol._fileName.swap( _formerName );
            }
        }

    private:
        XmlParserProtocol& _protocol;
        const XmlPositionSource* const _former;
        std::string _formerName;
    };

protected:
    XmlPositionSource() = default;
    ~XmlPositionSource() = default;
};

} // namespace Qv
