#pragma once

#include <tests/support/deadline.h>
#include <tests/support/gate.h>

#include <atomic>

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
    explicit HoldPoint( const char* name )
        : _name( name )
        , _released( name ) {}

    /// Counts the calling thread, and holds it until `release`.
    void pass() {
        ++_nbReached;
        _released.wait();
    }
    /// Returns once `nbThreads` threads have come here in all.
    void waitUntilReached( int nbThreads = 1 ) {
        waitUntil( [&] { return _nbReached >= nbThreads; }, _name );
    }
    /// Lets those go that are held, and all that come later.
    void release() { _released.open(); }

private:
    const char* const _name;
    std::atomic<int> _nbReached = 0;
    Gate _released;
};

} // namespace Qv
