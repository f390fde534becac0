#pragma once

#include <resmgt/osal/osFilePath.h>

#include <string>

/// The folder of the log files with default names.
///
/// Threads: any. Errors: none is raised but std::bad_alloc.
namespace Qv::LgFolder {

/// The folder that the user chose; it is made, with its parents, if it isn't there. On failure
/// `problem` says what is wrong, and there are no default files.
bool makeChosen( const OsFilePath& path, std::string& problem );

/// The folder "logs" in `outputDir`, made for this user alone; where a stranger could have put
/// something there, since the folder or the one above belongs to another user or may be written by
/// one, it is "ombra/logs" in the user's XDG state folder. The empty path, and a `problem`, when
/// neither can be had. An empty `outputDir`, with its `problem`, can't.
OsFilePath makeDefault( const OsFilePath& outputDir, std::string& problem );

/// Removes old log files: of those with the extension "log" all but the newest 100, and those that
/// are 14 days old or older.
///
/// Only regular files of this user are counted and removed, by the name under which they were
/// found in this very folder. A file that a process holds locked, as all that log do, stays. What
/// can't be removed is passed over.
void clean( const OsFilePath& path );

} // namespace Qv::LgFolder
