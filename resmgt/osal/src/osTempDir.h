#pragma once

/// The directory for temporary files that `OsFilePath::getTempDir` names.
namespace Qv::OsTempDir {

/// Makes it, or sees to it that it is a directory of this user's alone; a directory that
/// QV_TEST_DIR names may be anybody's. Where the usual place can't be had, `getTempDir` names the
/// next best one from then on, and the trace output says why.
///
/// Errors:  ExSysErrorGeneric, which says what is wrong with each place; ExSysErrorWindows for what
///          QV_TEST_DIR names.
/// Threads: no other may ask for the directory meanwhile.
void prepare();

} // namespace Qv::OsTempDir
