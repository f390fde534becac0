#pragma once

#include <base/failure/exBase.h>
#include <resmgt/resmgtApi.h>

namespace Qv {

/// Failures of counters of the system's performance.
class QV_RESMGT_API PrEx : public ExBase {
public:
    class ExUnsupported;
    class ExIllegalCounterIndex;
    class ExIllegalInstanceName;
    class ExIllegalObjectIndex;

    using ExBase::ExBase;
};

/// This platform lacks what was asked for.
class QV_RESMGT_API PrEx::ExUnsupported : public ExCloneable<PrEx::ExUnsupported, PrEx> {
public:
    ExUnsupported( const char* file, int line );
};

/// There is no counter with that index.
class QV_RESMGT_API PrEx::ExIllegalCounterIndex
    : public ExCloneable<PrEx::ExIllegalCounterIndex, PrEx> {
public:
    ExIllegalCounterIndex( const char* file, int line, int index );
};

/// There is no instance with that name.
class QV_RESMGT_API PrEx::ExIllegalInstanceName
    : public ExCloneable<PrEx::ExIllegalInstanceName, PrEx> {
public:
    ExIllegalInstanceName( const char* file, int line, const char* name );
};

/// There is no object with that index.
class QV_RESMGT_API PrEx::ExIllegalObjectIndex
    : public ExCloneable<PrEx::ExIllegalObjectIndex, PrEx> {
public:
    ExIllegalObjectIndex( const char* file, int line, int index );
};

} // namespace Qv
