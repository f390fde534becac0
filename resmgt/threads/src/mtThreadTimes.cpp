#include <resmgt/threads/mtThreadTimes.h>

#include <resmgt/profiling/prProcessTimes.h>
#include <resmgt/threads/mtThread.h>

namespace Qv {

namespace {

constexpr double SECONDS_PER_UNIT = 1e-7;

// Written at the package's start.
double systemTick = 0.0;

double toSeconds( std::uint64_t a, std::uint64_t b ) noexcept {
    return static_cast<double>( static_cast<std::int64_t>( b - a ) ) * SECONDS_PER_UNIT;
}

} // namespace

MtThreadTimes MtThreadTimes::timeSplit( const MtThread& thread ) {
    MtThreadTimes times;
    thread.performReadTimes( times._kernelTime, times._userTime );
    times._wallClock = performReadWallClock();
    return times;
}

double MtThreadTimes::cpuUserTime( const MtThreadTimes& a, const MtThreadTimes& b ) noexcept {
    return toSeconds( a._userTime, b._userTime );
}

double MtThreadTimes::cpuKernelTime( const MtThreadTimes& a, const MtThreadTimes& b ) noexcept {
    return toSeconds( a._kernelTime, b._kernelTime );
}

double MtThreadTimes::cpuTime( const MtThreadTimes& a, const MtThreadTimes& b ) noexcept {
    return toSeconds( a._kernelTime + a._userTime, b._kernelTime + b._userTime );
}

double MtThreadTimes::realTime( const MtThreadTimes& a, const MtThreadTimes& b ) noexcept {
    return toSeconds( a._wallClock, b._wallClock );
}

double MtThreadTimes::resolution() noexcept {
    return systemTick;
}

void MtThreadTimes::initialize() {
    systemTick = PrProcessTimes::resolution();
}

void MtThreadTimes::finalize() noexcept {}

} // namespace Qv
