#pragma once

#include <resmgt/logger/qvLog.h>

#include <span>
#include <string>

// The group of what the command logs of its own; its package has it from start to stop.
namespace Qv::LgGroups {
extern constinit LgPackageGroup MinorLevelQvcomp;
}

namespace Qv::Comp {

/// Chooses the log's level and file as the arguments say. Nothing is echoed, since standard output
/// is the report's; traces go to the file. What the environment says for single levels and groups
/// counts more.
///
/// REQUIRES: one thread, and packages aren't started.
void chooseLog( std::span<const char* const> arguments );

/// Errors: Failure when the log can't go to `file`, the one that the arguments name; without one
///         all is well.
void checkLogFile( const std::string& file );

/// The file that the log goes to; empty without one.
std::string getLogFile();

} // namespace Qv::Comp
