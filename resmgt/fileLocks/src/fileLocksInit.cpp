#include <base/init/inContextAlias.h>
#include <base/init/inInit.h>
#include <base/init/inVariable.h>
#include <resmgt/fileLocks/osFileLockManager.h>
#include <resmgt/logger/lgGroups.h>
#include <resmgt/resmgtPackages.h>

#include <algorithm>

namespace Qv {

using namespace QvInit;

const std::type_info* fileLocks::getType() noexcept {
    return &typeid( fileLocks );
}

template <>
InInit<fileLocks>::InInit()
    : InPackageInit( "fileLocks" ) {
    registerPackage();
    dependsOn<threads, threadExtensions, locks, xml, logger, literals, osal, profiling, osSupport,
              base>();
}

template <>
void InInit<fileLocks>::initializePackage() {
    LgGroups::MinorLevelFileLocks.create( [] { OsFileLockManager::initialize(); } );
}

template <>
void InInit<fileLocks>::finalizePackage() {
    LgGroups::MinorLevelFileLocks.destroy( [] { OsFileLockManager::finalize(); } );
}

namespace {

InInit<fileLocks> package;

const InEnvironment refreshEnv( "QV_TIME_BETWEEN_LOCK_REFRESHES",
                                "Time interval between revalidation of file locks." );
const InDefault refreshDefault( "15", "Default number of seconds between lock refreshes." );
const InVariable<int> refreshInterval( "ombra::fileLocks::refreshIntervals", package, refreshEnv,
                                       refreshDefault );

const InEnvironment lifeEnv(
    "QV_MAXIMUM_LOCK_LIFE",
    "Maximum of time a lock can go not refreshed pulsed before a client declares it dead." );
const InDefault lifeDefault(
    "45", "Maximum interval of time for a lock not being invalidated before being declared dead." );
const InVariable<int> maximumLife( "ombra::fileLocks::maximumLockLife", package, lifeEnv,
                                   lifeDefault );

} // namespace

int OsFileLockManager::getRefreshInterval() noexcept {
    return std::max( refreshInterval.getValue(), 1 );
}

int OsFileLockManager::getMaximumLife() noexcept {
    return std::max( maximumLife.getValue(), 1 );
}

} // namespace Qv
