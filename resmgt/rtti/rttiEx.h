#pragma once

#include <base/failure/exBase.h>
#include <resmgt/resmgtApi.h>

namespace Qv {

/// Root of the exceptions of the graph of types. They show the first 256 characters of a type's
/// name.
class QV_RESMGT_API RttiEx : public ExBase {
public:
    class ExAlreadyExists;
    class ExNotFound;
    class ExCycle;

protected:
    using ExBase::ExBase;
    /// `format` has one "%.*s", for the name.
    void setReasonOf( const char* format, const char* typeName );
};

/// The link is there already.
class QV_RESMGT_API RttiEx::ExAlreadyExists : public ExCloneable<RttiEx::ExAlreadyExists, RttiEx> {
public:
    ExAlreadyExists( const char* file, int line, const char* typeName );
};

/// For the applications' own registries: the library raises it nowhere.
class QV_RESMGT_API RttiEx::ExNotFound : public ExCloneable<RttiEx::ExNotFound, RttiEx> {
public:
    ExNotFound( const char* file, int line, const char* typeName );
};

/// A type would be above itself.
class QV_RESMGT_API RttiEx::ExCycle : public ExCloneable<RttiEx::ExCycle, RttiEx> {
public:
    ExCycle( const char* file, int line, const char* typeName );
};

} // namespace Qv
