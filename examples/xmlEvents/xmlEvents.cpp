// Counts the elements of a document of any size by their names, and the bytes of memory that this
// took:
//
//     xmlEvents FILE.xml
//     xmlEvents --make MEGABYTES FILE.xml     makes a document to try it with
//
// The document is read as events, strictly, and never held as a whole: a gigabyte takes no more
// memory than a megabyte.

#include <base/init/inInitGuard.h>
#include <base/text/printable.h>
#include <resmgt/osal/osFileReader.h>
#include <resmgt/resmgtPackages.h>
#include <resmgt/xml/xmlParser.h>
#include <resmgt/xml/xmlParserProtocol.h>
#include <resmgt/xml/xmlWriter.h>

#include <sys/resource.h>

#include <cstdio>
#include <cstdlib>
#include <exception>
#include <fstream>
#include <map>
#include <stdexcept>
#include <string>

namespace {

class Counter : public Qv::XmlParserProtocol {
public:
    void notifyBeginElement( const std::string& name, int ) override { ++_counts[name]; }

    void print() const {
        for( const auto& [name, count] : _counts ) {
            std::printf( "%s: %ld\n", Qv::Printable::makeLine( name ).c_str(), count );
        }
    }

private:
    std::map<std::string, long> _counts;
};

long getKilobytesUsed() {
    struct rusage used;
    return ::getrusage( RUSAGE_SELF, &used ) == 0 ? used.ru_maxrss : 0;
}

void count( const char* path ) {
    Qv::OsFileReader reader( Qv::OsFilePath( path ), false );
    Qv::XmlReadOptions options;
    options.strict = true;
    options.maxDepth = 1000;
    options.maxTokenSize = 100'000;
    Counter counter;
    const long before = getKilobytesUsed();
    Qv::XmlParser::parse( counter, reader, options );
    counter.print();
    std::printf( "%llu bytes read with %ld KiB of memory\n", reader.getSize(),
                 getKilobytesUsed() - before );
}

void make( long megabytes, const char* path ) {
    std::ofstream file( path, std::ios::binary );
    file.exceptions( std::ios::badbit | std::ios::failbit );
    Qv::XmlWriter writer( file, 2 );
    writer.writeDeclaration();
    const Qv::XmlWriter::ElementGuard reel( writer, "reel" );
    for( int frame = 0; file.tellp() < megabytes * 1'000'000; ++frame ) {
        const Qv::XmlWriter::ElementGuard element( writer, "frame" );
        writer.writeAttrib( "number", frame );
        writer.writeAttrib( "file", "plate." + std::to_string( frame ) + ".exr" );
        writer.writeTag( "note", "Night & fog" );
    }
}

/// A file's name or a document may hold commands to the terminal.
void report( const std::string& problem ) {
    std::fprintf( stderr, "xmlEvents: %s\n", Qv::Printable::makeText( problem ).c_str() );
}

} // namespace

int main( int argc, char** argv ) {
    const bool isMade = argc == 4 && std::string( argv[1] ) == "--make";
    if( argc != 2 && !isMade ) {
        std::fprintf( stderr, "Usage: xmlEvents FILE.xml\n"
                              "       xmlEvents --make MEGABYTES FILE.xml\n" );
        return 2;
    }
    try {
        const Qv::InInitGuard packages( argc, argv );
        if( isMade ) {
            make( std::atol( argv[2] ), argv[3] );
        } else {
            count( argv[1] );
        }
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
