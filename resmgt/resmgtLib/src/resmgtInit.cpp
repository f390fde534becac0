#include <base/init/inBuildInfoUtil.h>
#include <base/init/inInit.h>
#include <pluginAPI/pluginAPIPackage.h>
#include <resmgt/resmgtLib/src/substitutionPatterns.h>
#include <resmgt/resmgtPackages.h>

namespace Qv {

using namespace QvInit;

const std::type_info* resmgt::getType() noexcept {
    return &typeid( resmgt );
}

template <>
InInit<resmgt>::InInit()
    : InPackageInit( "resmgt" ) {
    registerPackage();
    dependsOn<pluginAPI, base, rtti, content, memoryBuffers, observers, threadExtensions, threads,
              xml, dynamicAllocation, literals, predicate, locks, random, discreteTimeImp, testing,
              messages, tooltips, logger, initConfig, initApp, initInstallDir, initVars, osal,
              profiling, osSupport, fileMonitoring, fileLocks, crashReport, usageMetrics>();
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
void InInit<resmgt>::initializePackage() {
    InBuildInfoUtil::registerInfo( OPtr<InBuildInfo>( new LibraryBuildInfo ) );
    SubstitutionPatterns::registerAll();
}

template <>
void InInit<resmgt>::finalizePackage() {
    SubstitutionPatterns::unregisterAll();
}

namespace {

InInit<resmgt> package;

} // namespace

} // namespace Qv
