#include <base/init/inInit.h>
#include <base/values/dtRefTimeFactory.h>

namespace Qv {

using namespace QvInit;

const std::type_info* base::getType() noexcept {
    return &typeid( base );
}

template <>
InInit<base>::InInit()
    : InPackageInit( "base" ) {
    registerPackage();
}

// The factory takes no second source: without this, packages couldn't start again.
template <>
void InInit<base>::finalizePackage() {
    DtRefTimeFactory::finalize();
}

namespace {

InInit<base> package;

} // namespace

} // namespace Qv
