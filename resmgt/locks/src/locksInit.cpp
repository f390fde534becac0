#include <base/init/inInit.h>
#include <base/init/inSingletonEx.h>
#include <pluginAPI/piAppThread.h>
#include <pluginAPI/pluginAPIPackage.h>
#include <resmgt/locks/lkSingletonRegistry.h>
#include <resmgt/resmgtPackages.h>

namespace Qv {

using namespace QvInit;

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

const std::type_info* locks::getType() noexcept {
    return &typeid( locks );
}

template <>
InInit<locks>::InInit()
    : InPackageInit( "locks" ) {
    registerPackage();
    dependsOn<osal, logger, pluginAPI, base>();
}

template <>
void InInit<locks>::initializePackage() {
    LkSingletonRegistry::init();
    LkAppThread::start();
}

template <>
void InInit<locks>::finalizePackage() {
    LkAppThread::stop();
    LkSingletonRegistry::fini();
}

namespace {

InInit<locks> package;

} // namespace

} // namespace Qv
