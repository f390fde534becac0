#pragma once

#include <base/locks/lkLock.h>
#include <base/ownership/rcStrongPtr.h>
#include <resmgt/fileLocks/osFileLock.h>
#include <resmgt/fileLocks/src/osLockFile.h>
#include <resmgt/threadExtensions/mtAlarmHandleCallback.h>

#include <atomic>
#include <cstdint>
#include <string>

namespace Qv {

/// A lock that this process has, or had.
///
/// | The holder finds              | and does                                                  |
/// |-------------------------------|-----------------------------------------------------------|
/// | its file, and rewrites it     | holds from the start of the writing                       |
/// | in place in time              |                                                           |
/// | its file, late                | the same, but holds once the path was still its own 0.5 s |
/// |                               | later                                                     |
/// | no file                       | makes it anew, exclusively; late: as above                |
/// | another's file that lives     | nothing, until the next pass                              |
/// | another's file that is dead   | takes it over; holds 0.5 s later if the path is its own   |
///
/// Late: `isHeld` is over, or was never true, when the writing has ended: a process that is stopped
/// within it may write to a file that others have taken. They may have found the file dead then,
/// and one of them may be about to move it aside; 0.5 s is many times what a move lasts.
///
/// Taking over: the dead file is moved to a private name and looked at again. If it isn't the one
/// that was found dead, or was written since, it goes back. Only then the new file is made,
/// exclusively. Whoever found the same file dead and comes later moves the new one aside, and back;
/// where a third party has used that moment, the path isn't the taker's own after 0.5 s.
///
/// Threads: `isHeld` any; the others too, one after the other.
class OsFileLockImp : public RCSWBase<LkCounter<int>> {
public:
    /// Tries to get the lock. `lockPath` is absolute. Raises what OsFsUtils::getServerTime does.
    explicit OsFileLockImp( const OsFilePath& lockPath );
    OsFileLockImp& operator=( const OsFileLockImp& ) = delete;
    /// Removes the file if that wasn't done; a failure is reported.
    ~OsFileLockImp() override;

    bool isLocked() const noexcept { return _locked; }
    const OsFilePath& getLockPath() const noexcept { return _lockPath; }

    /// False in a child that was forked.
    bool isOwnProcess() const noexcept;
    bool isHeld() const noexcept;
    bool verify();
    /// Waits for a call that runs: not under a lock that it takes.
    void setCallback( OsFileLock::Callback* callback );
    void release();

    /// One step of a pass. Logs what fails. Answers whether `confirm` is needed.
    bool refresh();
    /// Holds again if the time has come and the path is still the lock's own. Answers whether it
    /// is needed later.
    bool confirm();

    /// Whether there is a lock file whose holder lives; also in doubt, and where something else is
    /// in its place. Removes the file of a dead holder; where it can't, the lock is alive.
    /// `wasThere` answers whether anything was there. Raises what OsFsUtils::getServerTime does.
    static bool isLockAlive( const OsFilePath& lockPath, bool& wasThere );

    /// In seconds: how long a holder that comes late, or that takes over, waits before it looks
    /// whether the path is its own.
    static constexpr double CONFIRM_SECONDS = 0.5;

private:
    enum class Acquired { NO, FRESH, TAKEN_OVER };

    Acquired acquire() QV_REQUIRES( _fileLock );
    bool rewrite() QV_REQUIRES( _fileLock );
    bool makeAnew() QV_REQUIRES( _fileLock );
    void hold( std::int64_t start, bool mustConfirm ) QV_REQUIRES( _fileLock );
    void lose() QV_REQUIRES( _fileLock );
    void removeFile() QV_REQUIRES( _fileLock );
    /// Has `report` called when the holding has changed or will end. Where no alarm can be had, the
    /// next pass tries again.
    void armReport() noexcept;
    void report();

    const OsFilePath _lockPath;
    // The file is this process's; false again once released.
    bool _locked = false;

    const LkLock _fileLock{ "OsFileLockImp File" };
    const int _process;
    std::string _text QV_GUARDED_BY( _fileLock );
    OsLockFile _file QV_GUARDED_BY( _fileLock );
    // When the writing began that `confirm` is to count from, and when that may be; 0 for none. By
    // the lock clock.
    std::int64_t _lateStart QV_GUARDED_BY( _fileLock ) = 0;
    std::int64_t _confirmTime QV_GUARDED_BY( _fileLock ) = 0;
    // By the lock clock; 0 when not held. Written under `_fileLock`. It orders nothing else.
    std::atomic<std::int64_t> _heldUntil{ 0 };

    const LkLock _reportLock{ "OsFileLockImp Report" };
    OsFileLock::Callback* _callback QV_GUARDED_BY( _reportLock ) = nullptr;
    bool _wasHeld QV_GUARDED_BY( _reportLock ) = true;
    MtAlarmHandle _reportAlarm QV_GUARDED_BY( _reportLock );
    MtAlarmHandleCallback<OsFileLockImp> _reportCallback;
};

} // namespace Qv
