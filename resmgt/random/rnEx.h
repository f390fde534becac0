#pragma once

#include <base/failure/exBase.h>
#include <resmgt/resmgtApi.h>

#include <string>

namespace Qv {

/// The family of the errors of random number generators.
class QV_RESMGT_API RnEx : public ExBase {
public:
    class ExBadState;

    using ExBase::ExBase;
};

/// A text isn't a state of the generator that should go on from it.
class QV_RESMGT_API RnEx::ExBadState : public ExCloneable<RnEx::ExBadState, RnEx> {
public:
    /// `generator` is its name. The reason shows control characters of `text` replaced.
    ExBadState( const char* file, int line, const std::string& generator, const std::string& text );
};

} // namespace Qv
