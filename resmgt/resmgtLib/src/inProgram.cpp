#include <resmgt/resmgtLib/inProgram.h>

#include <base/init/inInit.h>
#include <resmgt/resmgtPackages.h>

namespace Qv {

InProgram::InProgram( const char* name )
    : InPackageInit( name ) {
    registerPackage();
    addDependency( InInit<QvInit::resmgt>::getType() );
}

InProgram::~InProgram() = default;

void InProgram::preInitializePackage() {}

void InProgram::postInitializePackage() {}

void InProgram::initializePackage() {}

void InProgram::finalizePackage() {}

void InProgram::setPackageState( bool ) {}

const std::type_info* InProgram::getIdentity() const {
    return &typeid( InProgram );
}

} // namespace Qv
