#pragma once

#include <resmgt/osal/osFilePath.h>
#include <resmgt/osal/osFileTypes.h>

#include <cstddef>
#include <optional>
#include <string>
#include <utility>

namespace Qv {

/// Unique names, what of a path exists, and small files as a whole.
///
/// Threads: any.
class QV_RESMGT_API OsFileUtils {
public:
    OsFileUtils() = delete;

    /// The name `prefix`, a new Uuid, "." and `extension` in `directory`; each of the two texts may
    /// be null. Nothing is made or looked for.
    static OsFilePath createUniqueFileName( const OsFilePath& directory, const char* prefix,
                                            const char* extension );
    /// Makes an empty file of such a name, and returns its path. It is a new one: a file that has
    /// the name already is an OsFileEx::ExFileExists, here and below.
    static OsFilePath createUniqueFile( const OsFilePath& directory, const char* prefix,
                                        const OsFileTypes::Permissions& permissions );
    /// The same for a directory; missing parents are made as well, with (3, 1, 1).
    static OsFilePath createUniqueDir( const OsFilePath& directory, const char* prefix,
                                       const OsFileTypes::Permissions& permissions );

    /// Divides `path` into what exists and what is missing; a relative path that exists in part
    /// comes back under the current directory. An empty path gives itself twice.
    static std::pair<OsFilePath, OsFilePath> walk( const OsFilePath& path );

    /// Reads a regular file of at most `most` bytes: settings and the like, wherever a name of the
    /// user's leads. Nothing is waited for, not even where it leads to a pipe. The null device is
    /// an empty file.
    ///
    /// `text` has a value from when the file is open; after a failure it is what was read by then.
    /// Errors: ExSysErrorGeneric for what is no regular file, or larger; ExSysErrorWindows for a
    ///         failed system call.
    static void readRegularFile( const OsFilePath& path, std::size_t most,
                                 std::optional<std::string>& text );

    /// The characters that may not stand in a file name that the application makes, more than a
    /// platform forbids.
    static std::wstring getFileInvalidChars();
};

} // namespace Qv
