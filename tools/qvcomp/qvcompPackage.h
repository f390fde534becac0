#pragma once

#include <optional>
#include <string>

namespace Qv {

namespace QvInit {

/// The tag of the command's package, which starts after all of the library.
struct qvcomp {};

} // namespace QvInit

namespace Comp {

/// A setting that somebody has made outside of the command line.
struct Setting {
    /// Variable and source, as a message shows them.
    std::string label;
    std::string text;
};

/// Takes those of the environment's variables below away that are empty, which counts as not set.
///
/// REQUIRES: one thread, and packages aren't started.
void dropEmptySettings();

/// What the sources of "ombra::qvcomp::memory", "ombra::qvcomp::threads" and
/// "ombra::qvcomp::scratchDir" say: the environment's QVCOMP_MEMORY, QVCOMP_THREADS and
/// QVCOMP_SCRATCH, then the user's init file, then the application's.
///
/// REQUIRES: packages are started.
std::optional<Setting> getMemorySetting();
std::optional<Setting> getThreadsSetting();
std::optional<Setting> getScratchSetting();

} // namespace Comp

} // namespace Qv
