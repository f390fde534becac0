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
/// `T` has a static `getSingletonName()`. One source file includes inSingleton.imp and instantiates
/// `InSingleton<T>` explicitly. The instance is that library's own: others reach it through
/// operations that the library exports.
template <class T>
class InSingleton {
public:
    /// Takes the one object over, before anybody asks for it.
    static void initialize( OPtr<T> instance );
    /// Destroys the instance; without one nothing happens but the mark.
    static void finalize();
    /// Like `finalize`, but the instance isn't destroyed: it is the caller's, for those who still
    /// use it.
    static OPtrRet<T> release();
    static T& getInstance();
    static bool isInitialized() noexcept;

private:
    static OPtr<T> _instance;
    static bool _isDestroyed;
};

} // namespace Qv
