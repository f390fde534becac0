#include <tools/qvcomp/pictureMaker.h>

#include <tools/qvcomp/failure.h>
#include <tools/qvcomp/log.h>
#include <tools/qvcomp/outputs.h>
#include <tools/qvcomp/plainTiles.h>
#include <tools/qvcomp/planeCompare.h>

#include <base/text/printable.h>
#include <resmgt/profiling/hwIntervalTimer.h>

#include <algorithm>
#include <initializer_list>

namespace Qv::Comp {

namespace {

std::uint64_t getLeastMemory( const Options& options ) {
    return ManagedTiles::getLeastMemory( options.tileSide, options.isUnbuffered, options.threads );
}

/// Reading takes no more than this beside the limit; what a layer needs beyond is part of it.
constexpr std::uint64_t READING_ALLOWANCE = std::uint64_t{ 16 } << 20;
/// Without a limit it takes so much, or what all threads need at a time: of many layers not all
/// stay ready to be read.
constexpr std::uint64_t UNLIMITED_READING = std::uint64_t{ 128 } << 20;

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

const LayerInfo& findLargest( const Scene& scene ) {
    return *std::ranges::max_element( scene.layers, {}, &LayerInfo::readingMemory );
}

Scene probeScene( const Options& options ) {
    Scene scene{ options.width, options.height, {},           options.pixelAspect,
                 options.fit,   options.mattes, options.glow, options.glowRadius };
    for( const auto& [path, choice] : options.layers ) {
        scene.layers.push_back( probeLayer( path, [&, &file = path]( std::uint64_t bytes ) {
            checkReading( options, file, bytes );
        } ) );
        LayerInfo& layer = scene.layers.back();
        layer.options = choice;
        QV_LOG( Qvcomp, Informational, "layer \"", path.toString(), "\": ", layer.width, " x ",
                layer.height, layer.hasAlpha ? " pixels with alpha" : " pixels without alpha",
                ", display window ", layer.display.width, " x ", layer.display.height, " at ",
                layer.display.x, ", ", layer.display.y, ", pixel aspect ", layer.pixelAspect );
    }
    const std::uint64_t largest = findLargest( scene ).readingMemory;
    scene.readingMemory = options.memory
                              ? std::max( READING_ALLOWANCE, largest )
                              : std::max( UNLIMITED_READING,
                                          largest * static_cast<std::uint64_t>( options.threads ) );
    return scene;
}

/// The limit less what reading takes of it.
std::optional<std::uint64_t> getTileMemory( const Options& options, const Scene& scene ) {
    if( !options.memory ) {
        return std::nullopt;
    }
    const LayerInfo& layer = findLargest( scene );
    return *options.memory - checkReading( options, layer.path, layer.readingMemory );
}

StreamPlan makePlan( const Options& options, const Scene& scene ) {
    StreamPlan::Settings settings{ options.tileSide, options.threads, std::nullopt,
                                   options.mustVerify };
    if( const auto memory = getTileMemory( options, scene ) ) {
        settings.tiles =
            *memory / ManagedTiles::getTileMemory( options.tileSide, options.isUnbuffered, 1 );
    }
    return StreamPlan( scene, settings );
}

ManagedTiles::Settings makeSettings( const Options& options, const Scene& scene,
                                     const StreamPlan& plan ) {
    return { options.tileSide,  options.threads,
             plan.countTiles(), getTileMemory( options, scene ),
             options.strategy,  options.policy,
             options.manager,   { options.scratch, options.isUnbuffered, options.scratchLimit } };
}

/// Makes the picture again in plain memory and in other steps, and holds that against it.
void verify( const Options& options, const Scene& scene, TilePlane& picture, Workers& workers,
             Passes& passes ) {
    PlainTiles store( options.tileSide );
    PassRunner runner( workers, store.getPrefetchDepth(), passes );
    const StreamPlan plan( scene, { options.tileSide, 4 * options.threads, std::nullopt } );
    PictureComparison comparison( picture );
    streamScene( scene, plan, store, runner, comparison, "Verifying" );
}

/// What the store and the threads have done so far.
Report countSoFar( const ManagedTiles& store, const Workers& workers ) {
    Report report;
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
    report.computing = workers.getSnapshot();
    return report;
}

/// Leaves what was done since `before`.
void subtract( Report& report, const Report& before ) {
    report.tiles -= before.tiles;
    report.evictions -= before.evictions;
    report.reloads -= before.reloads;
    report.prefetches -= before.prefetches;
    report.bytesWritten -= before.bytesWritten;
    report.bytesRead -= before.bytesRead;
    report.computing.nbDone -= before.computing.nbDone;
    report.transfers.nbDone -= before.transfers.nbDone;
}

/// Adds to the counts and times of a picture what else is reported of it, and logs it.
void complete( Report& report, const Options& options, std::size_t workingTiles ) {
    report.options = options;
    report.logFile = getLogFile();
    report.workingSet =
        ManagedTiles::getTileMemory( options.tileSide, options.isUnbuffered, workingTiles );
    report.peakProcess = getPeakProcessMemory();
    QV_LOG( Qvcomp, Informational, "picture made in ", report.seconds, " s, ", report.tiles,
            " tiles, ", report.evictions, " evictions, ", report.reloads, " reloads" );
}

/// The passes' parts in the whole work.
std::vector<double> getWeights( const Options& options ) {
    return options.mustVerify ? std::vector<double>{ 2.0, 1.0 } : std::vector<double>{ 1.0 };
}

void checkMemory( const Options& options ) {
    const std::uint64_t least = getLeastMemory( options );
    if( options.memory && *options.memory < least ) {
        throw Failure( Tag::LITTLE_MEMORY, options.memoryLabel, *options.memory, options.threads,
                       options.tileSide, least );
    }
}

std::unique_ptr<Workers> makeComputing( const Options& options ) {
    checkMemory( options );
    // The calling thread computes as well.
    return makeWorkers( "qvcomp-compute", static_cast<unsigned>( options.threads - 1 ),
                        static_cast<std::uint32_t>( options.threads ) );
}

} // namespace

PictureMaker::PictureMaker( const Options& options, std::ostream* terminal )
    : _terminal( terminal )
    , _workers( makeComputing( options ) ) {}

PictureMaker::~PictureMaker() = default;

Report PictureMaker::make( const Options& options, const ProgressPart& part ) {
    try {
        return makePicture( options, part );
    } catch( ... ) {
        // Whatever state that has left it in.
        _store.reset();
        throw;
    }
}

ManagedTiles& PictureMaker::takeStore( const ManagedTiles::Settings& settings ) {
    if( !_store || _settings.memory != settings.memory ||
        _settings.workingTiles < settings.workingTiles ) {
        _store.reset();
        _store.emplace( settings, *_workers );
        _settings = settings;
    }
    _store->restartPeak();
    return *_store;
}

void PictureMaker::nameOtherColours( const Scene& scene ) {
    const LayerInfo& first = scene.layers.front();
    for( std::size_t i = 1; i < scene.layers.size(); ++i ) {
        const LayerInfo& layer = scene.layers[i];
        if( !haveSameColours( layer.head, first.head ) && _named.insert( i ).second ) {
            makeWarning( Tag::OTHER_COLOURS, { Printable::makeLine( layer.path.toString() ),
                                               describeColours( layer.head ),
                                               Printable::makeLine( first.path.toString() ),
                                               describeColours( first.head ) } )
                .display();
        }
    }
}

Report PictureMaker::makePicture( const Options& options, const ProgressPart& part ) {
    const HwIntervalTimer timer( "qvcomp" );
    Scene scene = probeScene( options );
    nameOtherColours( scene );
    std::optional<OutputLock> lock;
    if( options.mustLock ) {
        lock.emplace( options.output, options.lockSeconds );
    }
    Progress progress( _terminal, getWeights( options ), getTerminalColumns, part );
    PassLog passLog;
    PassRecords passRecords;
    Passes passes;
    for( PassObserver* const observer :
         std::initializer_list<PassObserver*>{ &progress, &passLog, &passRecords } ) {
        passes.add( *observer );
    }
    Outputs outputs( options, scene );
    const StreamPlan plan = makePlan( options, scene );
    const ManagedTiles::Settings settings = makeSettings( options, scene, plan );
    ManagedTiles& store = takeStore( settings );
    if( settings.memory ) {
        scene.readingMemory += *settings.memory - store.getCapacity();
    }
    const Report before = countSoFar( store, *_workers );
    PassRunner runner( *_workers, store.getPrefetchDepth(), passes );
    PictureFiles files = outputs.makeFiles( scene, options.dithering );
    const auto picture = streamScene( scene, plan, store, runner, files, "Compositing" );
    files.finish();

    Report report = countSoFar( store, *_workers );
    subtract( report, before );
    report.seconds = timer.sinceStart();
    report.passes = passRecords.getAll();
    complete( report, options, settings.workingTiles );
    if( options.mustVerify ) {
        verify( options, scene, *picture, *_workers, passes );
    }
    outputs.commit( lock );
    return report;
}

} // namespace Qv::Comp
