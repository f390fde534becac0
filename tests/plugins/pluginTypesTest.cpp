#include <tests/plugins/pluginTypes.h>

#include <resmgt/osal/osSharedLib.h>

#include <gtest/gtest.h>

#include <sstream>

namespace Qv {
namespace {

template <class T>
void call( const OsSharedLib& plugin, const char* function, T& argument ) {
    reinterpret_cast<void ( * )( T& )>( plugin.getFunction( function ) )( argument );
}

TEST( PluginTypesTest, AHintOfAnotherLibraryIsFoundByItsType ) {
    const OPtr<OsSharedLib> plugin( OsSharedLib::open( QV_PLUGIN_TYPES ) );
    ObHints hints;
    call( *plugin, "addHint", hints );
    ASSERT_NE( hints.find<PluginHint>(), nullptr );
    EXPECT_EQ( hints.find<PluginHint>()->_value, 7 );
    EXPECT_FALSE( hints.hasHint( typeid( ObValueHint ) ) );
}

TEST( PluginTypesTest, ATypeLeavesTheGraphWithItsLibrary ) {
    PluginType above( "above" );
    for( int round = 0; round < 2; ++round ) {
        {
            const OPtr<OsSharedLib> plugin( OsSharedLib::open( QV_PLUGIN_TYPES ) );
            call( *plugin, "linkBelow", above );
            std::ostringstream text;
            text << above;
            EXPECT_NE( text.str().find( "Descendants:\n  plug-in (TypeId 1)\n" ),
                       std::string::npos );
        }
        EXPECT_EQ( above.getNbDescendants(), 0 );
    }
}

} // namespace
} // namespace Qv
