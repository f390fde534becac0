#pragma once

#include <resmgt/observers/obHints.h>
#include <resmgt/rtti/rttiTypeBase.h>

namespace Qv {

/// Program and plug-in have a copy each of all that the compiler makes of these.
class PluginHint : public ObValueHint {
public:
    explicit PluginHint( int value )
        : _value( value ) {}
    const int _value;
};

class PluginType : public RttiTypeBase {
public:
    explicit PluginType( const char* name )
        : RttiTypeBase( 1 )
        , _name( name ) {}
    using RttiTypeBase::addAncestor;
    const char* getName() const override { return _name; }

private:
    const char* const _name;
};

} // namespace Qv
