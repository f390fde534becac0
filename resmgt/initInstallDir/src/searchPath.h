#pragma once

namespace Qv {

/// Between the directories of the system's PATH.
extern const char SEARCH_PATH_SEPARATOR;

} // namespace Qv
