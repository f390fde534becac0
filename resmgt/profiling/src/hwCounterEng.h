#pragma once

#include <base/ownership/oPtr.h>

#include <cstdint>
#include <iosfwd>

namespace Qv {

/// What HwCounter counts with. Constant once it is built, so that all threads may share it.
class HwCounterEng {
public:
    static OPtrRet<HwCounterEng> create();

    HwCounterEng( const HwCounterEng& ) = delete;
    HwCounterEng& operator=( const HwCounterEng& ) = delete;
    virtual ~HwCounterEng() = default;

    virtual std::uint64_t timeStamp() const = 0;
    virtual double seconds( std::uint64_t t0, std::uint64_t t1 ) const = 0;
    virtual double seconds() const = 0;
    virtual double resolution() const = 0;
    virtual int getRateNumerator() const = 0;
    virtual int getRateDenominator() const = 0;
    virtual void dump( std::ostream& stream ) const = 0;

protected:
    HwCounterEng() = default;
};

/// Counts with the counter of OsCpuInfo. A rate beyond an int, which is what a Rational holds, is
/// halved until it fits, and so are the readings.
class HwCounterIA32 final : public HwCounterEng {
public:
    /// `frequency` is that of the counter in ticks a second, not 0.
    explicit HwCounterIA32( std::uint64_t frequency );

    std::uint64_t timeStamp() const override;
    double seconds( std::uint64_t t0, std::uint64_t t1 ) const override;
    double seconds() const override;
    double resolution() const override { return _resolution; }
    int getRateNumerator() const override { return _rateNumerator; }
    int getRateDenominator() const override { return _rateDenominator; }
    void dump( std::ostream& stream ) const override;

    std::int32_t getShift() const noexcept { return _shift; }

private:
    std::int32_t _rateNumerator;
    std::int32_t _rateDenominator = 1;
    std::int32_t _shift = 0;
    double _resolution;
};

} // namespace Qv
