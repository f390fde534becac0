#pragma once

#include <resmgt/resmgtApi.h>

namespace Qv {

/// Through it a long operation reports its end, once, by one of the two calls, from any thread.
class QV_RESMGT_API LkAsyncHandle {
public:
    virtual ~LkAsyncHandle();

    virtual void asyncSucceeded() = 0;
    virtual void asyncFailed() = 0;
};

} // namespace Qv
