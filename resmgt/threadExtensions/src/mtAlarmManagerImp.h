#pragma once

#include <base/locks/lkLock.h>
#include <base/ownership/oPtr.h>
#include <resmgt/locks/lkCondVar.h>
#include <resmgt/locks/lkSingleton.h>
#include <resmgt/threadExtensions/mtAlarmManager.h>
#include <resmgt/threadExtensions/src/mtAlarmBell.h>
#include <resmgt/threadExtensions/src/mtAlarmQueue.h>
#include <resmgt/threads/mtThread.h>

#include <atomic>
#include <cstdint>
#include <limits>

namespace Qv {

/// The one alarm manager. It is built on first use and stays until the process ends; its thread
/// comes and goes with the package.
class MtAlarmManagerImp final : public MtAlarmManager {
public:
    static MtAlarmManagerImp& getInstance();
    /// At the process's end; there is no way back.
    static void finalize();
    /// Whether there is an instance.
    static bool isBuilt() noexcept;

    ~MtAlarmManagerImp() override;

    /// At the package's start: alarms can be armed.
    static void allowStart() noexcept;
    /// At the package's stop: drops what is armed, and ends the thread.
    static void stop();

    void registerAlarm( const MtAlarmHandle& handle ) override;
    bool cancelAlarm( const MtAlarmHandle& handle ) override;
    bool isArmed( const MtAlarmHandle& handle ) const override;
    Priority& getPriority() override;

private:
    friend class LkSingleton<MtAlarmManagerImp>;
    class MtAlarmThread;

    /// What the thread does next.
    struct Step {
        RCShdPtr<MtAlarm> alarm;
        MtAlarmHandle::Callback* callback = nullptr;
        /// Without an alarm: how long to sleep.
        std::int64_t wakeTime = 0;
        bool isEnd = false;
    };

    static constexpr std::int64_t AWAKE = std::numeric_limits<std::int64_t>::min();

    MtAlarmManagerImp();
    static OPtrRet<MtAlarmManagerImp> createInstance();

    void startThread() QV_REQUIRES( _threadLock );
    void ensureThread();
    void endThread();
    void runThread();
    Step takeStep();
    void rearm( const RCShdPtr<MtAlarm>& alarm, std::int64_t due, std::int64_t now )
        QV_REQUIRES( _lock );
    void call( const Step& step );
    bool isOwnThread() const noexcept;

    const LkLock _threadLock{ "MtAlarmManager Thread" };
    OPtr<MtThread> _thread QV_GUARDED_BY( _threadLock );
    // Written under `_threadLock`. Release: who sees it set finds the thread running.
    std::atomic<bool> _isRunning{ false };

    const LkLock _lock{ "MtAlarmManager" };
    MtAlarmQueue _queue QV_GUARDED_BY( _lock );
    // Whose call-back is running.
    const MtAlarm* _called QV_GUARDED_BY( _lock ) = nullptr;
    // When the thread wakes by itself; AWAKE while it doesn't sleep.
    std::int64_t _wakeTime QV_GUARDED_BY( _lock ) = AWAKE;
    bool _isEnding QV_GUARDED_BY( _lock ) = false;
    LkCondVar _callEnded{ "MtAlarmManager Call Ended" };
    MtAlarmBell _bell;
};

} // namespace Qv
