#pragma once

#include <base/failure/exBase.h>
#include <resmgt/resmgtApi.h>

namespace Qv {

/// The family of the errors of threads.
class QV_RESMGT_API MtEx : public ExBase {
public:
    class ExNotImplemented;
    class ExRealTimeNotEnabled;

    using ExBase::ExBase;
};

/// A thread of this kind doesn't have the operation.
class QV_RESMGT_API MtEx::ExNotImplemented : public ExCloneable<MtEx::ExNotImplemented, MtEx> {
public:
    /// `operation` is its qualified name, such as "MtExternalThread::start".
    ExNotImplemented( const char* file, int line, const char* operation );
};

/// For applications that can't do without real time; this library doesn't raise it.
class QV_RESMGT_API MtEx::ExRealTimeNotEnabled
    : public ExCloneable<MtEx::ExRealTimeNotEnabled, MtEx> {
public:
    ExRealTimeNotEnabled( const char* file, int line, const char* reason );
};

} // namespace Qv
