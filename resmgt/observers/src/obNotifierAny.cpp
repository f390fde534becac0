#include <resmgt/observers/obNotifierAny.h>

#include <resmgt/observers/obObserverAny.h>
#include <resmgt/observers/obSubjectAny.h>

namespace Qv {

ObSubjectAny::~ObSubjectAny() = default;
ObObserverAny::~ObObserverAny() = default;
ObNotifierAny::~ObNotifierAny() = default;

} // namespace Qv
