#pragma once

#include <base/qvBaseApi.h>

namespace Qv::FloatUtil {

/// Raises the failure of a comparison of floating-point numbers. `Kind` 0, the only one, is that of
/// a comparison with a tolerance.
template <class T, int Kind>
struct QV_TEMPLATE_API ThrowAssertionFailed;

/// `T` is float or double.
///
///     if( !( ratio.getFloat() > FLT_EPSILON ) ) {
///         FloatUtil::ThrowAssertionFailed<float, 0>::throwAssertionFailed(
///             QV_HERE, "ratio.getFloat()", " is greater than ", "0.0f", ratio.getFloat(), 0.0f,
///             FLT_EPSILON );
///     }
template <class T>
struct QV_TEMPLATE_API ThrowAssertionFailed<T, 0> {
    /// Raises ExAssertionFailed with `expression`, `relation` and `bound` in a row, the source
    /// texts of what should have held, and the values that were compared, each with as many digits
    /// as distinguish it from its neighbours.
    [[noreturn]] static void throwAssertionFailed( const char* file, int line,
                                                   const char* expression, const char* relation,
                                                   const char* bound, T expressionValue,
                                                   T boundValue, T tolerance );
};

extern template struct ThrowAssertionFailed<float, 0>;
extern template struct ThrowAssertionFailed<double, 0>;

} // namespace Qv::FloatUtil
