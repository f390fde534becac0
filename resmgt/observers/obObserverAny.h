#pragma once

#include <resmgt/resmgtApi.h>

namespace Qv {

/// An object that can observe: an identity, its address. The change manager hands it to the
/// application's ObNotifierAny and never calls it.
class QV_RESMGT_API ObObserverAny {
protected:
    ObObserverAny() = default;
    ObObserverAny( const ObObserverAny& ) = default;
    ObObserverAny& operator=( const ObObserverAny& ) = default;
    virtual ~ObObserverAny();
};

} // namespace Qv
