#include <base/init/inInit.h>
#include <base/values/dtRefTimeFactory.h>

namespace Qv {

template <>
InInit<QvInit::base>::InInit()
    : InPackageInit( "base" ) {
    registerPackage();
}

// The factory takes no second source: without this, packages couldn't start again.
template <>
void InInit<QvInit::base>::finalizePackage() {
    DtRefTimeFactory::finalize();
}

namespace {

InInit<QvInit::base> package;

} // namespace

} // namespace Qv
