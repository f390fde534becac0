#include <base/init/inContextAlias.h>
#include <base/init/inInit.h>
#include <resmgt/initConfig/src/deploymentVariables.h>
#include <resmgt/osal/osFilePath.h>
#include <resmgt/osal/osTempDir.h>
#include <resmgt/resmgtPackages.h>

namespace Qv {

using namespace QvInit;

const std::type_info* initConfig::getType() noexcept {
    return &typeid( initConfig );
}

template <>
InInit<initConfig>::InInit()
    : InPackageInit( "initConfig" ) {
    registerPackage();
    dependsOn<initApp, initInstallDir, initVars, osal, base>();
}

namespace {

/// A default that is known when packages start: the directory for temporary files. There is none in
/// a program that has that made on demand, which this isn't.
struct TempDir {
    static constexpr int getPriority() noexcept { return 0; }
    static constexpr const char* getSourceString() noexcept { return "InInitDef"; }
    static void initialize( InContextAliasBase& alias ) {
        if( OsTempDir::isToBeMade() ) {
            alias.initialize( nullptr );
        } else {
            alias.initialize( OsFilePath::getTempDir().getChars() );
        }
    }
};

InInit<initConfig> package;

const InContextAlias<InInitEnv, 0> resourcesDirEnv( "QV_RESOURCES_DIR", "Resources directory." );
const InVariable<const char*> resourcesDir( "ombra::deployment::resourcesDir", package,
                                            resourcesDirEnv );

const InContextAlias<InInitEnv, 0> outputDirEnv( "QV_OUTPUT_DIR", "Output directory." );
const InContextAlias<TempDir, 0> outputDirDefault( "default", "Default output directory." );
const InVariable<const char*> outputDir( "ombra::deployment::outputDir", package, outputDirEnv,
                                         outputDirDefault );

const InContextAlias<InInitEnv, 0> pythonExecEnv( "QV_PYTHON_EXEC", "Python executable." );
const InVariable<const char*> pythonExec( "ombra::deployment::pythonExec", package, pythonExecEnv );

} // namespace

const InVariable<const char*>& getResourcesDirVariable() noexcept {
    return resourcesDir;
}

const InVariable<const char*>& getOutputDirVariable() noexcept {
    return outputDir;
}

const InVariable<const char*>& getPythonExecVariable() noexcept {
    return pythonExec;
}

} // namespace Qv
