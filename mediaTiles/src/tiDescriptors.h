#pragma once

#include <cstddef>

namespace Qv {

/// How many files and the like this process may have open at one time, as it stands now.
std::size_t getMaxNbDescriptors() noexcept;

} // namespace Qv
