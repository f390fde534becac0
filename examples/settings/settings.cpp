// A program's own settings, each from the command line, the environment, an init file or a default,
// whichever is closest to the person who runs it:
//
//     PAINTER_COLOUR=red settings width:7 init:settings.ini picture.exr
//
// docs/settings.md describes where the init files are, and how QV_INIT_DEBUG shows what counts.

#include <base/text/printable.h>
#include <resmgt/resmgtLib/inProgram.h>

#include <cstdio>
#include <exception>
#include <string>

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

void print( const InVariableBase& setting, const std::string& value ) {
    const InContextAliasBase& source = *setting.getOrigin();
    std::printf( "%s is %s, by %s %s\n", setting.getKey(), Printable::makeLine( value ).c_str(),
                 source.getSourceString(), source.getKey() );
}

} // namespace

int main( int argc, char** argv ) {
    try {
        const InInitGuard packages( argc, argv );
        print( width, std::to_string( width.getValue() ) );
        print( colour, colour.getValue() );
        print( filled, filled.getValue() ? "true" : "false" );
        print( title, title.getValue() );
        std::printf( "%d other argument: %s\n", argc - 1,
                     argc > 1 ? Printable::makeLine( argv[1] ).c_str() : "" );
        return 0;
    } catch( const std::exception& failure ) {
        std::fprintf( stderr, "settings: %s\n", Printable::makeText( failure.what() ).c_str() );
        return 1;
    }
}
