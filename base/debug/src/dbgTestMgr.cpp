#include <base/debug/dbgTestMgr.h>

#include <base/debug/dbgTestGroup.h>

#include <atomic>

namespace Qv {

namespace {

// Relaxed: the mark orders nothing.
constinit std::atomic<bool> isTestRunningMark = false;

} // namespace

DbgTestGroup::~DbgTestGroup() = default;

DbgTestMgr::~DbgTestMgr() {
    if( _hasSetMark ) {
        isTestRunningMark.store( false, std::memory_order_relaxed );
    }
}

bool DbgTestMgr::isTestRunning() noexcept {
    return isTestRunningMark.load( std::memory_order_relaxed );
}

void DbgTestMgr::setTestRunning() {
    _hasSetMark = true;
    isTestRunningMark.store( true, std::memory_order_relaxed );
}

} // namespace Qv
