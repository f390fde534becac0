#include <resmgt/profiling/src/hwCounterEng.h>

#include <base/failure/assertions.h>
#include <resmgt/osSupport/osCpuInfo.h>

#include <limits>
#include <ostream>

namespace Qv {

OPtrRet<HwCounterEng> HwCounterEng::create() {
    return OPtr<HwCounterEng>( new HwCounterIA32( OsCpuInfo::getHwCounterFrequency() ) );
}

HwCounterIA32::HwCounterIA32( std::uint64_t frequency ) {
    QV_ASSERT( frequency > 0 );
    while( frequency > std::numeric_limits<std::int32_t>::max() ) {
        frequency /= 2;
        ++_shift;
    }
    _rateNumerator = static_cast<std::int32_t>( frequency );
    _resolution = 1.0 / static_cast<double>( frequency );
}

std::uint64_t HwCounterIA32::timeStamp() const {
    return OsCpuInfo::getHwCounterValue() >> _shift;
}

double HwCounterIA32::seconds( std::uint64_t t0, std::uint64_t t1 ) const {
    return static_cast<double>( static_cast<std::int64_t>( t1 - t0 ) ) * _resolution;
}

double HwCounterIA32::seconds() const {
    return static_cast<double>( timeStamp() ) * _resolution;
}

void HwCounterIA32::dump( std::ostream& stream ) const {
    stream << "Rate         = " << _rateNumerator << "\nCycle        = " << _resolution
           << " seconds\n";
}

} // namespace Qv
