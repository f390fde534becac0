#pragma once

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

enum class Strategy { LRU, RANDOM };
enum class Policy { RELAXED, STRICT };
enum class Manager { HEAP, ARENA };
enum class ReportForm { TEXT, JSON };

/// What the command line asks for.
struct Options {
    int width = 0;
    int height = 0;
    OsFilePath output;
    OsFilePath preview;
    std::vector<OsFilePath> layers;
    /// Bytes for tiles; none means no limit.
    std::optional<std::uint64_t> memory;
    int tileSide = 256;
    int threads = 1;
    Strategy strategy = Strategy::LRU;
    Policy policy = Policy::RELAXED;
    Manager manager = Manager::HEAP;
    OsFilePath scratch;
    ReportForm report = ReportForm::TEXT;
    bool mustVerify = false;
    bool wantsHelp = false;
    bool wantsVersion = false;
};

/// Reads the arguments after the command's name. When help or the version is wanted the rest isn't
/// checked.
///
/// Errors: UsageFailure.
Options parseOptions( std::span<const char* const> arguments );

/// The text of `--help`.
std::string getHelp();

/// A number of bytes such as 300, 64K, 2M or 1G, in powers of 1024.
///
/// Errors: UsageFailure when it isn't one, is 0 or doesn't fit 62 bits.
std::uint64_t parseByteCount( const std::string& text );

const char* toText( Strategy );
const char* toText( Policy );
const char* toText( Manager );

} // namespace Qv::Comp
