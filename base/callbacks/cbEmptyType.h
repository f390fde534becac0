#pragma once

#include <base/qvBaseApi.h>

namespace Qv {

/// Stands as argument type for call-backs without an argument.
struct QV_BASE_API CbEmptyType {
    class NoArgCallBase;
};

/// The queries of every call-back, whatever its argument type.
class QV_BASE_API CbEmptyType::NoArgCallBase {
public:
    /// Calls without an argument; for a call-back that takes one this is `invalidNoArgCall`.
    virtual void callNoArg() { invalidNoArgCall(); }

    /// Reports a call with an argument list that doesn't fit: raises ExProgramAborted.
    [[noreturn]] static void invalidNoArgCall();

protected:
    NoArgCallBase() = default;
    ~NoArgCallBase() = default;
};

} // namespace Qv
