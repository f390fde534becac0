#pragma once

namespace Qv::LkThreadEnd {

/// Asks the system to call `MtThreadDataRegistry::threadEnds` on the calling thread when it ends.
/// Answers whether this is the first time for the thread.
bool arm();

} // namespace Qv::LkThreadEnd
