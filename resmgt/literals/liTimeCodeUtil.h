#pragma once

#include <resmgt/literals/liTimeCode.h>

namespace Qv {

/// The counterpart of a format counts in the same way at another pull of the rate: NTSC at 29.97
/// that of NTSC at 30. It is the first such format of the factory.
class QV_RESMGT_API LiTimeCodeUtil {
public:
    LiTimeCodeUtil() = delete;

    static bool hasTimeCodeCounterpart( const LiTimeCode& format );
    /// Null if there is none.
    static RCShdPtr<LiTimeCode> getTimeCodeCounterpart( const LiTimeCode& format );
};

} // namespace Qv
