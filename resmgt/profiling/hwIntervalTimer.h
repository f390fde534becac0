#pragma once

#include <resmgt/profiling/intervalTimer.h>

#include <cstdint>

namespace Qv {

/// Measures with HwCounter: finely, and never back.
class QV_RESMGT_API HwIntervalTimer : public IntervalTimer {
public:
    explicit HwIntervalTimer( const char* name );

    void start() override;
    void stop() override;
    double timeInterval() const override;
    double sinceStart() const override;

private:
    std::uint64_t _start;
    std::uint64_t _stop;
};

} // namespace Qv
