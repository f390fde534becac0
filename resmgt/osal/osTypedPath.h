#pragma once

#include <resmgt/osal/osFilePath.h>

#include <string>

namespace Qv {

/// Paths as people type them, for commands that take them as the system does.
///
/// An OsFilePath cancels ".." by its text alone, so that "../../x" becomes "x" and "link/../x"
/// leads elsewhere than the system does. A command therefore resolves a text before it becomes a
/// path:
///
///     const OsFilePath output = OsTypedPath::resolve( argument );
class QV_RESMGT_API OsTypedPath {
public:
    /// The path of the file that the system finds by `text`, whether it is there or not. What ends
    /// with the last ".." is followed to its directory, and what comes behind that stays as it was
    /// typed; so does a text without "..". What only looks like a drive or a server on this
    /// platform is neither: "c:/x" is below a directory "c:", and "//x" is "/x". The empty text is
    /// the empty path.
    ///
    /// Errors: ExSysErrorWindows with `text` when there is no such directory or it can't be
    ///         reached; OsFileEx::ExInvalidPath when no path can name the file, since a name in it
    ///         holds a back-slash or a zero byte.
    static OsFilePath resolve( const std::string& text );
};

} // namespace Qv
