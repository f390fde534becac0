#pragma once

namespace Qv {

/// What the start of the package does for the directory for temporary files.
///
/// It makes it, or sees to it that it is a directory of this user's alone; a directory that
/// QV_TEST_DIR names may be anybody's. Where the usual place can't be had, `getTempDir` names the
/// next best one from then on, and the trace output says why. In a program that has it made on
/// demand, the next call of `getTempDir` does all this instead, and each one after a failure.
///
/// Errors: ExSysErrorGeneric, which says what is wrong with each place; ExSysErrorWindows for what
///         QV_TEST_DIR names.
void startTempDir();

} // namespace Qv
