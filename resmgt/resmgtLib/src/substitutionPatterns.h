#pragma once

namespace Qv {

/// The patterns that the library expands in texts: of folders, time, user and machine, which are
/// asked for when a pattern is met, and of the environment, which are those of the registration.
///
/// Threads: for the start and the stop of the package, on its thread.
namespace SubstitutionPatterns {

/// Leaves no pattern behind when it raises.
void registerAll();
void unregisterAll();

} // namespace SubstitutionPatterns

} // namespace Qv
