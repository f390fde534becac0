#pragma once

#include <resmgt/resmgtApi.h>

namespace Qv {

/// When the directory for temporary files, which `OsFilePath::getTempDir` names, is made.
///
/// As a rule the start of the package makes it, and fails where that is impossible. A program that
/// hardly ever has temporary files need neither leave an empty directory behind nor do without its
/// other work:
///
///     OsTempDir::setOnDemand( true );
///     const InInitGuard packages( argc, argv );
///
/// Then the start lets it be, and the first call of `OsFilePath::getTempDir` makes it or says why
/// it can't. `ombra::deployment::outputDir` has no default in such a program;
/// `InPaths::getOutputDir` still returns a directory.
class QV_RESMGT_API OsTempDir {
public:
    OsTempDir() = delete;

    /// Takes effect with the next start of the package. Threads: none but the one that starts.
    static void setOnDemand( bool isOnDemand );
    /// Whether the next call of `OsFilePath::getTempDir` makes it. Threads: any.
    static bool isToBeMade();
};

} // namespace Qv
