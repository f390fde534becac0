#include <resmgt/initConfig/inPaths.h>

#include <resmgt/initApp/inInitAppInitFile.h>
#include <resmgt/initConfig/src/deploymentVariables.h>
#include <resmgt/initConfig/src/installedResources.h>
#include <resmgt/initInstallDir/inPathsImp.h>
#include <resmgt/osal/osFsUtils.h>

namespace Qv {

OsFilePath InPaths::getInstallDir() {
    return InPathsImp::getInstallDir();
}

OsFilePath InPaths::getProgramDir() {
    return getInstallDir() + "program";
}

OsFilePath InPaths::getScriptsDir() {
    return getInstallDir() + "scripts";
}

OsFilePath InPaths::getResourcesDir() {
    if( const auto dir = InPathsImp::getPath( getResourcesDirVariable() ) ) {
        return *dir;
    }
    const OsFilePath standard = getInstallDir() + "resources";
    if( OsFsUtils::isDirectory( standard ) ) {
        return standard;
    }
    const OsFilePath installed = getInstalledResourcesDir();
    return OsFsUtils::isDirectory( installed ) ? installed : standard;
}

OsFilePath InPaths::getPythonExec() {
    const auto file = InPathsImp::getPath( getPythonExecVariable() );
    return file ? *file : getInstallDir() + "program/python.exe";
}

OsFilePath InPaths::getOutputDir() {
    const auto dir = InPathsImp::getPath( getOutputDirVariable() );
    return dir ? *dir : OsFilePath::getTempDir();
}

OsFilePath InPaths::getAppInitFilePath() {
    return InInitAppInitFile::getPath();
}

OsFilePath InPaths::getAppUserDocumentsDir() {
    return OsFilePath::getUserDocumentsDir() + "ombra";
}

OsFilePath InPaths::getDefaultUserSettingsDir() {
    return InInitFile::getDefaultUserInitFileDir();
}

} // namespace Qv
