#pragma once

#include <tools/qvcomp/dither.h>
#include <tools/qvcomp/frames.h>
#include <tools/qvcomp/job.h>
#include <tools/qvcomp/layerOptions.h>

#include <resmgt/osal/osFilePath.h>

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <vector>

namespace Qv::Comp {

/// Limits of what the command takes; a side is in pixels.
inline constexpr int MAX_SIDE = 65536;
inline constexpr int MIN_TILE_SIDE = 16;
inline constexpr int MAX_TILE_SIDE = 4096;
inline constexpr int MAX_THREADS = 256;
inline constexpr int MAX_LOCK_SECONDS = 1000000;

enum class Strategy { LRU, RANDOM };
enum class Policy { RELAXED, STRICT };
enum class Manager { HEAP, ARENA };
enum class ReportForm { TEXT, JSON };
/// How a layer's display window comes into the frame.
enum class Fit { COVER, CONTAIN, NONE };
/// What a layer without alpha gets in its place.
enum class Mattes { SOFT, NONE };

/// The glow's standard deviation.
struct GlowRadius {
    /// In pixels, or in percent of the frame's width.
    double value = 2.0;
    bool isPercentage = true;
};

/// A layer that the command line names.
struct NamedLayer {
    OsFilePath path;
    LayerOptions options;
};

/// What the command line asks for.
struct Options {
    int width = 0;
    int height = 0;
    /// Width over height of the frame's pixels.
    double pixelAspect = 1.0;
    Fit fit = Fit::COVER;
    Mattes mattes = Mattes::SOFT;
    /// The part of the bright light that the glow adds; 0 for none.
    double glow = 0.35;
    GlowRadius glowRadius;
    /// None for a single picture. Otherwise the names of the layers and of the outputs may have
    /// places for the frame's number, see `getFrame`.
    std::optional<FrameRange> frames;
    /// The one that `getFrame` made these of.
    std::optional<int> frame;
    OsFilePath output;
    OsFilePath preview;
    /// Of the preview.
    Dithering dithering = Dithering::POSITION;
    std::vector<NamedLayer> layers;
    /// Of the layer that is named next.
    LayerOptions next;
    /// Those that were read.
    std::vector<OsFilePath> jobs;
    /// The file for `typed`; empty for none.
    OsFilePath writtenJob;
    /// Options and layers as they were typed, or stand in jobs, those of jobs first.
    std::vector<JobEntry> typed;
    /// Bytes for tiles; none means no limit.
    std::optional<std::uint64_t> memory;
    /// The option or the setting that gave the memory.
    std::string memoryLabel = "--memory";
    int tileSide = 256;
    int threads = 0;
    Strategy strategy = Strategy::LRU;
    Policy policy = Policy::RELAXED;
    Manager manager = Manager::HEAP;
    OsFilePath scratch;
    /// As it was typed; empty for the default one.
    std::string logFile;
    /// Bytes for tiles on the disk; none means no limit.
    std::optional<std::uint64_t> scratchLimit;
    bool isUnbuffered = false;
    ReportForm report = ReportForm::TEXT;
    /// The picture's path, for so many seconds.
    bool mustLock = false;
    int lockSeconds = 0;
    bool mustVerify = false;
    /// Whether the picture is made again when layers change, which are looked at so often.
    bool isWatching = false;
    double watchSeconds = 1;
    bool wantsHelp = false;
    bool wantsVersion = false;
};

/// Reads the arguments after the command's name, and the jobs that they name. Of an option that
/// both have the argument counts; the layers of jobs come first. What they leave open comes from
/// the settings, else from the defaults. Options of a layer stand before it. Patterns in paths are
/// expanded, and ".." in them is followed as the system does. When help or the version is wanted
/// the rest isn't checked.
///
/// Errors: UsageFailure; Failure that names a job and the place in it, a setting with a wrong
///         value, or a path that leads nowhere. What the value of a pattern raises goes on.
Options parseOptions( std::span<const char* const> arguments );

/// The options of one frame of a sequence: its number stands in the names of its files.
Options getFrame( const Options& sequence, int frame );

/// The layers' files, in their order.
std::vector<OsFilePath> getLayerPaths( const Options& options );

/// What the command line says about the log, which is there before all else.
struct LogOptions {
    /// The level's display name; empty when none is asked for, or one that there isn't.
    std::string level;
    std::string file;
    /// The file has another part, too: writing to it would damage it.
    bool isFileShared = false;
};

/// Never raises: what is wrong is the affair of `parseOptions`, which reads the same arguments.
///
/// REQUIRES: nothing; packages needn't be started.
LogOptions readLogOptions( std::span<const char* const> arguments );

/// The text of `--help`.
std::string getHelp();

const char* toText( Strategy );
const char* toText( Policy );
const char* toText( Manager );
const char* toText( Fit );
const char* toText( Mattes );

} // namespace Qv::Comp
