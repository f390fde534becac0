#pragma once

#include <base/failure/exStandard.h>
#include <base/failure/qvHere.h>
#include <base/qvBaseApi.h>

namespace Qv {

/// Raised by a failed assertion; the reason contains the assertion's text.
class QV_BASE_API ExAssertionFailed : public ExCloneable<ExAssertionFailed, ExInternalError> {
public:
    ExAssertionFailed( const char* file, int line, const char* expression );
    /// `error` is the operating system's error code; its meaning is added to the reason.
    ExAssertionFailed( const char* file, int line, const char* expression, int error );
};

/// Raised for a state that can't be.
class QV_BASE_API ExProgramAborted : public ExCloneable<ExProgramAborted, ExInternalError> {
public:
    /// `message` may be null.
    ExProgramAborted( const char* file, int line, const char* message );
};

/// Failures for misuse and broken invariants. None of these returns.
namespace Assertions {

/// Raises ExAssertionFailed.
[[noreturn]] QV_BASE_API void throwAssertionFailed( const char* file, int line,
                                                    const char* expression );
/// Raises ExAssertionFailed for an operating-system call that failed with `error`.
[[noreturn]] QV_BASE_API void throwSysAssertionFailed( const char* file, int line,
                                                       const char* expression, int error );
/// The same unless `error` is 0.
inline void checkErrorCode( const char* file, int line, const char* expression, int error ) {
    if( error != 0 ) {
        throwSysAssertionFailed( file, line, expression, error );
    }
}
/// Raises ExProgramAborted. `message` may be null, as in the default branch of a switch.
[[noreturn]] QV_BASE_API void throwProgramAborted( const char* file, int line,
                                                   const char* message );
/// The same for what only a development build must stop at.
[[noreturn]] QV_BASE_API void throwDevelopmentProgramAborted( const char* file, int line,
                                                              const char* message );

} // namespace Assertions

} // namespace Qv

/// Raises ExAssertionFailed with the expression's own text. Always on.
#define QV_ASSERT( expression ) QV_ASSERT_TEXT( expression, #expression )

/// The same with a text that differs from the source.
#define QV_ASSERT_TEXT( condition, text )                                                          \
    ( ( condition ) ? static_cast<void>( 0 )                                                       \
                    : ::Qv::Assertions::throwAssertionFailed( QV_HERE, text ) )

/// The same for a system call: `error` is the error code, such as errno, read after the failure.
#define QV_SYS_ASSERT( expression, error )                                                         \
    ( ( expression ) ? static_cast<void>( 0 )                                                      \
                     : ::Qv::Assertions::throwSysAssertionFailed( QV_HERE, #expression, error ) )

/// The same for a call that returns its error code; the text is the call and " == 0".
#define QV_SYS_CALL_ASSERT( call ) ::Qv::Assertions::checkErrorCode( QV_HERE, #call " == 0", call )
