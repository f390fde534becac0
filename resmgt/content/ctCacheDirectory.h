#pragma once

#include <resmgt/content/ctSerialId.h>
#include <resmgt/osal/osFilePath.h>

#include <cstdint>
#include <functional>
#include <memory>
#include <string>

namespace Qv {

class CtSessionFile;

/// An entry of a media cache's directory, or of one of its levels.
struct QV_RESMGT_API CtCacheEntry {
    /// What a file or folder of the directory is.
    enum Kind {
        /// A file with a block's name.
        BLOCK,
        /// The file of a server that died at its start.
        PROBE,
        INDEX,
        /// A directory that can be a level of some layout. It comes behind what it holds.
        LEVEL,
        /// Everything else: links, pipes, names that the cache doesn't give.
        FOREIGN
    };

    /// What it is.
    Kind kind;
    /// From the cache's directory on.
    std::string path;
    /// Of a block.
    CtSerialId id;
    /// Of a block's file, in bytes.
    std::uint64_t size;
};

/// The directory of a media cache seen from outside: its content, its living sessions, and the
/// removal of what dead ones have left. It needs no server, and disturbs none.
///
/// Layout:  any, with or without levels, also several at once. No link is followed.
/// Living:  a session is, as long as a process has marked it in `.session_idx`; the mark goes with
///          the process. Where that can't be found out nothing counts as dead: without an index,
///          where it may not be read or the volume knows no locks, and for the numbers above the
///          index's own, which are older than that.
/// Threads: one at a time; several objects, in whatever processes, at once.
/// Errors:  ExSysErrorWindows with the path for a directory that can't be read, and for what can't
///          be removed.
class QV_RESMGT_API CtCacheDirectory {
public:
    /// Whether a session's process lives; it can't always be found out.
    enum class State { LIVING, DEAD, UNKNOWN };

    /// What pruning has removed.
    struct Pruned {
        /// Blocks of dead sessions.
        std::uint64_t nbBlocks = 0;
        /// The bytes of these blocks.
        std::uint64_t nbBytes = 0;
        /// Probes that a start has left.
        std::uint64_t nbProbes = 0;
    };

    explicit CtCacheDirectory( const OsFilePath& path );
    CtCacheDirectory( const CtCacheDirectory& ) = delete;
    CtCacheDirectory& operator=( const CtCacheDirectory& ) = delete;
    ~CtCacheDirectory();

    /// Calls the visitor for each entry.
    void visit( const std::function<void( const CtCacheEntry& entry )>& visitor ) const;
    State getState( std::uint32_t session ) const;
    /// Removes, or in a dry run only counts, the blocks of dead sessions, and all probes: a server
    /// whose probe goes notices nothing. A session that begins meanwhile keeps its blocks, even
    /// where the index gave it the number of a dead one, whose further blocks stay then. Of two
    /// that prune at once one leaves a session to the other. Without the right to write the index
    /// no block goes.
    Pruned prune( bool isDryRun );

private:
    class Pruning;

    const OsFilePath _path;
    const std::unique_ptr<CtSessionFile> _index;
    std::uint64_t _nbKnown;
};

} // namespace Qv
