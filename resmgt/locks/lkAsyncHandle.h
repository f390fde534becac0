#pragma once

#include <resmgt/resmgtApi.h>

namespace Qv {

/// A long operation reports its end through it, once, by one of the two calls, from any thread.
class QV_RESMGT_API LkAsyncHandle {
public:
    virtual ~LkAsyncHandle();

    /// The operation has ended well.
    virtual void asyncSucceeded() = 0;
    /// The operation has failed.
    virtual void asyncFailed() = 0;
};

} // namespace Qv
