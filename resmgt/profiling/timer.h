#pragma once

#include <resmgt/profiling/hwIntervalTimer.h>
#include <resmgt/profiling/todIntervalTimer.h>

#include <ostream>

namespace Qv {

/// A `T`, HwIntervalTimer or TodIntervalTimer, that writes its time.
template <class T>
class Timer : public T {
public:
    using T::T;

    /// One line: name and seconds from start to stop.
    void dump( std::ostream& stream ) const {
        stream << "Timer " << this->getName() << ": Total = " << this->timeInterval() << '\n';
    }
};

} // namespace Qv
