#pragma once

#include <base/locks/lkThreadId.h>
#include <base/ownership/oPtr.h>
#include <pluginAPI/pluginAPIApi.h>

namespace Qv {

/// The application's main thread. An application whose main thread isn't the one that starts the
/// packages derives from it and installs an object.
///
/// Default:  when none is installed, the thread that started the packages is the main thread from
///           their start to their stop; before and after nobody is.
/// Lifetime: installed before other threads ask, removed after them.
/// Threads:  `isCurrent` from any.
class QV_PLUGINAPI_API PiAppThread {
public:
    PiAppThread( const PiAppThread& ) = delete;
    PiAppThread& operator=( const PiAppThread& ) = delete;
    virtual ~PiAppThread();

    /// Whether the calling thread is the main thread.
    static bool isCurrent() noexcept;

protected:
    /// The calling thread is the main thread once this object is installed.
    PiAppThread();

    /// Errors: InSingletonEx::ExAlreadyInitialized; the object is destroyed then.
    static void initialize( OPtr<PiAppThread> appThread );
    /// Destroys the installed object, if there is one.
    static void finalize();

private:
    LkThreadId _threadId;
};

} // namespace Qv
