#include <resmgt/profiling/prProcessTimes.h>

#include <base/failure/assertions.h>
#include <resmgt/profiling/hwCounter.h>

namespace Qv {

namespace {

// In seconds; 0.0 while the package isn't started. Written as packages start and stop.
double tick = 0.0;

} // namespace

PrProcessTimes::PrProcessTimes()
    : _stamp( HwCounter::timeStamp() ) {
    performRead();
}

double PrProcessTimes::realTime( const PrProcessTimes& a, const PrProcessTimes& b ) {
    return HwCounter::seconds( a._stamp, b._stamp );
}

void PrProcessTimes::initialize() {
    tick = performGetResolution();
}

void PrProcessTimes::finalize() noexcept {
    tick = 0.0;
}

double PrProcessTimes::resolution() {
    QV_ASSERT( tick > 0.0 );
    return tick;
}

void PrProcessTimer::start() {
    _start = PrProcessTimes();
    _stop = _start;
}

void PrProcessTimer::stop() {
    _stop = PrProcessTimes();
}

} // namespace Qv
