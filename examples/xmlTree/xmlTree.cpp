// Loads a list of shots, makes the unlocked ones a second longer, and saves it under another name:
//
//     xmlTree SHOTS.xml NEW.xml
//
// What is wrong in the file is reported with its place; a file that can't be saved whole is left as
// it was.

#include <base/init/inInitGuard.h>
#include <base/text/printable.h>
#include <base/values/rational.h>
#include <resmgt/resmgtPackages.h>
#include <resmgt/xml/xmlChildrenFinder.h>
#include <resmgt/xml/xmlDocument.h>
#include <resmgt/xml/xmlEx.h>
#include <resmgt/xml/xmlUtil.h>

#include <climits>
#include <cmath>
#include <cstdio>
#include <exception>
#include <stdexcept>
#include <string>

namespace {

using Shot = Qv::RCShdPtr<Qv::XmlElement>;

int getFramesOfASecond( const Qv::XmlElement& shot ) {
    const Shot rate = shot.getElementByTagName( "rate" );
    const double value =
        rate.isNull() ? 24 : Qv::XmlUtil<Qv::Rational>::fromXml( *rate ).getDouble();
    if( !( value > 0 && value <= 1000 ) ) {
        throw std::runtime_error( "A rate is above 0 and at most 1000" );
    }
    return static_cast<int>( std::lround( value ) );
}

void lengthen( Qv::XmlElement& shot ) {
    int frames = 0;
    bool isLocked = false;
    shot.getAttribute( "frames", frames, 0 );
    shot.getAttribute( "locked", isLocked, false );
    if( !isLocked ) {
        const int more = getFramesOfASecond( shot );
        if( frames > INT_MAX - more ) {
            throw std::runtime_error( "There are too many frames" );
        }
        frames += more;
        shot.setAttribute( "frames", frames );
    }
    std::printf( "%s: %d frames\n",
                 Qv::Printable::makeLine( shot.getAttributeMB( "name" ) ).c_str(), frames );
}

/// What a value raises doesn't know where the value stands.
void lengthenAt( Qv::XmlElement& shot ) {
    const std::string place = "line " + std::to_string( shot.getLine() ) + ": ";
    try {
        lengthen( shot );
    } catch( const Qv::ExBase& e ) {
        throw std::runtime_error( place + e.getReason() );
    } catch( const std::runtime_error& e ) {
        throw std::runtime_error( place + e.what() );
    }
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
        lengthenAt( *shot );
    }
    document.save( Qv::OsFilePath( to ) );
}

/// A file's name or a document may hold commands to the terminal.
void report( const std::string& problem ) {
    std::fprintf( stderr, "xmlTree: %s\n", Qv::Printable::makeText( problem ).c_str() );
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
        report( e.getDocument() + ":" + std::to_string( e.getLine() ) + ":" +
                std::to_string( e.getColumn() ) + ": " + e.getMessage() );
    } catch( const Qv::ExBase& e ) {
        report( e.getReason() );
    } catch( const std::exception& e ) {
        report( e.what() );
    }
    return 1;
}
