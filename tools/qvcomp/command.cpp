#include <tools/qvcomp/command.h>
#include <tools/qvcomp/failure.h>
#include <tools/qvcomp/interrupt.h>
#include <tools/qvcomp/managedTiles.h>
#include <tools/qvcomp/pictureFile.h>
#include <tools/qvcomp/plainTiles.h>
#include <tools/qvcomp/planeCompare.h>
#include <tools/qvcomp/render.h>
#include <tools/qvcomp/report.h>

#include <base/failure/exBase.h>
#include <resmgt/profiling/hwIntervalTimer.h>

#include <ImfThreading.h>

#include <new>

namespace Qv::Comp {

namespace {

constexpr int EXIT_DONE = 0;
constexpr int EXIT_FAILED = 1;
constexpr int EXIT_USAGE = 2;

Scene probeScene( const Options& options ) {
    Scene scene{ options.width, options.height, {} };
    for( const OsFilePath& path : options.layers ) {
        scene.layers.push_back( probeLayer( path ) );
    }
    return scene;
}

void checkMemory( const Options& options ) {
    const std::uint64_t least = ManagedTiles::getLeastMemory( options.tileSide, options.threads );
    if( options.memory && *options.memory < least ) {
        throw Failure( Tag::LITTLE_MEMORY, options.memoryLabel, *options.memory, options.threads,
                       options.tileSide, least );
    }
}

ManagedTiles::Settings makeSettings( const Options& options, const Scene& scene ) {
    return { options.tileSide,
             options.threads,
             countWorkingTiles( scene, options.tileSide, options.threads ),
             options.memory,
             options.strategy,
             options.policy,
             options.manager,
             options.scratch };
}

/// Renders the scene again in plain memory, and holds `picture` against that.
void verify( const Options& options, const Scene& scene, TilePlane& picture, Progress& progress ) {
    PlainTiles store( options.tileSide );
    PassRunner runner( options.threads, store.getPrefetchDepth(), progress );
    const auto expected = renderScene( scene, store, runner );
    checkIdentical( picture, *expected );
}

void fillReport( Report& report, const ManagedTiles& store ) {
    const SpillCounts& counts = store.getCounts();
    report.peakTiles = store.getPeakBytes();
    report.tiles = counts.tiles.load( std::memory_order_relaxed );
    report.evictions = counts.evictions.load( std::memory_order_relaxed );
    report.reloads = counts.reloads.load( std::memory_order_relaxed );
    report.prefetches = counts.prefetches.load( std::memory_order_relaxed );
    report.bytesWritten = counts.bytesWritten.load( std::memory_order_relaxed );
    report.bytesRead = counts.bytesRead.load( std::memory_order_relaxed );
}

/// Makes the picture; the files get their names when all has gone well.
Report makePicture( const Options& options, const Scene& scene, std::ostream* terminal ) {
    const HwIntervalTimer timer( "qvcomp" );
    const int writing = 1;
    const int phases = countPhases( scene ) * ( options.mustVerify ? 2 : 1 ) + writing;
    Progress progress( terminal, phases );
    PendingFile output( options.output );
    std::optional<PendingFile> preview;
    if( !options.preview.isEmpty() ) {
        preview.emplace( options.preview );
    }
    const ManagedTiles::Settings settings = makeSettings( options, scene );
    ManagedTiles store( settings );
    PassRunner runner( options.threads, store.getPrefetchDepth(), progress );
    const auto picture = renderScene( scene, store, runner );
    writePicture( *picture, output, preview ? &*preview : nullptr, progress );

    Report report;
    report.options = options;
    report.workingSet = ManagedTiles::getTileMemory( options.tileSide, settings.workingTiles );
    report.peakProcess = getPeakProcessMemory();
    report.seconds = timer.sinceStart();
    fillReport( report, store );
    if( options.mustVerify ) {
        verify( options, scene, *picture, progress );
    }
    InterruptNote::check();
    output.commit();
    if( preview ) {
        preview->commit();
    }
    return report;
}

int runOptions( const Options& options, std::ostream& output, std::ostream& errors,
                bool isTerminal ) {
    if( options.wantsHelp ) {
        output << getHelp();
        return EXIT_DONE;
    }
    if( options.wantsVersion ) {
        output << "qvcomp " QVCOMP_VERSION "\n";
        return EXIT_DONE;
    }
    // OpenEXR's own threads would outlive the work.
    Imf::setGlobalThreadCount( 0 );
    const InterruptNote note;
    checkMemory( options );
    const Scene scene = probeScene( options );
    writeReport( output, makePicture( options, scene, isTerminal ? &errors : nullptr ) );
    return EXIT_DONE;
}

/// Help and the version can be asked for also where the messages can't be read.
Options readOptions( std::span<const char* const> arguments ) {
    std::exception_ptr unreadable;
    try {
        loadMessages();
    } catch( const std::exception& ) {
        unreadable = std::current_exception();
    }
    try {
        Options options = parseOptions( arguments );
        if( !unreadable || options.wantsHelp || options.wantsVersion ) {
            return options;
        }
    } catch( const Failure& ) {
        if( !unreadable ) {
            throw;
        }
    }
    std::rethrow_exception( unreadable );
}

/// What others say, who have no tags.
void tell( const char* text ) {
    MsgError( std::string( "%1" ) ).substitute( text ).display();
}

} // namespace

int runCommand( std::span<const char* const> arguments, std::ostream& output, std::ostream& errors,
                bool isTerminal ) {
    const MessageLines lines( errors );
    try {
        return runOptions( readOptions( arguments ), output, errors, isTerminal );
    } catch( const UsageFailure& e ) {
        makeMessage( Tag::USAGE, { e.what() } ).display();
        return EXIT_USAGE;
    } catch( const Failure& e ) {
        e.getMessage().display();
    } catch( const ExBase& e ) {
        tell( e.getReason() );
    } catch( const std::bad_alloc& ) {
        makeMessage( Tag::NO_MEMORY ).display();
    } catch( const std::exception& e ) {
        tell( e.what() );
    }
    return EXIT_FAILED;
}

} // namespace Qv::Comp
