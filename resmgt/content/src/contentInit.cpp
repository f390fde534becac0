#include <base/init/inInit.h>
#include <resmgt/resmgtPackages.h>

namespace Qv {

using namespace QvInit;

const std::type_info* content::getType() noexcept {
    return &typeid( content );
}

template <>
InInit<content>::InInit()
    : InPackageInit( "content" ) {
    registerPackage();
    dependsOn<testing, threadExtensions, threads, literals, initVars, messages, logger, osSupport,
              locks, profiling, osal, base>();
}

namespace {

InInit<content> package;

} // namespace

} // namespace Qv
