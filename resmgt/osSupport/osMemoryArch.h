#pragma once

#include <resmgt/resmgtApi.h>

#include <cstddef>

namespace Qv {

/// The machine's memory: the sizes of its processors' cache lines, in bytes. Each is a power of
/// two.
///
/// Source:  the system. What it doesn't report comes from the environment variables
///          QV_DEFAULT_L1_LINE_SIZE and QV_DEFAULT_L2_LINE_SIZE, else is 64. A value of theirs that
///          is no power of two between 8 and 4096 is reported on the trace output, and is 64.
/// Threads: any.
/// Cost:    asked once, at the first use, which may come before the packages start.
class QV_RESMGT_API OsMemoryArch {
public:
    static const OsMemoryArch& getInstance();

    std::size_t getL1LineSize() const noexcept { return _l1LineSize; }
    std::size_t getL2LineSize() const noexcept { return _l2LineSize; }
    /// The larger of the two: data this far apart, and aligned so, share no line.
    std::size_t getCacheLineSize() const noexcept {
        return _l1LineSize > _l2LineSize ? _l1LineSize : _l2LineSize;
    }

private:
    OsMemoryArch();

    std::size_t _l1LineSize;
    std::size_t _l2LineSize;
};

} // namespace Qv
