#pragma once

#include <resmgt/resmgtApi.h>

#include <cstddef>
#include <string>

namespace Qv {

/// Reads a text piece by piece.
class QV_RESMGT_API LiStringParser {
public:
    LiStringParser() = delete;

    /// Splits `text` at the first `separator`. False where there is none, or an empty one: `left`
    /// is the whole text then, and `right` empty. `text` may be one of the two.
    static bool splitString( const std::string& text, const std::string& separator,
                             std::string& left, std::string& right );
    /// The next token of `text` from `position` on, which moves behind it: what stands between
    /// characters of `delimiters`. Empty when nothing but delimiters is left.
    static std::string readToken( const std::string& text, std::size_t& position,
                                  const std::string& delimiters );
};

} // namespace Qv
