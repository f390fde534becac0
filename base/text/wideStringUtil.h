#pragma once

#include <base/qvBaseApi.h>

#include <string>
#include <string_view>

/// Conversion between narrow and wide text.
///
/// Narrow text is UTF-8 on this platform. Wide text is UTF-16 or UTF-32, as wchar_t has 16 or 32
/// bits; 16-bit text is UTF-16. The locale plays no part. Arguments may be C strings, which aren't
/// null, or strings, which may hold zero characters.
///
/// Malformed narrow text, such as a file's name in an old encoding, survives: `widen` turns each
/// byte b that belongs to no well-formed sequence (stray or missing continuation, overlong form,
/// surrogate, beyond U+10FFFF) into the lone surrogate U+DC00 + b, and `narrowMB` turns that back
/// into the byte. So `narrowMB( widen( text ) )` is `text`, whatever its bytes are.
///
/// Malformed wide text: what is neither a character nor such a byte, that is any other surrogate
/// without its partner, or a value beyond U+10FFFF, becomes U+FFFD in narrow text.
///
/// Errors: only std::bad_alloc.
namespace Qv::WideStringUtil {

/// The default by which `narrowReplace` replaces what can't be represented.
inline constexpr char _defaultReplaceChar = '?';

/// UTF-8 as wide text.
QV_BASE_API std::wstring widen( std::string_view text );
QV_BASE_API std::wstring widen( std::u16string_view text );

/// Wide text as UTF-8.
QV_BASE_API std::string narrowMB( std::wstring_view text );
QV_BASE_API std::string narrowMB( std::u16string_view text );

/// The same, but the result is well-formed whatever `text` is: `replacement` stands for each
/// character of `text` that isn't one, also for a byte that `widen` let survive.
QV_BASE_API std::string narrowReplace( std::wstring_view text,
                                       char replacement = _defaultReplaceChar );

} // namespace Qv::WideStringUtil
