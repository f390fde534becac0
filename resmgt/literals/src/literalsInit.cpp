#include <base/init/inInit.h>
#include <resmgt/literals/liRateRegistry.h>
#include <resmgt/literals/liStringSubstituter.h>
#include <resmgt/literals/liStringUtil.h>
#include <resmgt/literals/liTimeCodeFactory.h>
#include <resmgt/resmgtPackages.h>

namespace Qv {

using namespace QvInit;

const std::type_info* literals::getType() noexcept {
    return &typeid( literals );
}

template <>
InInit<literals>::InInit()
    : InPackageInit( "literals" ) {
    registerPackage();
    dependsOn<osal, locks, base>();
}

template <>
void InInit<literals>::initializePackage() {
    LiStringSubstituter::initialize();
    LiStringUtil::initialize();
    LiRateRegistry::initialize();
    try {
        LiTimeCodeFactory::initialize();
    } catch( ... ) {
        LiRateRegistry::finalize();
        throw;
    }
}

template <>
void InInit<literals>::finalizePackage() {
    LiTimeCodeFactory::finalize();
    LiRateRegistry::finalize();
    LiStringSubstituter::finalize();
}

namespace {

InInit<literals> package;

} // namespace

} // namespace Qv
