#pragma once

#include <resmgt/osal/osFilePath.h>
#include <resmgt/osal/osFileTypes.h>

#include <string>
#include <utility>

namespace Qv {

/// Unique names, and what of a path exists.
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

    /// The characters that may not stand in a file name that the application makes, more than a
    /// platform forbids.
    static std::wstring getFileInvalidChars();
};

} // namespace Qv
