// Loads a list of shots, makes the unlocked ones a second longer, and saves it under another name:
//
//     xmlTree SHOTS.xml NEW.xml
//
// What is wrong in the file is reported with line and column; a file that can't be saved whole is
// left as it was.

#include <base/init/inInitGuard.h>
#include <base/text/printable.h>
#include <base/values/rational.h>
#include <resmgt/resmgtPackages.h>
#include <resmgt/xml/xmlChildrenFinder.h>
#include <resmgt/xml/xmlDocument.h>
#include <resmgt/xml/xmlEx.h>
#include <resmgt/xml/xmlUtil.h>

#include <cmath>
#include <cstdio>
#include <exception>

namespace {

using Shot = Qv::RCShdPtr<Qv::XmlElement>;

int getFramesOfASecond( const Qv::XmlElement& shot ) {
    const Shot rate = shot.getElementByTagName( "rate" );
    const Qv::Rational value =
        rate.isNull() ? Qv::Rational( 24, 1 ) : Qv::XmlUtil<Qv::Rational>::fromXml( *rate );
    return static_cast<int>( std::lround( value.getDouble() ) );
}

void lengthen( Qv::XmlElement& shot ) {
    int frames = 0;
    bool isLocked = false;
    shot.getAttribute( "frames", frames, 0 );
    shot.getAttribute( "locked", isLocked, false );
    if( !isLocked ) {
        frames += getFramesOfASecond( shot );
        shot.setAttribute( "frames", frames );
    }
    std::printf( "%s: %d frames\n",
                 Qv::Printable::makeLine( shot.getAttributeMB( "name" ) ).c_str(), frames );
}

void run( const char* from, const char* to ) {
    Qv::XmlReadOptions options;
    options.strict = true;
    options.maxDepth = 100;
    options.maxBytes = 1 << 26;
    Qv::XmlDocument document;
    document.load( Qv::OsFilePath( from ), options );
    const Qv::XmlChildrenFinder find( *document.getRoot() );
    for( const Shot& shot : find( "shot" ) ) {
        lengthen( *shot );
    }
    document.save( Qv::OsFilePath( to ) );
}

} // namespace

int main( int argc, char** argv ) {
    if( argc != 3 ) {
        std::fprintf( stderr, "Usage: xmlTree SHOTS.xml NEW.xml\n" );
        return 2;
    }
    try {
        const Qv::InInitGuard packages( argc, argv );
        run( argv[1], argv[2] );
        return 0;
    } catch( const Qv::XmlEx::ExSyntaxError& e ) {
        std::fprintf( stderr, "xmlTree: %s:%d:%d: %s\n",
                      Qv::Printable::makeLine( e.getDocument() ).c_str(), e.getLine(),
                      e.getColumn(), Qv::Printable::makeLine( e.getMessage() ).c_str() );
    } catch( const Qv::ExBase& e ) {
        std::fprintf( stderr, "xmlTree: %s\n", Qv::Printable::makeText( e.getReason() ).c_str() );
    } catch( const std::exception& e ) {
        std::fprintf( stderr, "xmlTree: %s\n", e.what() );
    }
    return 1;
}
