#pragma once

#include <resmgt/osal/osFilePath.h>

#include <string>

namespace Qv {

/// Who holds a lock on a file, as its lock file says. That is for people alone: anybody could have
/// written it, and it may be missing.
struct LockHolder {
    enum State {
        FREE,
        ALIVE,
        DEAD,   ///< to be taken over by the next who wants it
        BLOCKED ///< what isn't a regular file lies where the lock file belongs: nobody gets the
                ///< lock
    };

    State state = FREE;
    /// Printable, each on one line; empty if unknown.
    std::string build;
    std::string process;
    std::string host;
    std::string user;
    /// Local time, the earliest that is known of the file; when it was made, on most volumes.
    std::string since;
    /// In seconds, by the file server's clock.
    double age = 0.0;

    /// As "anna on render12 since 2026-11-22 16:03:11"; what is unknown is left out.
    std::string describe() const;
};

/// Looks at the lock of `path`, and leaves it as it is.
///
/// Errors: what OsFileLock::getLockPath, OsFsUtils::getServerTime and the queries raise; a file
///         that goes meanwhile is free.
LockHolder findLockHolder( const OsFilePath& path );

} // namespace Qv
