#include <resmgt/osSupport/osCpuInfo.h>

#include <base/failure/exSysError.h>
#include <base/failure/qvHere.h>

#include <time.h>

namespace Qv {

namespace {

constexpr std::uint64_t NS_PER_SECOND = 1'000'000'000;

} // namespace

std::uint64_t OsCpuInfo::getHwCounterValue() {
    timespec time;
    if( ::clock_gettime( CLOCK_MONOTONIC_RAW, &time ) != 0 ) {
        throw ExSysErrorANSI( QV_HERE, "OsCpuInfo::getHwCounterValue", "clock_gettime()" );
    }
    // Never negative: this clock begins with the machine's start.
    return static_cast<std::uint64_t>( time.tv_sec ) * NS_PER_SECOND +
           static_cast<std::uint64_t>( time.tv_nsec );
}

std::uint64_t OsCpuInfo::getHwCounterFrequency() noexcept {
    return NS_PER_SECOND;
}

} // namespace Qv
