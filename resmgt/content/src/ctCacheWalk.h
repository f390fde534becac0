#pragma once

#include <resmgt/content/ctCacheDirectory.h>
#include <resmgt/osal/osFilePath.h>

#include <cstdint>
#include <functional>

namespace Qv {

/// Goes through a media cache's directory in whatever layout. No link is followed.
///
/// Errors: ExSysErrorWindows with the path for a directory that can't be read, and for what can't
///         be removed. What others remove meanwhile isn't there.
class CtCacheWalk {
public:
    /// Whether blocks are asked for their sizes, which are 0 otherwise.
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
