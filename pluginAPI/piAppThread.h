#pragma once

#include <base/locks/lkThreadId.h>
#include <base/ownership/oPtr.h>
#include <pluginAPI/pluginAPIApi.h>

namespace Qv {

/// The application's main thread. An application whose main thread isn't the one that starts the
/// packages derives from it and installs an object before it starts them.
///
/// Default:  the package of locks installs a record of the thread that starts the packages, unless
///           there is one; it goes as that package stops. Without any nobody is the main thread.
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
