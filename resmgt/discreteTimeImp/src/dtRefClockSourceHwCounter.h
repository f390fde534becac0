#pragma once

#include <base/values/dtRefClockSource.h>
#include <resmgt/profiling/hwCounter.h>

namespace Qv {

/// The library's tick counter as the reference clock.
class DtRefClockSourceHwCounter final : public DtRefClockSource {
public:
    DtRefClockSourceHwCounter()
        : DtRefClockSource(
              "HwCounter",
              Rational( HwCounter::getRateNumerator(), HwCounter::getRateDenominator() ),
              Rational( HwCounter::getRateDenominator(), HwCounter::getRateNumerator() ) ) {}

    std::uint64_t getCount() const override { return HwCounter::timeStamp(); }
};

} // namespace Qv
