// A program's own settings, each from the command line, the environment, an init file or a default,
// whichever is closest to the person who runs it:
//
//     PAINTER_COLOUR=red settings width:7 init:settings.ini picture.exr
//
// docs/settings.md describes where the init files are, and how QV_INIT_DEBUG shows what counts.

#include <base/text/printable.h>
#include <resmgt/resmgtLib/inProgram.h>

#include <cstdio>

using namespace Qv;

namespace {

InProgram program( "painter" );
const InVariable<int> width( "painter::width", program, InArgument( "width:" ),
                             InEnvironment( "PAINTER_WIDTH" ), InDefault( "3" ) );
const InVariable<const char*> colour( "painter::colour", program, InArgument( "colour:" ),
                                      InEnvironment( "PAINTER_COLOUR" ), InDefault( "black" ) );
const InVariable<bool> filled( "painter::filled", program, InArgument( "filled:" ),
                               InEnvironment( "PAINTER_FILLED" ), InDefault( "false" ) );
const InVariable<const char*> title( "painter::title", program, InDefault( "untitled" ) );

} // namespace

int main( int argc, char** argv ) {
    const char* const* arguments = argv;
    try {
        const InInitGuard packages( argc, arguments );
        std::printf( "width %d from %s\n", width.getValue(), width.getOrigin()->getKey() );
        std::printf( "colour %s from %s\n", Printable::makeLine( colour.getValue() ).c_str(),
                     colour.getOrigin()->getKey() );
        std::printf( "filled %d from %s\n", filled.getValue(), filled.getOrigin()->getKey() );
        std::printf( "title %s from %s\n", Printable::makeLine( title.getValue() ).c_str(),
                     title.getOrigin()->getKey() );
        std::printf( "%d other argument: %s\n", argc - 1, argc > 1 ? arguments[1] : "" );
        return 0;
    } catch( const std::exception& failure ) {
        std::fprintf( stderr, "settings: %s\n", Printable::makeText( failure.what() ).c_str() );
        return 1;
    }
}
