#include <pluginAPI/pxRequestMgr.h>

#include <base/failure/assertions.h>
#include <base/init/inSingletonEx.h>

#include <atomic>

namespace Qv {

namespace {

// Written by the main thread. Release and acquire: who sees the manager sees it complete.
constinit std::atomic<PxRequestMgr*> installedRequestMgr = nullptr;

} // namespace

PxRequestMgr::~PxRequestMgr() = default;

bool PxRequestMgr::isInitialized() noexcept {
    return installedRequestMgr.load( std::memory_order_relaxed ) != nullptr;
}

PxRequestMgr& PxRequestMgr::getInstance() {
    PxRequestMgr* const manager = installedRequestMgr.load( std::memory_order_acquire );
    if( manager == nullptr ) {
        throw InSingletonEx::ExNotInitialized( QV_HERE, "PxRequestMgr" );
    }
    return *manager;
}

void PxRequestMgr::initialize( PxRequestMgr* manager ) {
    QV_ASSERT( manager != 0 );
    PxRequestMgr* none = nullptr;
    if( !installedRequestMgr.compare_exchange_strong( none, manager, std::memory_order_release,
                                                      std::memory_order_relaxed ) ) {
        throw InSingletonEx::ExAlreadyInitialized( QV_HERE, "PxRequestMgr" );
    }
}

void PxRequestMgr::finalize() noexcept {
    installedRequestMgr.store( nullptr, std::memory_order_release );
}

} // namespace Qv
