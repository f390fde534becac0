#pragma once

#include <base/ownership/aPtr.h>
#include <base/qvBaseApi.h>

namespace Qv::InUtils {

/// A copy of `text`, which isn't null.
QV_BASE_API APtrRet<char> strdup( const char* text );

/// Strict weak order on C strings, by their characters as unsigned numbers.
struct QV_BASE_API LtStr {
    bool operator()( const char* lhs, const char* rhs ) const noexcept;
};

/// Whether any of `bits` is set in the number that the environment variable QV_INIT_DEBUG holds
/// now. Bit 1 traces where each configuration variable takes its value from; bit 2 traces all
/// sources of all variables, with what they hold, once the packages have started; and what an init
/// file holds that no variable asks for.
QV_BASE_API bool isDebuggingEnabled( unsigned int bits );

} // namespace Qv::InUtils
