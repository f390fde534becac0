// A program's own log group, a thread that logs faster than anybody writes, and the log as JSON:
//
//     logging render.json
//     QV_LOG_GROUPS=Studio=Warning logging render.json
//
// docs/logging.md describes the lines, the levels, and the variables that choose the files.

#include <base/init/inInitGuard.h>
#include <base/text/printable.h>
#include <resmgt/logger/lgLog.h>
#include <resmgt/logger/qvLog.h>
#include <resmgt/resmgtLib/inProgram.h>

#include <cinttypes>
#include <cstdio>
#include <exception>
#include <fstream>
#include <string>

#include <stdlib.h>

// The group "Render", which is switched with all others of the major group "Studio".
namespace Qv::LgGroups {
constinit LgPackageGroup MinorLevelRender( "Studio", "Render" );
}

using namespace Qv;

namespace {

const InProgram program( "logging" );

constexpr int NB_TILES = 200000;
constexpr double FLUSH_SECONDS = 30.0;

void logOrdinaryLines() {
    QV_LOG( Render, Informational, "frame ", 7, " begins, ", NB_TILES, " tiles" );
    // Closed, as long as nobody opens it: describing the frame costs nothing.
    QV_LOG( Render, Tracing, "frame \"", std::string( 1000, '*' ), "\"" );
    for( int layer = 0; layer < 1000; ++layer ) {
        QV_LOG_EVERY( Render, Warning, 500, "layer ", layer, " has no alpha" );
    }
}

/// A statement never waits: what the thread's queue has no room for is counted. Returns the number
/// of those whose level is open.
std::uint64_t logFlood() {
    for( int tile = 0; tile < NB_TILES; ++tile ) {
        QV_LOG( Render, Informational, "tile ", tile, " took ", 0.001 * tile, " s" );
    }
    return LgGroups::MinorLevelRender.isLevelEnabled( LgTypes::Informational ) ? NB_TILES : 0;
}

/// The file may have the lines of former runs, too.
void printJson( const char* file ) {
    std::ifstream stream( file );
    std::string last;
    for( std::string line; std::getline( stream, line ); ) {
        if( line.find( "layer 0 has no alpha" ) != std::string::npos ) {
            last = line;
        }
    }
    std::printf( "%s\n", Printable::makeLine( last ).c_str() );
}

int run( const char* file ) {
    bool isWritten = LgLog::flush( FLUSH_SECONDS );
    const LgLog::Counters before = LgLog::getCounters();
    const std::uint64_t nbStatements = logFlood();
    isWritten = LgLog::flush( FLUSH_SECONDS ) && isWritten;
    if( !isWritten ) {
        std::printf( "the log isn't written yet\n" );
        return 1;
    }
    const LgLog::Counters after = LgLog::getCounters();
    const std::uint64_t written = after.written - before.written;
    const std::uint64_t lost = after.lost - before.lost;
    std::printf( "%" PRIu64 " statements: %" PRIu64 " lines written and %" PRIu64
                 " counted as lost\n",
                 nbStatements, written, lost );
    if( written + lost != nbStatements ) {
        std::printf( "the counts don't add up\n" );
        return 1;
    }
    printJson( file );
    return 0;
}

} // namespace

int main( int argc, char** argv ) {
    if( argc != 2 ) {
        std::fprintf( stderr, "usage: logging FILE\n" );
        return 2;
    }
    try {
        ::setenv( "QV_LOG_JSON", argv[1], 1 );
        const InInitGuard packages( argc, argv );
        LgGroups::MinorLevelRender.create();
        logOrdinaryLines();
        const int status = run( argv[1] );
        LgGroups::MinorLevelRender.destroy();
        return status;
    } catch( const std::exception& failure ) {
        std::fprintf( stderr, "logging: %s\n", Printable::makeText( failure.what() ).c_str() );
        return 1;
    }
}
