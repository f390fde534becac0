#pragma once

#include <pluginAPI/pluginAPIApi.h>

#include <string>

namespace Qv {

/// The way to the application's help.
///
/// Threads: installing on the main thread; opening from any.
class QV_PLUGINAPI_API PiHelp {
public:
    /// Opens the help page that `link` names.
    using Opener = void ( * )( const std::string& link );

    /// Opens a help link with the application's opener. Without one the link is traced, with the
    /// words that nothing is there to open it.
    static void openLink( const std::string& link );
    /// Installs `opener`, null to remove it; returns the former one, null at first.
    static Opener setOpener( Opener opener ) noexcept;
};

} // namespace Qv
