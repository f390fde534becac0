#pragma once

#include <base/failure/exStandard.h>

namespace Qv {

/// Raised when a null owning pointer is dereferenced.
class QV_BASE_API ExNullPtr : public ExCloneable<ExNullPtr, ExInternalError> {
public:
    ExNullPtr( const char* file, int line, const char* typeName );
};

/// Raised when a shared pointer's object isn't of the type that was asked for.
class QV_BASE_API ExCastFailed : public ExCloneable<ExCastFailed, ExInternalError> {
public:
    ExCastFailed( const char* file, int line, const char* from, const char* to );
};

} // namespace Qv
