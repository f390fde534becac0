#pragma once

#include <base/callbacks/cbHandler.h>
#include <base/ownership/oPtr.h>
#include <base/ownership/rcStrongPtr.h>
#include <resmgt/osal/osFilePath.h>
#include <resmgt/resmgtApi.h>

#include <string>

namespace Qv {

class OsFileLockImp;

/// An advisory lock on a file, among processes on any number of machines that see the file.
/// docs/file-locks.md describes the protocol and what all of them must share.
///
///     const OPtr<OsFileLock> lock( OsFileLock::lock( "shot/comp.tif" ) );
///     if( lock.isNull() ) {
///         ...                       // somebody else works on it
///     }
///     ...
///     if( lock->verify() ) {        // before anything is done that can't be undone
///
/// File:     `dir/.name.omlock` beside `dir/name`, which need not exist. The thread
///           "FileLockThread" rewrites it in place at each refresh interval. One that wasn't
///           rewritten for the maximum life is dead, and the next one that wants the lock takes it
///           over. All ages are measured on the file server's clock.
/// Holding:  `isHeld` ends four fifths of the maximum life after the last refresh began, by a clock
///           that counts suspension: a fifth early, since volumes round times. A holder that comes
///           later, after it was stopped for instance, refreshes its file, and holds again if after
///           0.5 s the path still leads to that file. One that finds its file gone makes it anew,
///           unless somebody else has the lock by then.
/// Names:    are literal. The path is made absolute when the lock is taken. No link is followed in
///           the place of the lock file, and what isn't a regular file there is never touched.
/// Threads:  `lock` and `isLocked` any. Of one object, `isHeld` any; the others one at a time.
/// Waiting:  `lock` and the release wait for a refresh that is under way, all but `isHeld` for the
///           file server. A lock that is taken over takes 0.5 s.
/// Forks:    a child's copy isn't held, and releases nothing.
/// Lifetime: a lock that outlives the package isn't refreshed any more; its release still removes
///           its own file. When the process ends, the file of a held lock stays, and dies by age.
/// Errors:   InSingletonEx before and after the package's time; what OsFsUtils::getServerTime
///           raises, for a directory in which nothing can be made for instance, where there is a
///           lock file; OsFileEx::ExNullFilePath for the empty path, OsFileEx::ExIllegalPathConcat
///           for roots, "." and "..".
class QV_RESMGT_API OsFileLock {
public:
    /// Called with whether the lock is held, after each change of that.
    using Callback = CbHandler<const bool>;

    /// Null if somebody else holds the lock, this process included, and if the lock file can't be
    /// written.
    static OPtrRet<OsFileLock> lock( const OsFilePath& path );
    /// The same, but tries for so many seconds, at least once; up to a second apart. Waiting
    /// threads and processes have no order. An infinite time is no limit.
    /// Errors: the assertion "!std::isnan( seconds )".
    static OPtrRet<OsFileLock> lock( const OsFilePath& path, double seconds );
    /// Whether somebody holds the lock. Removes the file of a dead holder. In doubt the answer is
    /// true.
    static bool isLocked( const OsFilePath& path );
    /// The path of the lock file of `path`: `dir/.a.tif.omlock` for `dir/a.tif`.
    static OsFilePath getLockPath( const OsFilePath& path );
    /// "omlock".
    static const std::string& getLockFileExtension();

    OsFileLock( const OsFileLock& ) = delete;
    OsFileLock& operator=( const OsFileLock& ) = delete;
    /// Releases the lock, unless it has been released. While another exception unwinds the stack,
    /// and from owning pointers always, a failure is reported through Trace.
    ~OsFileLock() noexcept( false );

    /// Whether nobody else can hold the lock. Asks no file.
    bool isHeld() const noexcept;
    /// The same, and the path leads to this lock's own file. Asks the file server.
    bool verify();
    /// Calls `callback`, which isn't owned, after each loss and regain from now on; at once where
    /// the lock has been lost before. Null ends that: when this returns the former one can't run
    /// any more; the release does the same. Calls come one at a time on the alarm manager's
    /// thread, with no lock held; they may release the lock.
    void setCallback( Callback* callback );
    /// Removes the lock file if it is this lock's own. The lock is released in any case.
    /// Errors: OsFileEx::ExInvalidPath if the file is gone, ExSysErrorWindows if it can't be
    ///         removed.
    void release();

    const OsFilePath& getLockFilePath() const;

private:
    friend class OsFileLockManager;

    explicit OsFileLock( const RCStrongPtr<OsFileLockImp>& imp );

    RCStrongPtr<OsFileLockImp> _imp;
};

} // namespace Qv
