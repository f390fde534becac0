#pragma once

#include <base/init/inSingletonEx.h>
#include <base/ownership/oPtr.h>

namespace Qv {

/// Process-wide instance that a package makes at its start and destroys at its stop.
///
/// Errors:  access before the start raises ExNotInitialized, after the stop ExAlreadyDestroyed; a
///          second start ExAlreadyInitialized.
/// Threads: `initialize` and `finalize` run alone, as packages start and stop; access needs no lock
///          between them.
///
/// `T` has a static `getSingletonName()`. The statics are defined by `InSingleton<T>`'s explicit
/// instantiation in one source file, which includes inSingleton.imp and exports it.
template <class T>
class InSingleton {
public:
    static void initialize( OPtr<T> instance );
    /// Destroys the instance; without one nothing happens but the mark.
    static void finalize();
    static T& getInstance();
    static bool isInitialized() noexcept;

private:
    static OPtr<T> _instance;
    static bool _isDestroyed;
};

} // namespace Qv
