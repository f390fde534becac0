#pragma once

namespace Qv::ExDebugger {

/// Whether a debugger controls this process.
bool isAttached() noexcept;
/// Stops in the debugger; ends the process when there is none.
void stop() noexcept;

} // namespace Qv::ExDebugger
