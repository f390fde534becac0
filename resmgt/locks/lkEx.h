#pragma once

#include <base/failure/exStandard.h>
#include <resmgt/resmgtApi.h>

namespace Qv {

/// Marks the exceptions of the locks package; their other base says what kind they are.
class QV_RESMGT_API LkEx {
public:
    class ExNoContent;
    class ExDuplicateSingleton;
};

/// A creator that should have supplied a value supplied none.
class QV_RESMGT_API LkEx::ExNoContent : public ExCloneable<LkEx::ExNoContent, ExBase>, public LkEx {
public:
    /// `holder` is the class that found nothing, `name` the name of its object.
    ExNoContent( const char* file, int line, const char* holder, const char* name );
};

/// A singleton's type declared itself a second time.
class QV_RESMGT_API LkEx::ExDuplicateSingleton
    : public ExCloneable<LkEx::ExDuplicateSingleton, ExInternalError>,
      public LkEx {
public:
    ExDuplicateSingleton( const char* file, int line, const char* typeName );
};

} // namespace Qv
