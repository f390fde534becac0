#include <resmgt/threads/mtThreadTimer.h>

namespace Qv {

MtThreadTimer::MtThreadTimer( StartImmediatelyType ) {
    start();
}

void MtThreadTimer::start() {
    if( _state == STOPPED ) {
        _startSplit = MtThreadTimes::timeSplit();
        _state = RUNNING;
    }
}

void MtThreadTimer::stop() {
    if( _state == RUNNING ) {
        const MtThreadTimes now = MtThreadTimes::timeSplit();
        _realTime += MtThreadTimes::realTime( _startSplit, now );
        _kernelTime += MtThreadTimes::cpuKernelTime( _startSplit, now );
        _userTime += MtThreadTimes::cpuUserTime( _startSplit, now );
        _state = STOPPED;
    }
}

void MtThreadTimer::reset() noexcept {
    *this = MtThreadTimer();
}

double MtThreadTimer::measured( double sum, Difference difference ) const {
    return _state == STOPPED ? sum : sum + difference( _startSplit, MtThreadTimes::timeSplit() );
}

double MtThreadTimer::realTime() const {
    return measured( _realTime, &MtThreadTimes::realTime );
}

double MtThreadTimer::cpuTime() const {
    return measured( _kernelTime + _userTime, &MtThreadTimes::cpuTime );
}

double MtThreadTimer::cpuKernelTime() const {
    return measured( _kernelTime, &MtThreadTimes::cpuKernelTime );
}

double MtThreadTimer::cpuUserTime() const {
    return measured( _userTime, &MtThreadTimes::cpuUserTime );
}

} // namespace Qv
