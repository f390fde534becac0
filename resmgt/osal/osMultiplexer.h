#pragma once

#include <base/ownership/oPtr.h>
#include <resmgt/resmgtApi.h>

namespace Qv {

/// Waits until one of several file descriptors is ready.
///
/// Limits:  the system's sets hold descriptors from 0 to a fixed number, 1023 on Linux, however
///          many files a process may have open.
/// Threads: an object belongs to one thread at a time.
class QV_RESMGT_API OsMultiplexer {
public:
    /// EXCEPTIONAL: out-of-band data and the like.
    enum Event : int { READABLE, WRITABLE, EXCEPTIONAL };

    /// Waits however long it takes.
    static constexpr long INFINITE_TIMEOUT = -1;

    OsMultiplexer();
    OsMultiplexer( const OsMultiplexer& ) = delete;
    OsMultiplexer& operator=( const OsMultiplexer& ) = delete;
    ~OsMultiplexer();

    /// A repeat has no effect. The descriptor stays the caller's, who unregisters it before closing
    /// it.
    ///
    /// Errors: ExSysErrorGeneric for a descriptor that the sets can't hold; an unknown event is an
    ///         assertion, here and below.
    void registerEvent( int fd, Event event );
    /// Descriptors that aren't registered are ignored.
    void unregisterEvent( int fd, Event event );
    /// Unregisters all events.
    void clearEvents();

    /// Blocks until a registered event occurs, for at most `timeout` milliseconds; 0 only looks.
    /// Resumes after a signal. Answers how many events there are, 0 when the time is over.
    ///
    /// Errors: a `timeout` that is negative and not INFINITE_TIMEOUT is an assertion.
    ///         ExSysErrorWindows, as when a registered descriptor is closed; no event has occurred
    ///         then.
    int waitFor( long timeout );
    /// Whether it was there at the end of the last wait and is registered since.
    bool eventOccured( int fd, Event event ) const;

private:
    struct Sets;

    static bool performCanHold( int fd );
    void performRegister( int fd, Event event );
    /// One call of the system. -1 with errno on failure, and no event has occurred then.
    int performWait( long timeout );

    OPtr<Sets> _sets;
};

} // namespace Qv
