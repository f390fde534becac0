#include <base/failure/floatUtil.h>

#include <base/failure/assertions.h>

#include <charconv>
#include <string>

namespace Qv::FloatUtil {

namespace {

template <class T>
std::string toText( T value ) {
    // The shortest text of a double has at most 24 characters.
    char text[32];
    return std::string( text, std::to_chars( text, text + sizeof( text ), value ).ptr );
}

} // namespace

template <class T>
void ThrowAssertionFailed<T, 0>::throwAssertionFailed( const char* file, int line,
                                                       const char* expression, const char* relation,
                                                       const char* bound, T expressionValue,
                                                       T boundValue, T tolerance ) {
    const std::string text = std::string( expression ) + relation + bound + " (" +
                             toText( expressionValue ) + " and " + toText( boundValue ) +
                             ", tolerance " + toText( tolerance ) + ")";
    Assertions::throwAssertionFailed( file, line, text.c_str() );
}

template struct QV_INSTANCE_API ThrowAssertionFailed<float, 0>;
template struct QV_INSTANCE_API ThrowAssertionFailed<double, 0>;

} // namespace Qv::FloatUtil
