#include <resmgt/logger/lgRegistry.h>

namespace Qv {

namespace {

// One for all registries, so that no two lists go by one number. Relaxed: only different values
// count.
constinit std::atomic<unsigned long long> lastVersion{ 0 };

unsigned long long getNewVersion() noexcept {
    return lastVersion.fetch_add( 1, std::memory_order_relaxed ) + 1;
}

} // namespace

LgRegistry::LgRegistry()
    : _version( getNewVersion() ) {}

LgRegistry::~LgRegistry() = default;

void LgRegistry::noteChange() noexcept {
    _version.store( getNewVersion(), std::memory_order_release );
}

} // namespace Qv
