#include <resmgt/content/ctEx.h>
#include <resmgt/content/ctServer.h>
#include <resmgt/content/ctServerFactory.h>
#include <resmgt/osal/osSharedLib.h>
#include <tests/support/raisedBy.h>

#include <gtest/gtest.h>

namespace Qv {
namespace {

std::string askForServer() {
    return raisedBy<CtEx>( [] {
        const OPtr<CtServer> server( CtServerFactory::createServer( "plugin://store" ) );
        const CtStTileId tile = server->createTile( 4 ).tile;
        const CtPxTileId whole( tile.getSerialId(), 0, 4 );
        char memory[] = "tile";
        server->write( whole, memory, {} );
        server->read( whole, memory, {} );
        EXPECT_STREQ( memory, "tile" );
    } );
}

TEST( ContentPluginTest, PluginBringsItsStoreAndTakesItAway ) {
    const std::string unknown = "Unknown server type (plugin://store).";
    for( int round = 0; round < 2; ++round ) {
        EXPECT_EQ( askForServer(), unknown );
        const OPtr<OsSharedLib> plugin( OsSharedLib::open( QV_PLUGIN_STORE ) );
        EXPECT_EQ( askForServer(), "" );
    }
    EXPECT_EQ( askForServer(), unknown );
}

} // namespace
} // namespace Qv
