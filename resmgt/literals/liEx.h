#pragma once

#include <base/failure/exBase.h>
#include <resmgt/resmgtApi.h>

namespace Qv {

/// The family of the errors of literals.
class QV_RESMGT_API LiEx : public ExBase {
public:
    class ExBadRate;
    class ExConversionError;

    using ExBase::ExBase;
};

/// A frame or sample rate that can't be one.
class QV_RESMGT_API LiEx::ExBadRate : public ExCloneable<LiEx::ExBadRate, LiEx> {
public:
    /// `problem` continues the sentence "The rate "F24" ...".
    ExBadRate( const char* file, int line, const char* rate, const char* problem );
};

/// A text isn't what was to be read.
class QV_RESMGT_API LiEx::ExConversionError : public ExCloneable<LiEx::ExConversionError, LiEx> {
public:
    /// The reason quotes `text`; `expected` describes what it should have been.
    ExConversionError( const char* file, int line, const char* text, const char* expected );
};

} // namespace Qv
