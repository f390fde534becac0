#pragma once

#include <base/qvBaseApi.h>

namespace Qv {

/// Says whether the process runs tests. The test harness derives its manager from it.
///
/// Threads: the manager lives on the main thread; `isTestRunning` is for any.
class QV_BASE_API DbgTestMgr {
public:
    DbgTestMgr( const DbgTestMgr& ) = delete;
    DbgTestMgr& operator=( const DbgTestMgr& ) = delete;
    /// A manager that has set the mark takes it back; the process runs tests as long as one has it
    /// set.
    virtual ~DbgTestMgr();

    static bool isTestRunning() noexcept;

protected:
    DbgTestMgr() = default;

    /// Marks the process as one that runs tests.
    virtual void setTestRunning();

private:
    bool _hasSetMark = false;
};

} // namespace Qv
