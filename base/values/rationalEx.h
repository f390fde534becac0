#pragma once

#include <base/failure/exBase.h>

namespace Qv {

/// The family of the errors of reading fractions from text.
class QV_BASE_API RationalEx : public ExBase {
public:
    class ExBadFormat;
    class ExOutOfRange;

    using ExBase::ExBase;
};

/// The text isn't what was to be read.
class QV_BASE_API RationalEx::ExBadFormat
    : public ExCloneable<RationalEx::ExBadFormat, RationalEx> {
public:
    /// `expected` describes what the text should have been.
    ExBadFormat( const char* file, int line, const char* text, const char* expected );
};

/// The text is a number whose parts don't fit an int.
class QV_BASE_API RationalEx::ExOutOfRange
    : public ExCloneable<RationalEx::ExOutOfRange, RationalEx> {
public:
    ExOutOfRange( const char* file, int line, const char* text );
};

} // namespace Qv
