#include <tests/plugins/pluginTypes.h>

namespace Qv {
namespace {

PluginType type( "plug-in" );

} // namespace

extern "C" __attribute__( ( visibility( "default" ) ) ) void linkBelow( PluginType& above ) {
    type.addAncestor( &above );
}

extern "C" __attribute__( ( visibility( "default" ) ) ) void addHint( ObHints& hints ) {
    hints.add<PluginHint>( 7 );
}

} // namespace Qv
