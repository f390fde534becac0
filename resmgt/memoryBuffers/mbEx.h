#pragma once

#include <base/failure/exBase.h>
#include <resmgt/resmgtApi.h>

namespace Qv {

/// The family of the errors of memory buffers.
class QV_RESMGT_API MbEx : public ExBase {
public:
    class ExIllegalTransition;
    class ExNotEnoughMemory;
    class ExInvalidArgument;
    class ExRangeError;
    class ExReadOnly;

    using ExBase::ExBase;
};

/// A buffer's state doesn't accept an event; nothing has changed.
class QV_RESMGT_API MbEx::ExIllegalTransition
    : public ExCloneable<MbEx::ExIllegalTransition, MbEx> {
public:
    /// `event` is written with its brackets, as "rdlock()".
    ExIllegalTransition( const char* file, int line, const char* buffer, const char* event,
                         const char* state );
};

/// No eviction could ever make room, or the system has no more memory.
class QV_RESMGT_API MbEx::ExNotEnoughMemory : public ExCloneable<MbEx::ExNotEnoughMemory, MbEx> {
public:
    ExNotEnoughMemory( const char* file, int line, const char* what );
};

/// An argument that the operation can't take.
class QV_RESMGT_API MbEx::ExInvalidArgument : public ExCloneable<MbEx::ExInvalidArgument, MbEx> {
public:
    ExInvalidArgument( const char* file, int line, const char* what );
};

/// A number outside of its range.
class QV_RESMGT_API MbEx::ExRangeError : public ExCloneable<MbEx::ExRangeError, MbEx> {
public:
    ExRangeError( const char* file, int line, const char* what );
};

/// For protocols whose content must not be written; this library doesn't raise it.
class QV_RESMGT_API MbEx::ExReadOnly : public ExCloneable<MbEx::ExReadOnly, MbEx> {
public:
    ExReadOnly( const char* file, int line, const char* buffer );
};

} // namespace Qv
