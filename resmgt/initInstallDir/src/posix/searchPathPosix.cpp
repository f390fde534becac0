#include <resmgt/initInstallDir/src/searchPath.h>

namespace Qv {

const char SEARCH_PATH_SEPARATOR = ':';

} // namespace Qv
