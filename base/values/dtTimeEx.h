#pragma once

#include <base/failure/exBase.h>
#include <base/values/rational.h>

namespace Qv {

/// The family of the errors of arithmetic with times.
class QV_BASE_API DtTimeEx : public ExBase {
public:
    class ExBadRate;
    class ExOutOfRange;

    using ExBase::ExBase;
};

/// A rate of zero or with a denominator of zero: no time passes by it.
class QV_BASE_API DtTimeEx::ExBadRate : public ExCloneable<DtTimeEx::ExBadRate, DtTimeEx> {
public:
    ExBadRate( const char* file, int line, const Rational& rate );
};

/// The resulting time index doesn't fit 64 bits.
class QV_BASE_API DtTimeEx::ExOutOfRange : public ExCloneable<DtTimeEx::ExOutOfRange, DtTimeEx> {
public:
    /// `operation` is the name of the operation that was asked for.
    ExOutOfRange( const char* file, int line, const char* operation );
};

} // namespace Qv
