#pragma once

#include <resmgt/locks/lkSemaTypes.h>
#include <resmgt/resmgtApi.h>

#include <memory>

namespace Qv {

class LkSemaHandlePosix;

/// The operating-system face of LkNamedSema and LkUnnamedSema.
class QV_RESMGT_API LkNamedSemaPosix {
public:
    LkNamedSemaPosix( const char* systemName, unsigned int initialCount,
                      LkSemaTypes::CreateFlag flag, const char* displayName );

    /// Adds one to the value, and wakes a waiter.
    void post();
    /// Waits until the value isn't 0, and takes one away.
    void wait();
    /// Takes one away unless the value is 0; answers whether it did.
    bool tryWait();
    bool isValid() const noexcept { return _errno == 0; }
    int getErrno() const noexcept { return _errno; }
    unsigned long getRefCount() const;
    const char* getName() const noexcept { return _name; }

private:
    const char* _name;
    std::shared_ptr<LkSemaHandlePosix> _handle;
    int _errno = 0;
};

/// An unnamed semaphore is of the same kind.
using LkUnnamedSemaPosix = LkNamedSemaPosix;

} // namespace Qv
