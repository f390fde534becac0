#pragma once

#include <string_view>

namespace Qv {

/// Whether all of `text` matches `pattern`, in which "*" stands for any run of characters, also an
/// empty one, and "?" for exactly one.
///
/// Cost: at most the product of the two lengths: only the last "*" that was met is tried again.
bool wildcardMatch( std::wstring_view text, std::wstring_view pattern );

} // namespace Qv
