#pragma once

#include <base/ownership/oPtr.h>
#include <resmgt/resmgtApi.h>

#include <cstdint>

namespace Qv {

/// Beats at a fixed interval from its creation on. Beats that nobody waits for are counted; the
/// beats don't shift when one is waited for late.
///
///     const OPtr<PeriodicTimer> timer( PeriodicTimer::create( 1.0 / 25.0 ) );
///     for( ;; ) {
///         timer->wait();
///         show( timer->getCurrentCount() );
///     }
///
/// Threads: any number may wait at once.
/// Errors:  ExSysErrorWindows when the system refuses.
/// Cost:    none between waits; a wait's is that of the high-resolution sleeper.
class QV_RESMGT_API PeriodicTimer {
public:
    /// `interval` is in seconds and rounded to the nanosecond; below the resolution it is an
    /// assertion.
    static OPtrRet<PeriodicTimer> create( double interval );
    /// The shortest interval, in seconds.
    static double getResolution();

    PeriodicTimer( const PeriodicTimer& ) = delete;
    PeriodicTimer& operator=( const PeriodicTimer& ) = delete;
    virtual ~PeriodicTimer() = default;

    /// Seconds since the creation.
    virtual double getCurrentTime() const = 0;
    /// Beats since the creation.
    virtual std::uint64_t getCurrentCount() const = 0;
    double getInterval() const noexcept { return _interval; }

    /// Sleeps until the next beat.
    virtual void wait() const = 0;
    /// Sleeps until the count has reached `count`, if it hasn't.
    virtual void waitForCount( std::uint64_t count ) const = 0;

protected:
    explicit PeriodicTimer( double interval ) noexcept
        : _interval( interval ) {}

private:
    static OPtrRet<PeriodicTimer> performCreate( double interval );

    const double _interval;
};

} // namespace Qv
