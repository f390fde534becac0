#pragma once

#include <base/locks/lkGuard.h>
#include <base/locks/lkLock.h>
#include <resmgt/resmgtApi.h>

namespace Qv {

/// Something that a thread can wait on while it holds a lock, which is given up meanwhile.
///
/// Lock:    the caller holds it; it is given up completely, whatever the depth of the caller's
///          guards, and held again when the wait is over, even by an exception.
/// Threads: any.
class QV_RESMGT_API LkWaitable {
public:
    LkWaitable() = default;
    LkWaitable( const LkWaitable& ) = delete;
    LkWaitable& operator=( const LkWaitable& ) = delete;
    virtual ~LkWaitable();

    /// Waits on what the guard holds, which is given back meanwhile.
    void wait( const LkGuard<const LkLock>& guard ) const { performWait( guard.getLock() ); }
    void wait( const LkLock& lock ) const QV_REQUIRES( lock ) { performWait( lock ); }

private:
    virtual void performWait( const LkLock& lock ) const = 0;
};

/// The same with a limit in seconds.
///
/// Limit: rounded to milliseconds, halves up. A negative limit, one that rounds to 0, and NaN only
///        look; more than a hundred years are no limit.
class QV_RESMGT_API LkTimedWaitable : public LkWaitable {
public:
    ~LkTimedWaitable() override;

    /// False when the time ran out.
    bool timedWait( const LkGuard<const LkLock>& guard, double seconds ) const {
        return performTimedWait( guard.getLock(), seconds );
    }
    bool timedWait( const LkLock& lock, double seconds ) const QV_REQUIRES( lock ) {
        return performTimedWait( lock, seconds );
    }

private:
    virtual bool performTimedWait( const LkLock& lock, double seconds ) const = 0;
};

} // namespace Qv
