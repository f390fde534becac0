#pragma once

#include <base/qvBaseApi.h>

namespace Qv {

/// While it lives, a call of this thread that would take a file beyond the process's limit for the
/// size of files (RLIMIT_FSIZE) fails with EFBIG, and no SIGXFSZ ends the process.
///
///     const SizeSignalGuard guard;
///     return ::write( file, data, size );
///
/// The signal is blocked in this thread alone and taken back if it came; what the process does on
/// SIGXFSZ is the application's affair and stays as it is. Blocking for every write would cost 8 %
/// of one of 4 KiB; one look at the limit, which hardly any process has, costs 1 %, so that only a
/// process with a limit pays for the rest.
///
/// Threads: used by the thread that made it. The limit mustn't be set for the first time between
///          the guard and the call.
/// Errors:  none; errno stays as it is.
class QV_BASE_API SizeSignalGuard {
public:
    SizeSignalGuard() noexcept;
    SizeSignalGuard( const SizeSignalGuard& ) = delete;
    SizeSignalGuard& operator=( const SizeSignalGuard& ) = delete;
    ~SizeSignalGuard();

private:
    bool _isLimited = false;
    /// Before this one.
    bool _wasBlocked = false;
    bool _wasPending = false;
};

} // namespace Qv
