#pragma once

#include <resmgt/resmgtApi.h>

namespace Qv {

/// A stopwatch with a name.
///
/// Use:      `start`, then `stop`, as often as wanted; a start forgets what was measured before.
///           Without a start the time runs from the construction.
/// Threads:  one at a time.
/// Lifetime: the name is kept, not copied.
class QV_RESMGT_API IntervalTimer {
public:
    explicit IntervalTimer( const char* name ) noexcept
        : _name( name ) {}
    virtual ~IntervalTimer() = default;

    /// Begins the interval.
    virtual void start() = 0;
    /// Ends the interval.
    virtual void stop() = 0;
    /// Seconds from the last start to the last stop; 0.0 while there is no stop after it.
    virtual double timeInterval() const = 0;
    /// Seconds from the last start to now.
    virtual double sinceStart() const = 0;

    const char* getName() const noexcept { return _name; }
    void setName( const char* name ) noexcept { _name = name; }

protected:
    IntervalTimer( const IntervalTimer& ) = default;
    IntervalTimer& operator=( const IntervalTimer& ) = default;

private:
    const char* _name;
};

} // namespace Qv
