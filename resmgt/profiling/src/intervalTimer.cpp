#include <resmgt/profiling/intervalTimer.h>

#include <resmgt/osSupport/osDateUtil.h>
#include <resmgt/profiling/hwCounter.h>
#include <resmgt/profiling/hwIntervalTimer.h>
#include <resmgt/profiling/todIntervalTimer.h>

namespace Qv {

HwIntervalTimer::HwIntervalTimer( const char* name )
    : IntervalTimer( name )
    , _start( HwCounter::timeStamp() )
    , _stop( _start ) {}

void HwIntervalTimer::start() {
    _start = HwCounter::timeStamp();
    _stop = _start;
}

void HwIntervalTimer::stop() {
    _stop = HwCounter::timeStamp();
}

double HwIntervalTimer::timeInterval() const {
    return HwCounter::seconds( _start, _stop );
}

double HwIntervalTimer::sinceStart() const {
    return HwCounter::seconds( _start, HwCounter::timeStamp() );
}

void TodIntervalTimer::NativeTimer::refresh() noexcept {
    const OsDateTypes::DateRep now = OsDateUtil::now();
    _seconds = static_cast<double>( now.getSeconds() );
    _milliseconds = now.getNanoseconds() * 1e-6;
}

TodIntervalTimer::TodIntervalTimer( const char* name )
    : IntervalTimer( name )
    , _stop( _start ) {}

void TodIntervalTimer::start() {
    _start.refresh();
    _stop = _start;
}

void TodIntervalTimer::stop() {
    _stop.refresh();
}

double TodIntervalTimer::timeInterval() const {
    return _stop.since( _start );
}

double TodIntervalTimer::sinceStart() const {
    return NativeTimer().since( _start );
}

} // namespace Qv
