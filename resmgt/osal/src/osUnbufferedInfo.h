#pragma once

#include <resmgt/osal/osFilePath.h>
#include <resmgt/osal/osFileTypes.h>

namespace Qv {

/// What unbuffered transfers must respect on the volume of the file at `path`, which need not
/// exist. A volume is asked once in a process's life.
///
/// Threads: any.
/// Errors:  a volume that can't be asked is an assertion.
OsFileTypes::UnbufferedInfo getUnbufferedInfo( const OsFilePath& path );

/// The same for the open regular file `handle`.
OsFileTypes::UnbufferedInfo getUnbufferedInfo( OsFileTypes::Handle handle );

} // namespace Qv
