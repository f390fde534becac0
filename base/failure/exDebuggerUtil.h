#pragma once

#include <base/qvBaseApi.h>

namespace Qv::ExDebuggerUtil {

/// Takes the text of a call stack; it must not throw.
using StackLogger = void ( * )( const char* );

/// Stack dumps go to `logger` from now on, from any thread; null sends them to standard error, as
/// at first.
QV_BASE_API void registerStackLogger( StackLogger logger ) noexcept;

/// For a terminate handler: dumps the exception that is being handled, if there is one, and the
/// caller's stack, which for an uncaught exception still holds the place of the throw. Then it
/// stops in the debugger if one is attached to the process; otherwise it returns.
QV_BASE_API void invokeDebuggerFromTerminateHandler() noexcept;

} // namespace Qv::ExDebuggerUtil
