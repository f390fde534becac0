#include <base/init/inInit.h>

namespace Qv {

template <>
InInit<QvInit::base>::InInit()
    : InPackageInit( "base" ) {
    registerPackage();
}

namespace {

InInit<QvInit::base> package;

} // namespace

} // namespace Qv
