#include <base/debug/dbgTestMgr.h>
#include <base/init/inBuildInfoMgr.h>
#include <base/init/inInit.h>
#include <pluginAPI/pluginAPIPackage.h>
#include <resmgt/resmgtPackages.h>

namespace Qv {

using namespace QvInit;

namespace {

/// What a run of tests, which has no application, says of itself: values that no release bears.
class TestBuildInfo final : public InBuildInfo {
public:
    const char* getProductName() const override { return "Test"; }
    const char* getLibraryName() const override { return "test"; }
    const char* getVersion() const override { return "0"; }
    const char* getVersionNumber() const override { return "0.0"; }
    const char* getBuildSuffix() const override { return "dev"; }
    int getMajor() const override { return 0; }
    int getMinor() const override { return 0; }
    int getBuildKind() const override { return DEVELOPMENT_BUILD; }
    const char* getBuildNumber() const override { return "0"; }
    const char* getBuildDate() const override { return "January 01 1970"; }
    const char* getBuildFlavour() const override { return "test.any.any"; }
};

} // namespace

const std::type_info* testing::getType() noexcept {
    return &typeid( testing );
}

template <>
InInit<testing>::InInit()
    : InPackageInit( "testing" ) {
    registerPackage();
    dependsOn<locks, logger, initVars, osal, profiling, osSupport, pluginAPI, base>();
}

template <>
void InInit<testing>::initializePackage() {
    if( DbgTestMgr::isTestRunning() ) {
        InBuildInfoMgr::registerAppInfo( OPtr<InBuildInfo>( new TestBuildInfo ) );
    }
}

namespace {

InInit<testing> package;

} // namespace

} // namespace Qv
