#include <resmgt/profiling/prProcessTimes.h>

#include <base/failure/exSysError.h>
#include <base/failure/qvHere.h>
#include <resmgt/profiling/src/posix/prClockPosix.h>

#include <sys/resource.h>

namespace Qv {

namespace {

double toSeconds( const timeval& time ) noexcept {
    return static_cast<double>( time.tv_sec ) + static_cast<double>( time.tv_usec ) * 1e-6;
}

} // namespace

void PrProcessTimes::performRead() {
    rusage usage{};
    if( ::getrusage( RUSAGE_SELF, &usage ) != 0 ) {
        throw ExSysErrorWindows( QV_HERE, "PrProcessTimes::PrProcessTimes()", "getrusage()" );
    }
    _user = toSeconds( usage.ru_utime );
    _kernel = toSeconds( usage.ru_stime );
}

double PrProcessTimes::performGetResolution() {
    return PrClockPosix::systemTick( "PrProcessTimes::initialize()" );
}

} // namespace Qv
