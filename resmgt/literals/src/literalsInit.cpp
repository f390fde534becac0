#include <base/init/inInit.h>
#include <resmgt/literals/liRateRegistry.h>
#include <resmgt/literals/liStringSubstituter.h>
#include <resmgt/literals/liStringUtil.h>
#include <resmgt/literals/liTimeCodeFactory.h>
#include <resmgt/literals/literalsPackage.h>
#include <resmgt/locks/locksPackage.h>
#include <resmgt/osal/osalPackage.h>

namespace Qv {

template <>
InInit<QvInit::literals>::InInit()
    : InPackageInit( "literals" ) {
    registerPackage();
    addDependency( InInit<QvInit::osal>::getType() );
    addDependency( InInit<QvInit::locks>::getType() );
    addDependency( InInit<QvInit::base>::getType() );
}

template <>
void InInit<QvInit::literals>::initializePackage() {
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
void InInit<QvInit::literals>::finalizePackage() {
    LiTimeCodeFactory::finalize();
    LiRateRegistry::finalize();
    LiStringSubstituter::finalize();
}

namespace {

InInit<QvInit::literals> package;

} // namespace

} // namespace Qv
