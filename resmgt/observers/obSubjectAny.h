#pragma once

#include <resmgt/resmgtApi.h>

namespace Qv {

/// An object that can be observed: an identity, its address. Nobody calls it.
class QV_RESMGT_API ObSubjectAny {
protected:
    ObSubjectAny() = default;
    ObSubjectAny( const ObSubjectAny& ) = default;
    ObSubjectAny& operator=( const ObSubjectAny& ) = default;
    virtual ~ObSubjectAny();
};

} // namespace Qv
