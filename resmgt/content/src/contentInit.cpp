#include <base/init/inInit.h>
#include <resmgt/content/ctServer.h>
#include <resmgt/logger/lgGroups.h>
#include <resmgt/resmgtPackages.h>

namespace Qv {

using namespace QvInit;

const std::type_info* content::getType() noexcept {
    return &typeid( content );
}

template <>
InInit<content>::InInit()
    : InPackageInit( "content" ) {
    registerPackage();
    dependsOn<testing, threadExtensions, threads, literals, initVars, messages, logger, osSupport,
              locks, profiling, osal, base>();
}

template <>
void InInit<content>::initializePackage() {
    LgGroups::MinorLevelContent.create();
}

template <>
void InInit<content>::finalizePackage() {
    LgGroups::MinorLevelContent.destroy( [] { CtServer::finalize(); } );
}

namespace {

InInit<content> package;

} // namespace

} // namespace Qv
