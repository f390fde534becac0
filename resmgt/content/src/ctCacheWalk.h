#pragma once

#include <resmgt/content/ctSerialId.h>
#include <resmgt/osal/osFilePath.h>

#include <cstdint>
#include <functional>
#include <string>

namespace Qv {

/// An entry of a media cache's directory, or of one of its levels.
struct CtCacheEntry {
    enum Kind {
        /// A file with a block's name.
        BLOCK,
        PROBE,
        INDEX,
        /// A directory that can be a level of some layout. It comes behind what it holds.
        LEVEL,
        /// All else: links, pipes, names that the cache doesn't give.
        FOREIGN
    };

    Kind kind;
    /// From the cache's directory on.
    std::string path;
    /// Of a block.
    CtSerialId id;
    /// Of a block, in bytes; only where it is asked for.
    std::uint64_t size;
};

/// Goes through a media cache's directory in whatever layout. No link is followed.
///
/// Errors: ExSysErrorWindows with the path for a directory that can't be read, and for what can't
///         be removed. What others remove meanwhile isn't there.
class CtCacheWalk {
public:
    enum class Sizes { ASKED_FOR, NOT_ASKED_FOR };
    /// What `visit` does with an entry.
    enum class Fate { STAYS, GOES };

    using Visit = std::function<Fate( const CtCacheEntry& entry )>;

    /// An entry that is to go is removed at once; a level's directory only if it is empty. Returns
    /// how many went.
    static std::uint64_t run( const OsFilePath& directory, Sizes sizes, const Visit& visit );
    /// The names of the regular files in a directory.
    static void listFiles( const OsFilePath& directory,
                           const std::function<void( const char* name )>& visit );
};

} // namespace Qv
