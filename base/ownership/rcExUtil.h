#pragma once

#include <base/qvBaseApi.h>

#include <typeinfo>

namespace Qv::RCExUtil {

/// Types are named as `std::type_info` names them; the exceptions show them as in the source.

/// Raises ExNullPtr: a null pointer to a `typeName` was dereferenced.
[[noreturn]] QV_BASE_API void throwExNullPtr( const char* typeName );
/// Raises ExCastFailed: a shared pointer to a `from` isn't one to a `to`.
[[noreturn]] QV_BASE_API void throwExCastFailed( const char* from, const char* to );

} // namespace Qv::RCExUtil
