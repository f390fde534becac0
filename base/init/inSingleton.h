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
/// `T` has a static `getSingletonName()`. The sources that reach the instance include
/// inSingleton.imp and belong to one library; in another one they would reach another instance.
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
