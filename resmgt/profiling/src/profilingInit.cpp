#include <base/init/inInit.h>
#include <resmgt/osSupport/osSupportPackage.h>
#include <resmgt/profiling/hwCounter.h>
#include <resmgt/profiling/prProcessTimes.h>
#include <resmgt/profiling/profilingPackage.h>
#include <resmgt/profiling/sleeper.h>

namespace Qv {

template <>
InInit<QvInit::profiling>::InInit()
    : InPackageInit( "profiling" ) {
    registerPackage();
    addDependency( InInit<QvInit::osSupport>::getType() );
    addDependency( InInit<QvInit::base>::getType() );
}

template <>
void InInit<QvInit::profiling>::initializePackage() {
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
void InInit<QvInit::profiling>::finalizePackage() {
    PrProcessTimes::finalize();
    Sleeper::finalize();
}

namespace {

InInit<QvInit::profiling> package;

} // namespace

} // namespace Qv
