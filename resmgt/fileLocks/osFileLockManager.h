#pragma once

#include <base/callbacks/cbMethod.h>
#include <base/locks/lkLock.h>
#include <base/ownership/oPtr.h>
#include <base/ownership/rcStrongPtr.h>
#include <resmgt/osal/osFilePath.h>
#include <resmgt/resmgtApi.h>
#include <resmgt/threadExtensions/mtAlarmHandleCallback.h>

#include <set>

namespace Qv {

class OsFileLock;
class OsFileLockImp;
template <class T>
class InSingleton;
class MtThread;

/// Refreshes the process's file locks, on the thread "FileLockThread", whose priority is that of
/// the alarm manager's.
///
/// Cycle:   an alarm fires a refresh interval after the end of the pass before; a slow server
///          stretches the period. There is one alarm: arming replaces it.
/// Locks:   the failure of one is logged, and the others are refreshed.
/// Threads: any, between the package's start and stop. A pass holds "OsFileLockManager Lock": what
///          takes or releases a lock waits for its end.
/// Errors:  InSingletonEx::ExNotInitialized before the package's start, ExAlreadyDestroyed after
///          its stop.
class QV_RESMGT_API OsFileLockManager {
public:
    static OsFileLockManager& getInstance();

    /// At the package's start and stop. Errors: InSingletonEx::ExAlreadyInitialized.
    static void initialize();
    /// Ends the manager, at the package's stop.
    static void finalize();
    static bool isInitialized() noexcept;
    static const char* getSingletonName() noexcept { return "OsFileLockManager"; }

    /// The settings in seconds, as they were when the package started. Less than 1 counts as 1. A
    /// life of less than two intervals is logged as a warning then.
    static int getRefreshInterval() noexcept;
    static int getMaximumLife() noexcept;

    OsFileLockManager( const OsFileLockManager& ) = delete;
    OsFileLockManager& operator=( const OsFileLockManager& ) = delete;
    ~OsFileLockManager();

    /// Refreshes all locks on the calling thread, and times the next pass from now: for an
    /// application that knows that it was held up.
    void refreshAll();
    /// The same as a call-back.
    CbHandler<CbEmptyType>& getRefreshHandler() noexcept { return _refreshHandler; }

private:
    friend class OsFileLock;
    class Imp;

    OsFileLockManager();

    /// Null if the lock can't be taken.
    OPtrRet<OsFileLock> acquire( const OsFilePath& lockPath );
    void remove( const RCWeakPtr<OsFileLockImp>& lock );
    void start();
    void stop();
    void arm() QV_REQUIRES( _lock );
    void requestRefresh();
    void confirmAll();

    MtAlarmHandle _alarm QV_GUARDED_BY( _lock );
    MtAlarmHandleCallback<OsFileLockManager> _alarmCallback;
    CbMethod<OsFileLockManager> _refreshHandler;
    std::set<RCWeakPtr<OsFileLockImp>> _locks QV_GUARDED_BY( _lock );
    const LkLock _lock{ "OsFileLockManager Lock" };
    bool _isStopping QV_GUARDED_BY( _lock ) = false;
    // No alarm could be had: the thread tries again.
    bool _isUnarmed QV_GUARDED_BY( _lock ) = false;
    // The thread's protocol, which it owns.
    Imp* _imp = nullptr;
    OPtr<MtThread> _thread;
};

} // namespace Qv
