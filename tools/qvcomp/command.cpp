#include <tools/qvcomp/command.h>
#include <tools/qvcomp/failure.h>
#include <tools/qvcomp/interrupt.h>
#include <tools/qvcomp/log.h>
#include <tools/qvcomp/managedTiles.h>
#include <tools/qvcomp/outputLock.h>
#include <tools/qvcomp/pictureFile.h>
#include <tools/qvcomp/plainTiles.h>
#include <tools/qvcomp/planeCompare.h>
#include <tools/qvcomp/progress.h>
#include <tools/qvcomp/render.h>
#include <tools/qvcomp/report.h>
#include <tools/qvcomp/watch.h>

#include <base/failure/exBase.h>
#include <resmgt/memoryBuffers/mbEx.h>
#include <resmgt/profiling/hwIntervalTimer.h>
#include <resmgt/threads/mtUtil.h>

#include <ImfThreading.h>

#include <algorithm>
#include <cerrno>
#include <functional>
#include <new>
#include <system_error>

namespace Qv::Comp {

namespace {

constexpr int EXIT_DONE = 0;
constexpr int EXIT_FAILED = 1;
constexpr int EXIT_USAGE = 2;

std::uint64_t getLeastMemory( const Options& options ) {
    return ManagedTiles::getLeastMemory( options.tileSide, options.isUnbuffered, options.threads );
}

void checkMemory( const Options& options ) {
    const std::uint64_t least = getLeastMemory( options );
    if( options.memory && *options.memory < least ) {
        throw Failure( Tag::LITTLE_MEMORY, options.memoryLabel, *options.memory, options.threads,
                       options.tileSide, least );
    }
}

/// Reading takes no more than this beside the limit; what a layer needs beyond is part of it.
constexpr std::uint64_t READING_ALLOWANCE = std::uint64_t{ 16 } << 20;

/// What a layer that takes `bytes` to be read takes of the memory limit.
///
/// Errors: Failure when that leaves tiles too little.
std::uint64_t checkReading( const Options& options, const OsFilePath& layer, std::uint64_t bytes ) {
    const std::uint64_t share = bytes - std::min( bytes, READING_ALLOWANCE );
    const std::uint64_t least = getLeastMemory( options );
    if( options.memory && *options.memory - least < share ) {
        throw Failure( Tag::LAYER_MEMORY, layer.toString(), bytes, options.memoryLabel,
                       *options.memory, least + share );
    }
    return share;
}

Scene probeScene( const Options& options ) {
    Scene scene{ options.width, options.height, {},           options.pixelAspect,
                 options.fit,   options.mattes, options.glow, options.glowRadius };
    for( const OsFilePath& path : options.layers ) {
        scene.layers.push_back( probeLayer(
            path, [&]( std::uint64_t bytes ) { checkReading( options, path, bytes ); } ) );
        const LayerInfo& layer = scene.layers.back();
        QV_LOG( Qvcomp, Informational, "layer \"", path.toString(), "\": ", layer.width, " x ",
                layer.height, layer.hasAlpha ? " pixels with alpha" : " pixels without alpha",
                ", display window ", layer.display.width, " x ", layer.display.height, " at ",
                layer.display.x, ", ", layer.display.y, ", pixel aspect ", layer.pixelAspect );
    }
    return scene;
}

/// The limit less what reading takes of it.
std::optional<std::uint64_t> getTileMemory( const Options& options, const Scene& scene ) {
    if( !options.memory ) {
        return std::nullopt;
    }
    const LayerInfo& layer =
        *std::ranges::max_element( scene.layers, {}, &LayerInfo::readingMemory );
    return *options.memory - checkReading( options, layer.path, layer.readingMemory );
}

ManagedTiles::Settings makeSettings( const Options& options, const Scene& scene ) {
    return { options.tileSide,
             options.threads,
             countWorkingTiles( scene, options.tileSide, options.threads ),
             getTileMemory( options, scene ),
             options.strategy,
             options.policy,
             options.manager,
             { options.scratch, options.isUnbuffered, options.scratchLimit } };
}

/// Renders the scene again in plain memory, and holds `picture` against that.
void verify( int tileSide, const Scene& scene, TilePlane& picture, Workers& workers,
             Passes& passes ) {
    PlainTiles store( tileSide );
    PassRunner runner( workers, store.getPrefetchDepth(), passes );
    const auto expected = renderScene( scene, store, runner );
    checkIdentical( picture, *expected );
}

void fillReport( Report& report, const ManagedTiles& store ) {
    const TiCounts counts = store.getCounts();
    const CtCounters transferred = store.getServer().getCounters();
    report.peakTiles = store.getPeakBytes();
    report.transfers = store.getServer().getSnapshot();
    report.tiles = store.getNbTiles();
    report.evictions = counts.nbEvictions;
    report.reloads = counts.nbReloads;
    report.prefetches = counts.nbPrefetches;
    report.bytesWritten = transferred.nbBytesWritten;
    report.bytesRead = transferred.nbBytesRead;
}

/// The picture and, when it is wanted, the preview.
class Outputs {
public:
    Outputs( const Options& options, const Scene& scene )
        : _picture( options.output ) {
        checkInputs( _picture, scene );
        checkJobs( _picture, options );
        if( !options.preview.isEmpty() ) {
            _preview.emplace( options.preview );
            checkInputs( *_preview, scene );
            checkJobs( *_preview, options );
            checkPlaces();
        }
        if( !options.writtenJob.isEmpty() ) {
            _job.emplace( options.writtenJob );
            checkInputs( *_job, scene );
            checkJobsPlace();
            const std::string text = makeJob( options.typed );
            _job->write( 0, text.data(), text.size() );
        }
    }

    void write( TilePlane& picture, double pixelAspect, Dithering dithering, Passes& passes ) {
        writePicture( picture, pixelAspect, _picture, getPreview(), dithering, passes );
    }

    /// The names come last, when nothing else can fail.
    void commit( const std::optional<OutputLock>& lock ) {
        _picture.sync();
        if( _preview ) {
            _preview->sync();
        }
        if( _job ) {
            _job->sync();
        }
        InterruptNote::check();
        if( lock ) {
            lock->verify();
        }
        _picture.commit();
        if( _preview ) {
            checkPlaces();
            _preview->commit();
        }
        if( _job ) {
            checkJobsPlace();
            _job->commit();
        }
    }

private:
    void checkPlaces() const {
        if( _preview->hasPlaceOf( _picture ) ) {
            throw UsageFailure( Tag::SAME_OUTPUTS );
        }
    }

    void checkJobsPlace() const {
        if( _job->hasPlaceOf( _picture ) || ( _preview && _job->hasPlaceOf( *_preview ) ) ) {
            throw UsageFailure( Tag::JOB_IS_OUTPUT );
        }
    }

    static void checkInputs( const PendingFile& output, const Scene& scene ) {
        for( const LayerInfo& layer : scene.layers ) {
            if( output.replaces( layer.file ) ) {
                throw UsageFailure( Tag::OUTPUT_IS_LAYER, output.getPath().toString() );
            }
        }
    }

    /// The job that is written may take the place of one that was read.
    static void checkJobs( const PendingFile& output, const Options& options ) {
        for( const OsFilePath& job : options.jobs ) {
            struct stat facts;
            if( ::stat( job.getChars(), &facts ) == 0 && output.replaces( FileId( facts ) ) ) {
                throw UsageFailure( Tag::OUTPUT_IS_JOB, output.getPath().toString() );
            }
        }
    }

    PendingFile* getPreview() { return _preview ? &*_preview : nullptr; }

    PendingFile _picture;
    std::optional<PendingFile> _preview;
    std::optional<PendingFile> _job;
};

std::vector<double> getWeights( const Options& options, const Scene& scene ) {
    // Nanoseconds a pixel, like those of rendering.
    constexpr double WRITING = 170.0;
    std::vector<double> weights =
        getPhaseWeights( scene, std::min( options.threads, MtUtil::getNbUsableProcessors() ) );
    const std::vector<double> again = options.mustVerify ? weights : std::vector<double>();
    weights.push_back( WRITING * scene.width * scene.height );
    weights.insert( weights.end(), again.begin(), again.end() );
    return weights;
}

/// Makes the picture; the files get their names when all has gone well.
Report makePicture( const Options& options, const Scene& scene, std::ostream* terminal ) {
    const HwIntervalTimer timer( "qvcomp" );
    std::optional<OutputLock> lock;
    if( options.mustLock ) {
        lock.emplace( options.output, options.lockSeconds );
    }
    Progress progress( terminal, getWeights( options, scene ) );
    PassLog passLog;
    PassRecords passRecords;
    Passes passes;
    for( PassObserver* const observer :
         std::initializer_list<PassObserver*>{ &progress, &passLog, &passRecords } ) {
        passes.add( *observer );
    }
    Outputs outputs( options, scene );
    const ManagedTiles::Settings settings = makeSettings( options, scene );
    // The calling thread computes as well.
    const auto workers =
        makeWorkers( "qvcomp-compute", static_cast<unsigned>( options.threads - 1 ),
                     static_cast<std::uint32_t>( options.threads ) );
    ManagedTiles store( settings, *workers );
    PassRunner runner( *workers, store.getPrefetchDepth(), passes );
    const auto picture = renderScene( scene, store, runner );
    outputs.write( *picture, scene.pixelAspect, options.dithering, passes );

    Report report;
    report.options = options;
    report.logFile = getLogFile();
    report.workingSet = ManagedTiles::getTileMemory( options.tileSide, options.isUnbuffered,
                                                     settings.workingTiles );
    report.peakProcess = getPeakProcessMemory();
    report.seconds = timer.sinceStart();
    fillReport( report, store );
    QV_LOG( Qvcomp, Informational, "picture made in ", report.seconds, " s, ", report.tiles,
            " tiles, ", report.evictions, " evictions, ", report.reloads, " reloads" );
    report.computing = workers->getSnapshot();
    report.passes = passRecords.getAll();
    if( options.mustVerify ) {
        verify( options.tileSide, scene, *picture, *workers, passes );
    }
    outputs.commit( lock );
    return report;
}

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
    checkMemory( options );
    const auto render = [&] {
        const Scene scene = probeScene( options );
        const Report report = makePicture( options, scene, isTerminal ? &errors : nullptr );
        writeOut( output, [&]( std::ostream& stream ) { writeReport( stream, report ); } );
    };
    if( options.isWatching ) {
        watchLayers( options.layers, options.watchSeconds, render );
    } else {
        render();
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
