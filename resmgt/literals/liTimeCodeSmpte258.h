#pragma once

#include <resmgt/literals/liTimeCode.h>

namespace Qv {

/// Labels of edit lists after SMPTE ST 258, with fractions of a frame: "01:00:00:12:25.500000".
class QV_RESMGT_API LiTimeCodeSmpte258 {
public:
    LiTimeCodeSmpte258() = delete;

    /// With the digits of the sub-frames before and after the point, see LiTimeCodeCustom.
    static RCShdPtr<LiTimeCode> create( const LiRateRegistry::Entry& rate, int integerDigits,
                                        int decimals );
};

} // namespace Qv
