#pragma once

#include <base/failure/exBase.h>
#include <resmgt/resmgtApi.h>

namespace Qv {

/// Root of the failures of shared libraries.
class QV_RESMGT_API OsSharedLibEx : public ExBase {
public:
    class ExCantOpenLib;
    class ExFunctionNotFound;

    using ExBase::ExBase;
};

/// The library couldn't be opened.
class QV_RESMGT_API OsSharedLibEx::ExCantOpenLib
    : public ExCloneable<OsSharedLibEx::ExCantOpenLib, OsSharedLibEx> {
public:
    /// `reason` is the system's; it may be null.
    ExCantOpenLib( const char* file, int line, const char* path, const char* reason );
};

/// The library has no function of that name.
class QV_RESMGT_API OsSharedLibEx::ExFunctionNotFound
    : public ExCloneable<OsSharedLibEx::ExFunctionNotFound, OsSharedLibEx> {
public:
    /// `path` is the library's.
    ExFunctionNotFound( const char* file, int line, const char* function, const char* path );
};

} // namespace Qv
