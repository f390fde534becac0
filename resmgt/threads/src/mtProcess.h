#pragma once

namespace Qv::MtProcess {

/// A number that a forked child doesn't share with its parent.
long getNumber() noexcept;

/// An address on the calling thread's stack, beyond that of the caller's frame.
void* getStackAddress() noexcept;

} // namespace Qv::MtProcess
