#include <resmgt/locks/src/lkSpin.h>

#include <algorithm>
#include <thread>

namespace Qv {

namespace {

/// In pauses of the processor, some 10 to 50 nanoseconds each: a few microseconds, what a sleep and
/// a wake-up cost. Longer can't pay, and a hand-over between running threads takes a tenth.
constexpr int MAX_SPINS = 200;
/// Waits in vain halve the look down to MAX_SPINS >> MAX_SHIFT.
constexpr unsigned int MAX_SHIFT = 4;
/// Every so many waits in vain a full look finds out whether the partner has become quick.
constexpr unsigned int PROBE_PERIOD = 8;

} // namespace

int lkSpinLimit( unsigned int nbSleeps ) noexcept {
    static const int full = std::thread::hardware_concurrency() > 1 ? MAX_SPINS : 0;
    return full >> std::min( nbSleeps % PROBE_PERIOD, MAX_SHIFT );
}

} // namespace Qv
