#pragma once

#include <base/init/inVariable.h>
#include <resmgt/osal/osFilePath.h>

#include <optional>
#include <string>

namespace Qv {

/// Where the application is installed.
///
/// Threads: any, once the packages have started.
class QV_RESMGT_API InPathsImp {
public:
    InPathsImp() = delete;

    /// The variable ombra::deployment::installDir; else the directory above the one that holds the
    /// running executable, by what the system says of the process. Where that says nothing, the
    /// name by which the program was called decides, see `findProgramDir`; when that doesn't
    /// either, the path is empty.
    static OsFilePath getInstallDir();

    /// The directory of a program that was called by `name`: the one in the name; for a bare name
    /// the first of `searchPath`, a list as the system's PATH is, in which there is such a file.
    /// Else empty.
    static OsFilePath findProgramDir( const OsFilePath& name, const std::string& searchPath );
    /// The path that a variable gives. A source with the empty text counts as one without a value:
    /// the next one is asked.
    static std::optional<OsFilePath> getPath( const InVariable<const char*>& variable );
};

} // namespace Qv
