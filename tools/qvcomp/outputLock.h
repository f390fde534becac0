#pragma once

#include <base/ownership/oPtr.h>
#include <resmgt/fileLocks/osFileLock.h>

namespace Qv::Comp {

/// The lock of the picture's path, for as long as this lives. It keeps out others who lock it, on
/// any machine.
class OutputLock {
public:
    /// Tries for so many seconds, at least once. Errors: Failure that names the holder, or when a
    /// signal has come meanwhile.
    OutputLock( const OsFilePath& path, int seconds );

    /// Errors: Failure when the lock is lost.
    void verify() const;

private:
    const OPtr<OsFileLock> _lock;
};

} // namespace Qv::Comp
