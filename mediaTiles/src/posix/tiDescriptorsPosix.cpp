#include <mediaTiles/src/tiDescriptors.h>

#include <limits>

#include <sys/resource.h>

namespace Qv {

std::size_t getMaxNbDescriptors() noexcept {
    rlimit limit{};
    if( ::getrlimit( RLIMIT_NOFILE, &limit ) != 0 || limit.rlim_cur == RLIM_INFINITY ) {
        return std::numeric_limits<std::size_t>::max();
    }
    return limit.rlim_cur;
}

} // namespace Qv
