#pragma once

namespace Qv::MtSignals {

/// From now on no signal's handler runs on the calling thread, unless the thread itself is at
/// fault.
void blockAll() noexcept;

} // namespace Qv::MtSignals
