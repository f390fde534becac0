#pragma once

#include <base/ownership/rcStrongPtr.h>
#include <resmgt/resmgtApi.h>

namespace Qv {

/// Something that a server wants back with the next operation on the same block, such as an open
/// file. Each kind of server has its own; to clients it is opaque.
///
/// Lifetime: as long as anybody holds it: the client between operations, a queued request until its
///           transfer has ended. The server itself holds weak pointers at most. It may outlive its
///           server.
/// Threads:  any; several operations may use one hint at the same time.
class QV_RESMGT_API CtHint : public RCSWBase<LkCounter<int>> {
public:
    ~CtHint() override;

protected:
    CtHint() = default;
    CtHint( const CtHint& ) = delete;
    CtHint& operator=( const CtHint& ) = delete;
};

/// The form in which hints go around. A null one is always right, a hint of another block or of
/// another server does no harm, and a client that has no use for it drops it.
using CtHintPtr = RCStrongPtr<const CtHint>;

} // namespace Qv
