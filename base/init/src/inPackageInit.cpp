#include <base/init/inPackageInit.h>
#include <base/init/src/inPackageFrame.h>

#include <algorithm>

namespace Qv {

InPackageInitBase::~InPackageInitBase() = default;

InPackageInit::InPackageInit( const char* name )
    : _name( name ) {}

InPackageInit::~InPackageInit() {
    InPackageFrame::getInstance().remove( *this );
}

void InPackageInit::addDependency( InVariableBase* variable ) {
    _variables.push_back( variable );
}

void InPackageInit::removeDependency( InVariableBase* variable ) {
    const auto i = std::ranges::find( _variables, variable );
    if( i != _variables.end() ) {
        _variables.erase( i );
    }
}

const char* InPackageInit::getName() const {
    return _name;
}

void InPackageInit::registerPackage() {
    InPackageFrame::getInstance().add( *this );
}

void InPackageInit::addDependency( const std::type_info* package ) {
    _dependencies.push_back( package );
}

} // namespace Qv
