#include <tools/qvcomp/command.h>
#include <tools/qvcomp/failure.h>
#include <tools/qvcomp/interrupt.h>
#include <tools/qvcomp/log.h>
#include <tools/qvcomp/report.h>
#include <tools/qvcomp/sequence.h>
#include <tools/qvcomp/watch.h>

#include <base/failure/exBase.h>
#include <resmgt/memoryBuffers/mbEx.h>

#include <ImfThreading.h>

#include <cerrno>
#include <functional>
#include <new>
#include <system_error>

namespace Qv::Comp {

namespace {

constexpr int EXIT_DONE = 0;
constexpr int EXIT_FAILED = 1;
constexpr int EXIT_USAGE = 2;

/// Standard output, of which nothing that is said may be lost.
void writeOut( std::ostream& output, const std::function<void( std::ostream& )>& write ) {
    errno = 0;
    write( output );
    if( !output.flush() ) {
        throw Failure( Tag::OUTPUT_UNWRITTEN,
                       std::system_category().message( errno != 0 ? errno : EIO ) );
    }
}

void logOptions( const Options& options ) {
    QV_LOG( Qvcomp, Informational, "picture \"", options.output.toString(), "\": ", options.width,
            " x ", options.height, " pixels of aspect ", options.pixelAspect, ", ",
            options.layers.size(), " layers, fit ", toText( options.fit ), ", matte ",
            toText( options.mattes ), ", glow ", options.glow, " of radius ",
            options.glowRadius.value, options.glowRadius.isPercentage ? " %" : " pixels" );
    QV_LOG( Qvcomp, Informational, "tiles of ", options.tileSide, " pixels, ", options.threads,
            " threads, memory ", options.memory.value_or( 0 ), " bytes (0 for no limit), strategy ",
            toText( options.strategy ), ", policy ", toText( options.policy ), ", manager ",
            toText( options.manager ), ", scratch folder \"", options.scratch.toString(),
            options.isUnbuffered ? "\", unbuffered" : "\", buffered" );
}

void runOptions( const Options& options, std::ostream& output, std::ostream& errors,
                 bool isTerminal ) {
    const InterruptNote note;
    if( options.wantsHelp ) {
        writeOut( output, []( std::ostream& stream ) { stream << getHelp(); } );
        return;
    }
    if( options.wantsVersion ) {
        writeOut( output, []( std::ostream& stream ) { stream << "qvcomp " QVCOMP_VERSION "\n"; } );
        return;
    }
    checkLogFile( options.logFile );
    logOptions( options );
    // OpenEXR's own threads would outlive the work.
    Imf::setGlobalThreadCount( 0 );
    Sequence sequence( options, isTerminal ? &errors : nullptr, [&]( const Report& report ) {
        writeOut( output, [&]( std::ostream& stream ) { writeReport( stream, report ); } );
    } );
    if( options.isWatching ) {
        watchLayers( sequence.listLayers(), options.watchSeconds,
                     [&]( const auto& changed ) { sequence.make( changed ); } );
    } else {
        sequence.make( {} );
    }
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
        runOptions( readOptions( arguments ), output, errors, isTerminal );
        return EXIT_DONE;
    } catch( const UsageFailure& e ) {
        makeMessage( Tag::USAGE, { e.what() } ).display();
        return EXIT_USAGE;
    } catch( const Failure& e ) {
        e.getMessage().display();
    } catch( const MbEx::ExNotEnoughMemory& ) {
        makeMessage( Tag::NO_MEMORY ).display();
    } catch( const std::bad_alloc& ) {
        makeMessage( Tag::NO_MEMORY ).display();
    } catch( const ExBase& e ) {
        tell( e.getReason() );
    } catch( const std::exception& e ) {
        tell( e.what() );
    }
    return EXIT_FAILED;
}

} // namespace Qv::Comp
