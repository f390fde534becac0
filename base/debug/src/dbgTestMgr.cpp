#include <base/debug/dbgTestMgr.h>

#include <base/debug/dbgTestGroup.h>

#include <atomic>
#include <utility>

namespace Qv {

namespace {

// The managers that have set the mark. Relaxed: it orders nothing.
constinit std::atomic<int> nbMarks = 0;

} // namespace

DbgTestGroup::~DbgTestGroup() = default;

DbgTestMgr::~DbgTestMgr() {
    if( _hasSetMark ) {
        nbMarks.fetch_sub( 1, std::memory_order_relaxed );
    }
}

bool DbgTestMgr::isTestRunning() noexcept {
    return nbMarks.load( std::memory_order_relaxed ) != 0;
}

void DbgTestMgr::setTestRunning() {
    if( !std::exchange( _hasSetMark, true ) ) {
        nbMarks.fetch_add( 1, std::memory_order_relaxed );
    }
}

} // namespace Qv
