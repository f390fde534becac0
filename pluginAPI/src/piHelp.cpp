#include <pluginAPI/piHelp.h>

#include <base/failure/qvHere.h>
#include <base/trace/traceManager.h>

#include <atomic>
#include <sstream>

namespace Qv {

namespace {

// Release and acquire: who calls the opener sees what was made ready before it was installed.
constinit std::atomic<PiHelp::Opener> installedOpener = nullptr;

} // namespace

void PiHelp::openLink( const std::string& link ) {
    const Opener opener = installedOpener.load( std::memory_order_acquire );
    if( opener != nullptr ) {
        opener( link );
        return;
    }
    std::ostringstream text;
    text << "The application has nothing to open the help link " << link << " with.";
    TraceManager::getInstance().getTrace().log( text, QV_HERE );
}

PiHelp::Opener PiHelp::setOpener( Opener opener ) noexcept {
    return installedOpener.exchange( opener, std::memory_order_acq_rel );
}

} // namespace Qv
