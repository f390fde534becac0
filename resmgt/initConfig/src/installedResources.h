#pragma once

#include <resmgt/osal/osFilePath.h>

namespace Qv {

/// Where the resources stand that are installed with these libraries, seen from the file that holds
/// this code; empty when that isn't known.
OsFilePath getInstalledResourcesDir();

} // namespace Qv
