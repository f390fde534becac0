#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace Qv {

/// What a document says, in a form that doesn't depend on who read it: element by element with the
/// attributes in the order in which they stand, and the texts.
///
///     (a b=c 'd' )
///
/// Left out is what XmlParser leaves out, or what other parsers change: white space that texts
/// begin with, and texts that are nothing else; a carriage return before a line feed. Others are
/// line feeds. White space in values is blanks.
std::string canonicalByQv( const std::string& text, bool strict );

/// None for a document that is refused. What lies outside, such as an external subset, isn't read.
std::optional<std::string> canonicalByExpat( std::string_view text );
std::optional<std::string> canonicalByLibxml2( std::string_view text );

} // namespace Qv
