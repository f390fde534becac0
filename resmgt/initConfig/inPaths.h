#pragma once

#include <resmgt/osal/osFilePath.h>

namespace Qv {

/// The directories and files of the application; docs/settings.md lists the variables that change
/// them. None needs to exist. A source with the empty text counts as one without a value.
///
/// Threads: any, once the packages have started. Before that the variables don't count.
class QV_RESMGT_API InPaths {
public:
    InPaths() = delete;

    /// See InPathsImp::getInstallDir.
    static OsFilePath getInstallDir();
    /// "program" in the install directory.
    static OsFilePath getProgramDir();
    /// "scripts" in the install directory.
    static OsFilePath getScriptsDir();
    /// The variable ombra::deployment::resourcesDir, else "resources" in the install directory.
    /// Where there is no such directory, and these libraries were installed with resources of their
    /// own, it is theirs: "share/qvresmgt/resources" under the prefix.
    static OsFilePath getResourcesDir();
    /// The variable ombra::deployment::pythonExec, else "program/python.exe" in the install
    /// directory.
    static OsFilePath getPythonExec();
    /// The variable ombra::deployment::outputDir, which has the directory for temporary files as
    /// its default.
    static OsFilePath getOutputDir();
    /// See InInitAppInitFile::getPath.
    static OsFilePath getAppInitFilePath();
    /// "ombra" in the user's documents.
    ///
    /// Errors: OsFileEx::ExHomeNotDefined, here and below.
    static OsFilePath getAppUserDocumentsDir();
    /// See InInitFile::getDefaultUserInitFileDir.
    static OsFilePath getDefaultUserSettingsDir();
};

} // namespace Qv
