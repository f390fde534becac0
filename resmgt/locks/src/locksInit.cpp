#include <base/init/inInit.h>
#include <base/init/inSingletonEx.h>
#include <pluginAPI/piAppThread.h>
#include <pluginAPI/pluginAPIPackage.h>
#include <resmgt/locks/lkSingletonRegistry.h>
#include <resmgt/locks/locksPackage.h>
#include <resmgt/logger/loggerPackage.h>
#include <resmgt/osal/osalPackage.h>

namespace Qv {

namespace {

/// The record of the application's main thread: the one that starts the packages, unless the
/// application has installed a record of its own before.
class LkAppThread final : public PiAppThread {
public:
    static void start() {
        try {
            initialize( OPtr<PiAppThread>( new LkAppThread ) );
            _isOurs = true;
        } catch( const InSingletonEx::ExAlreadyInitialized& ) {
            _isOurs = false;
        }
    }
    static void stop() {
        if( _isOurs ) {
            finalize();
        }
    }

private:
    // Written and read as the package starts and stops.
    static inline bool _isOurs = false;
};

} // namespace

template <>
InInit<QvInit::locks>::InInit()
    : InPackageInit( "locks" ) {
    registerPackage();
    addDependency( InInit<QvInit::osal>::getType() );
    addDependency( InInit<QvInit::logger>::getType() );
    addDependency( InInit<QvInit::pluginAPI>::getType() );
    addDependency( InInit<QvInit::base>::getType() );
}

template <>
void InInit<QvInit::locks>::initializePackage() {
    LkSingletonRegistry::init();
    LkAppThread::start();
}

template <>
void InInit<QvInit::locks>::finalizePackage() {
    LkAppThread::stop();
    LkSingletonRegistry::fini();
}

namespace {

InInit<QvInit::locks> package;

} // namespace

} // namespace Qv
