#include <resmgt/profiling/src/posix/periodicTimerPosix.h>

#include <base/failure/assertions.h>
#include <resmgt/profiling/src/posix/prClockPosix.h>

namespace Qv {

namespace {

/// Whether the beat has come that is the next one now.
bool waitBeating( const PeriodicTimerPosix& timer ) {
    const std::uint64_t next = timer.getCurrentCount() + 1;
    timer.waitForCount( next );
    return timer.getCurrentCount() >= next;
}

} // namespace

OPtrRet<PeriodicTimer> PeriodicTimer::performCreate( double interval ) {
    return OPtr<PeriodicTimer>( new PeriodicTimerPosix( interval ) );
}

double PeriodicTimer::getResolution() {
    return PrClockPosix::resolution( "PeriodicTimer::getResolution()" );
}

PeriodicTimerPosix::PeriodicTimerPosix( double interval )
    : PeriodicTimer( interval )
    , _step( PrClockPosix::toInterval( interval ) )
    , _start( PrClockPosix::now( "PeriodicTimerPosix::PeriodicTimerPosix()" ) ) {}

double PeriodicTimerPosix::getCurrentTime() const {
    return static_cast<double>( elapsed( "PeriodicTimerPosix::getCurrentTime()" ) ) * 1e-9;
}

std::uint64_t PeriodicTimerPosix::getCurrentCount() const {
    return static_cast<std::uint64_t>( elapsed( "PeriodicTimerPosix::getCurrentCount()" ) / _step );
}

void PeriodicTimerPosix::wait() const {
    QV_ASSERT( waitBeating( *this ) );
}

void PeriodicTimerPosix::waitForCount( std::uint64_t count ) const {
    const PrClockPosix::LeastTimerSlack slack;
    PrClockPosix::sleepUntil( momentOf( count ), "PeriodicTimerPosix::waitForCount()" );
}

std::int64_t PeriodicTimerPosix::momentOf( std::uint64_t count ) const noexcept {
    const std::int64_t maxCount = PrClockPosix::MAX_INTERVAL / _step;
    return _start + _step * ( count < static_cast<std::uint64_t>( maxCount )
                                  ? static_cast<std::int64_t>( count )
                                  : maxCount );
}

std::int64_t PeriodicTimerPosix::elapsed( const char* location ) const {
    return PrClockPosix::now( location ) - _start;
}

} // namespace Qv
