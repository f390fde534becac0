#include <resmgt/osSupport/src/osLineSize.h>

#include <unistd.h>

namespace Qv {

long osSystemLineSize( OsCache cache ) noexcept {
    return ::sysconf( cache == OsCache::L1 ? _SC_LEVEL1_DCACHE_LINESIZE
                                           : _SC_LEVEL2_CACHE_LINESIZE );
}

} // namespace Qv
