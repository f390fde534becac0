#include <base/init/inBuildInfoUtil.h>
#include <base/init/inInit.h>
#include <pluginAPI/pluginAPIPackage.h>
#include <resmgt/content/contentPackage.h>
#include <resmgt/crashReport/crashReportPackage.h>
#include <resmgt/discreteTimeImp/discreteTimeImpPackage.h>
#include <resmgt/dynamicAllocation/dynamicAllocationPackage.h>
#include <resmgt/fileLocks/fileLocksPackage.h>
#include <resmgt/fileMonitoring/fileMonitoringPackage.h>
#include <resmgt/initApp/initAppPackage.h>
#include <resmgt/initConfig/initConfigPackage.h>
#include <resmgt/initInstallDir/initInstallDirPackage.h>
#include <resmgt/initVars/initVarsPackage.h>
#include <resmgt/literals/literalsPackage.h>
#include <resmgt/locks/locksPackage.h>
#include <resmgt/logger/loggerPackage.h>
#include <resmgt/memoryBuffers/memoryBuffersPackage.h>
#include <resmgt/messages/messagesPackage.h>
#include <resmgt/observers/observersPackage.h>
#include <resmgt/osSupport/osSupportPackage.h>
#include <resmgt/osal/osalPackage.h>
#include <resmgt/predicate/predicatePackage.h>
#include <resmgt/profiling/profilingPackage.h>
#include <resmgt/random/randomPackage.h>
#include <resmgt/resmgtLib/resmgtPackage.h>
#include <resmgt/resmgtLib/src/substitutionPatterns.h>
#include <resmgt/rtti/rttiPackage.h>
#include <resmgt/testing/testingPackage.h>
#include <resmgt/threadExtensions/threadExtensionsPackage.h>
#include <resmgt/threads/threadsPackage.h>
#include <resmgt/tooltips/tooltipsPackage.h>
#include <resmgt/usageMetrics/usageMetricsPackage.h>
#include <resmgt/xml/xmlPackage.h>

namespace Qv {

template <>
InInit<QvInit::resmgt>::InInit()
    : InPackageInit( "resmgt" ) {
    registerPackage();
    addDependency( InInit<QvInit::pluginAPI>::getType() );
    addDependency( InInit<QvInit::base>::getType() );
    addDependency( InInit<QvInit::rtti>::getType() );
    addDependency( InInit<QvInit::content>::getType() );
    addDependency( InInit<QvInit::memoryBuffers>::getType() );
    addDependency( InInit<QvInit::observers>::getType() );
    addDependency( InInit<QvInit::threadExtensions>::getType() );
    addDependency( InInit<QvInit::threads>::getType() );
    addDependency( InInit<QvInit::xml>::getType() );
    addDependency( InInit<QvInit::dynamicAllocation>::getType() );
    addDependency( InInit<QvInit::literals>::getType() );
    addDependency( InInit<QvInit::predicate>::getType() );
    addDependency( InInit<QvInit::locks>::getType() );
    addDependency( InInit<QvInit::random>::getType() );
    addDependency( InInit<QvInit::discreteTimeImp>::getType() );
    addDependency( InInit<QvInit::testing>::getType() );
    addDependency( InInit<QvInit::messages>::getType() );
    addDependency( InInit<QvInit::tooltips>::getType() );
    addDependency( InInit<QvInit::logger>::getType() );
    addDependency( InInit<QvInit::initConfig>::getType() );
    addDependency( InInit<QvInit::initApp>::getType() );
    addDependency( InInit<QvInit::initInstallDir>::getType() );
    addDependency( InInit<QvInit::initVars>::getType() );
    addDependency( InInit<QvInit::osal>::getType() );
    addDependency( InInit<QvInit::profiling>::getType() );
    addDependency( InInit<QvInit::osSupport>::getType() );
    addDependency( InInit<QvInit::fileMonitoring>::getType() );
    addDependency( InInit<QvInit::fileLocks>::getType() );
    addDependency( InInit<QvInit::crashReport>::getType() );
    addDependency( InInit<QvInit::usageMetrics>::getType() );
}

namespace {

/// The build's values come from the build file.
class LibraryBuildInfo final : public InBuildInfo {
public:
    const char* getProductName() const override { return "Tessaroc Ombra Library"; }
    const char* getLibraryName() const override { return "libQvresmgt"; }
    const char* getVersion() const override { return QV_VERSION_YEAR; }
    const char* getVersionNumber() const override { return QV_VERSION_NUMBER; }
    const char* getBuildSuffix() const override {
        return getBuildKind() == DEVELOPMENT_BUILD ? "dev" : "";
    }
    int getMajor() const override { return QV_VERSION_MAJOR; }
    int getMinor() const override { return QV_VERSION_MINOR; }
    int getBuildKind() const override { return QV_BUILD_KIND; }
    const char* getBuildNumber() const override { return QV_BUILD_NUMBER; }
    const char* getBuildDate() const override { return QV_BUILD_DATE; }
    const char* getBuildFlavour() const override { return QV_BUILD_FLAVOUR; }
};

} // namespace

template <>
void InInit<QvInit::resmgt>::initializePackage() {
    InBuildInfoUtil::registerInfo( OPtr<InBuildInfo>( new LibraryBuildInfo ) );
    SubstitutionPatterns::registerAll();
}

template <>
void InInit<QvInit::resmgt>::finalizePackage() {
    SubstitutionPatterns::unregisterAll();
}

namespace {

InInit<QvInit::resmgt> package;

} // namespace

} // namespace Qv
