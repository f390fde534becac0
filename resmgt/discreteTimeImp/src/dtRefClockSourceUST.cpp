#include <resmgt/discreteTimeImp/dtRefClockSourceUST.h>

#include <base/failure/assertions.h>

namespace Qv {

DtRefClockSourceUST::DtRefClockSourceUST() noexcept
    : DtRefClockSource( "UST", Rational( 1'000'000'000, 1 ), Rational( 1, 1'000'000'000 ) ) {}

std::uint64_t DtRefClockSourceUST::getCount() const {
    Assertions::throwProgramAborted( QV_HERE, "The clock source UST isn't available." );
}

} // namespace Qv
