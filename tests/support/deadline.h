#pragma once

#include <chrono>
#include <functional>

namespace Qv {

/// When a wait that starts now has lasted so long that it must be a fault: 60 seconds from now
/// times `testSlowdown()`, half of what the watchdog grants a whole test.
std::chrono::steady_clock::time_point deadlineFromNow();

/// Ends the process as a failure: prints `text` and the stacks of all threads. For a wait whose
/// deadline is over; a thread that hangs can't be unwound.
[[noreturn]] void failHang( const char* text );

/// Returns once `condition` holds, which it looks at again and again; at the deadline the process
/// fails, and `what` says what was waited for. For state that nobody announces; where somebody can,
/// use a Gate.
void waitUntil( const std::function<bool()>& condition, const char* what );

} // namespace Qv
