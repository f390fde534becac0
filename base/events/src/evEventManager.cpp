#include <base/events/evEventManager.h>
#include <base/failure/assertions.h>
#include <base/init/inSingletonEx.h>

#include <atomic>

namespace Qv {

namespace {

// Written by the main thread. Release and acquire: who sees the manager sees it complete.
constinit std::atomic<EvEventManager*> installedManager = nullptr;

} // namespace

EvEventManager::~EvEventManager() = default;

EvEventManager& EvEventManager::getInstance() {
    EvEventManager* const manager = installedManager.load( std::memory_order_acquire );
    if( manager == nullptr ) {
        throw InSingletonEx::ExNotInitialized( QV_HERE, "EvEventManager" );
    }
    return *manager;
}

bool EvEventManager::isInitialized() noexcept {
    return installedManager.load( std::memory_order_relaxed ) != nullptr;
}

void EvEventManager::initialize( EvEventManager* manager ) {
    QV_ASSERT( manager != 0 );
    EvEventManager* none = nullptr;
    if( !installedManager.compare_exchange_strong( none, manager, std::memory_order_release,
                                                   std::memory_order_relaxed ) ) {
        throw InSingletonEx::ExAlreadyInitialized( QV_HERE, "EvEventManager" );
    }
}

void EvEventManager::finalize() noexcept {
    installedManager.store( nullptr, std::memory_order_release );
}

} // namespace Qv
