#pragma once

#include <base/failure/exBase.h>
#include <resmgt/resmgtApi.h>

#include <cstddef>
#include <string>

namespace Qv {

/// The family of the errors of literals.
class QV_RESMGT_API LiEx : public ExBase {
public:
    class ExBadRate;
    class ExBadTimeCode;
    class ExConversionError;

    using ExBase::ExBase;
};

/// A frame or sample rate that can't be one.
class QV_RESMGT_API LiEx::ExBadRate : public ExCloneable<LiEx::ExBadRate, LiEx> {
public:
    /// `problem` continues the sentence "The rate "F24" ...".
    ExBadRate( const char* file, int line, const char* rate, const char* problem );
};

/// A text isn't a label of a format of timecodes.
class QV_RESMGT_API LiEx::ExBadTimeCode : public ExCloneable<LiEx::ExBadTimeCode, LiEx> {
public:
    /// The reason quotes `label`, or the beginning of a long one, and names the character at
    /// `place`, counted from 1: the first that is wrong. `problem` is what is wrong.
    ExBadTimeCode( const char* file, int line, const std::string& label, const std::string& format,
                   std::size_t place, const std::string& problem );
};

/// A text isn't what was to be read.
class QV_RESMGT_API LiEx::ExConversionError : public ExCloneable<LiEx::ExConversionError, LiEx> {
public:
    /// The reason quotes `text`; `expected` describes what it should have been.
    ExConversionError( const char* file, int line, const char* text, const char* expected );
};

} // namespace Qv
