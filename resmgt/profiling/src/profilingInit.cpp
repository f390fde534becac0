#include <base/init/inInit.h>
#include <resmgt/profiling/hwCounter.h>
#include <resmgt/profiling/prProcessTimes.h>
#include <resmgt/profiling/sleeper.h>
#include <resmgt/resmgtPackages.h>

namespace Qv {

using namespace QvInit;

const std::type_info* profiling::getType() noexcept {
    return &typeid( profiling );
}

template <>
InInit<profiling>::InInit()
    : InPackageInit( "profiling" ) {
    registerPackage();
    dependsOn<osSupport, base>();
}

template <>
void InInit<profiling>::initializePackage() {
    // Builds the counter's engine, and shows that it can be read.
    HwCounter::timeStamp();
    Sleeper::initialize();
    try {
        PrProcessTimes::initialize();
    } catch( ... ) {
        // A package whose start fails isn't stopped.
        Sleeper::finalize();
        throw;
    }
}

template <>
void InInit<profiling>::finalizePackage() {
    PrProcessTimes::finalize();
    Sleeper::finalize();
}

namespace {

InInit<profiling> package;

} // namespace

} // namespace Qv
