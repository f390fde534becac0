#pragma once

#include <base/values/dtRefClockSource.h>
#include <resmgt/resmgtApi.h>

namespace Qv {

/// A reference clock on a machine's unadjusted system time, in nanoseconds. No platform of this
/// library has it any more: it can be made, named and compared, but not read.
class QV_RESMGT_API DtRefClockSourceUST : public DtRefClockSource {
public:
    DtRefClockSourceUST() noexcept;

    static const char* getTypeName() noexcept { return "DtRefClockSourceUST"; }
    /// Always raises ExProgramAborted.
    std::uint64_t getCount() const override;
};

} // namespace Qv
