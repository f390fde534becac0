#include <resmgt/initVars/inInitReg.h>

#include <base/init/inBuildInfo.h>
#include <base/init/inBuildInfoMgr.h>
#include <resmgt/osal/osRegistry.h>

namespace Qv {

void InInitReg::initialize( InContextAliasBase& alias ) {
    const APtr<char> value( OsRegistry::getVariable( getPath( alias.getKey() ).c_str() ) );
    alias.initialize( value.get() );
}

std::string InInitReg::getPath( const char* key ) {
    if( std::string_view( key ).starts_with( "HKEY" ) ) {
        return key;
    }
    if( !InBuildInfoMgr::isAppInfoRegistered() ) {
        return {};
    }
    return "HKEY_LOCAL_MACHINE\\SOFTWARE\\Tessaroc\\"
           "Tessaroc Lumenar" +
           InBuildInfo::getInstanceIdentificationString( InBuildInfo::WITHOUT_PRODUCT_NAME,
                                                         InBuildInfo::YEAR ) +
           '\\' + key;
}

} // namespace Qv
