#pragma once

#include <base/qvBaseApi.h>

namespace Qv {

/// Moves a descriptor that was opened a moment ago off the numbers 0, 1 and 2, which a process that
/// was started without a standard stream has free: what anybody prints there would land in the
/// file.
///
///     const int file = keepOffStreams( ::open( path, O_RDWR | O_CLOEXEC ) );
///
/// Returns the descriptor by its final number, closed on exec as all that the library opens; or -1
/// with errno, for a `descriptor` that is -1 already and where no other number is free. It is
/// closed then.
/// Threads: any. It has the low number from the caller's call until this one returns.
/// Signals: safe in their handlers.
QV_BASE_API int keepOffStreams( int descriptor ) noexcept;

} // namespace Qv
