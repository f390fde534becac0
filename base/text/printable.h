#pragma once

#include <base/qvBaseApi.h>

#include <string>
#include <string_view>

/// Text from outside, such as a file's name or a setting, as it can go to a terminal or a log: with
/// nothing in it that a terminal takes for a command. What is printed is cleaned so, what is stored
/// is not.
///
/// Replaced: by "?", one for each: the control characters of ASCII and those that follow them in
///           Unicode (U+0080 to U+009F), and bytes that aren't UTF-8.
namespace Qv::Printable {

/// For text of several lines: line feeds and tabs stay.
QV_BASE_API std::string makeText( std::string_view text );

/// For what stands within a line: line feeds and tabs too are replaced, so that no name can pass
/// for a line of its own.
QV_BASE_API std::string makeLine( std::string_view text );

} // namespace Qv::Printable
