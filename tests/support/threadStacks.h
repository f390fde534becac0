#pragma once

namespace Qv {

/// Prints the call stacks of all threads of this process on standard error: first as addresses,
/// which needs nothing but this process, then as source lines where `addr2line` is found. Each
/// other thread is interrupted by a signal; one that doesn't answer within two seconds is named.
void printThreadStacks();

} // namespace Qv
