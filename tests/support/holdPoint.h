#pragma once

#include <condition_variable>
#include <mutex>

namespace Qv {

/// A place in the tested code, a mock's call-back for instance, where threads are held until the
/// test has looked:
///
///     HoldPoint unload( "unload" );            mock: unload.pass();
///     unload.waitUntilReached();               the victim stands in its protocol now
///     ...
///     unload.release();
///
/// Errors: a wait that reaches its deadline fails the process, with the point's name and all
///         stacks.
class HoldPoint {
public:
    /// `name` is kept, not copied.
    explicit HoldPoint( const char* name );

    /// Counts the calling thread, and holds it until `release`.
    void pass();
    /// Returns once `nbThreads` threads have come here in all.
    void waitUntilReached( int nbThreads = 1 );
    /// Lets those go that are held, and all that come later.
    void release();

private:
    const char* const _name;
    std::mutex _mutex;
    std::condition_variable _changed;
    int _nbReached = 0;
    bool _isReleased = false;
};

} // namespace Qv
