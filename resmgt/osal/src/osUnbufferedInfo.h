#pragma once

#include <resmgt/osal/osFilePath.h>
#include <resmgt/osal/osFileTypes.h>

#include <optional>

namespace Qv {

/// What unbuffered transfers must respect on the volume of the file at `path`, which need not
/// exist. A volume is asked once in a process's life. Nothing if it can't be asked, as for want of
/// descriptors; the thread's last error is the platform's then.
///
/// Threads: any.
std::optional<OsFileTypes::UnbufferedInfo> getUnbufferedInfo( const OsFilePath& path );

/// The same for the open regular file `handle`.
std::optional<OsFileTypes::UnbufferedInfo> getUnbufferedInfo( OsFileTypes::Handle handle );

} // namespace Qv
