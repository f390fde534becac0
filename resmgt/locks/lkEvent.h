#pragma once

#include <resmgt/resmgtApi.h>
#if defined( _WIN32 )
#    include <resmgt/locks/lkEventWindows.h>
#else
#    include <resmgt/locks/lkEventPosix.h>
#endif

#include <iosfwd>

namespace Qv {

#if defined( _WIN32 )
using LkEventPlatform = LkEventWindows;
#else
/// The event of this platform.
using LkEventPlatform = LkEventPosix;
#endif

/// A switch that threads wait for: once set it stays set until it is reset, and all pass.
///
/// Threads:  any.
/// Waking:   a set wakes all that wait at that moment, even if a reset follows at once.
/// Lifetime: nobody may wait when it is destroyed. A waiter may destroy it once it has passed,
///           while the set that let it go is still returning.
/// Errors:   a failed system call is a system assertion.
class QV_RESMGT_API LkEvent {
public:
    /// `name` is kept, not copied: it must outlive this object.
    LkEvent( const char* name, bool initialState ) noexcept
        : _imp( name, initialState ) {}
    LkEvent( const LkEvent& ) = delete;
    LkEvent& operator=( const LkEvent& ) = delete;

    /// Lets all through that wait, and all that come.
    void set() { _imp.set(); }
    /// Waits block again.
    void reset() { _imp.reset(); }
    /// Blocks until the event is set.
    void wait() const;
    /// True when the event was set, false when the time ran out; the limit is that of
    /// LkTimedWaitable.
    bool timedWait( double seconds ) const;
    const char* getName() const noexcept { return _imp.getName(); }
    /// Name and state.
    void dump( std::ostream& stream ) const;

private:
    LkEventPlatform _imp;
};

} // namespace Qv
