#pragma once

namespace Qv {

/// Prints the call stacks of all threads of this process on standard error: as source lines where
/// `addr2line` is found, else as addresses. Each other thread is interrupted by a signal; one that
/// doesn't answer within two seconds is named.
void printThreadStacks();

} // namespace Qv
