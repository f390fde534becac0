#pragma once

#include <resmgt/profiling/sleeper.h>

namespace Qv {

/// Counts in milliseconds.
class SleeperPosix final : public Sleeper {
public:
    double getCurrentTime() const override;
    double getResolution() const override;
    void sleep( double seconds ) const override;
};

/// Counts in nanoseconds, with the least timer slack.
class SleeperHighResPosix final : public Sleeper {
public:
    double getCurrentTime() const override;
    double getResolution() const override;
    void sleep( double seconds ) const override;
};

} // namespace Qv
