#pragma once

#include <base/qvBaseApi.h>

#include <iosfwd>

namespace Qv::LmLibraries {

/// Prints the program and the libraries that are loaded, one a line: load address and path.
QV_BASE_API void dumpList( std::ostream& stream );
/// The same on standard output.
QV_BASE_API void dumpList();

} // namespace Qv::LmLibraries
