#pragma once

#include <base/failure/exBase.h>
#include <resmgt/resmgtApi.h>

namespace Qv {

/// The family of the errors of logging.
class QV_RESMGT_API LgEx : public ExBase {
public:
    class InvalidLevelString;

    using ExBase::ExBase;
};

/// A text that should name a level names none.
class QV_RESMGT_API LgEx::InvalidLevelString : public ExCloneable<LgEx::InvalidLevelString, LgEx> {
public:
    InvalidLevelString( const char* file, int line, const char* text );
};

} // namespace Qv
