#include <resmgt/initInstallDir/inPathsImp.h>

#include <base/failure/exBase.h>
#include <base/failure/qvHere.h>
#include <base/init/inContextAliasMgrBase.h>
#include <base/trace/traceManager.h>
#include <resmgt/initInstallDir/src/installDirVariable.h>
#include <resmgt/initInstallDir/src/searchPath.h>
#include <resmgt/osal/osEnv.h>
#include <resmgt/osal/osFsUtils.h>
#include <resmgt/osal/osUtils.h>

#include <algorithm>
#include <string_view>

namespace Qv {

namespace {

OsFilePath getProgramDir() {
    try {
        return OsUtils::getModulePath().getDirectoryName();
    } catch( const ExBase& failure ) {
        TraceManager::getInstance().getTrace().printException( failure, QV_HERE );
    }
    std::string searchPath;
    OsEnv::getVariable( searchPath, "PATH" );
    return InPathsImp::findProgramDir( InContextAliasMgrBase::getApplicationName(), searchPath );
}

const OsFilePath& getDirAboveProgram() {
    static const OsFilePath dir = [] {
        const OsFilePath programDir = getProgramDir();
        return programDir.isEmpty() ? programDir : programDir + "..";
    }();
    return dir;
}

} // namespace

OsFilePath InPathsImp::getInstallDir() {
    const std::optional<OsFilePath> dir = getPath( getInstallDirVariable() );
    return dir ? *dir : getDirAboveProgram();
}

OsFilePath InPathsImp::findProgramDir( const OsFilePath& name, const std::string& searchPath ) {
    if( name.getNbComponents() != 1 ) {
        return name.getAbsolutePath().getDirectoryName();
    }
    for( std::string_view rest = searchPath; !rest.empty(); ) {
        const std::size_t end = std::min( rest.find( SEARCH_PATH_SEPARATOR ), rest.size() );
        const OsFilePath dir = OsFilePath( std::string( rest.substr( 0, end ) ) ).getAbsolutePath();
        if( !dir.isEmpty() && OsFsUtils::isFile( dir + name ) ) {
            return dir;
        }
        rest.remove_prefix( std::min( end + 1, rest.size() ) );
    }
    return {};
}

std::optional<OsFilePath> InPathsImp::getPath( const InVariable<const char*>& variable ) {
    for( const InContextAliasBase* const source : variable.getSources() ) {
        if( source->isValid() && *source->getValue() != 0 ) {
            return OsFilePath( source->getValue() );
        }
    }
    return std::nullopt;
}

} // namespace Qv
