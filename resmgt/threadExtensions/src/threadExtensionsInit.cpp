#include <base/init/inInit.h>
#include <resmgt/resmgtPackages.h>

namespace Qv {

using namespace QvInit;

const std::type_info* threadExtensions::getType() noexcept {
    return &typeid( threadExtensions );
}

template <>
InInit<threadExtensions>::InInit()
    : InPackageInit( "threadExtensions" ) {
    registerPackage();
    dependsOn<messages, osal, osSupport, testing, initVars, logger, profiling, threads, literals,
              locks, base>();
}

namespace {

InInit<threadExtensions> package;

} // namespace

} // namespace Qv
