#pragma once

#include <resmgt/resmgtApi.h>

#include <cstddef>
#include <string>
#include <vector>

namespace Qv {

/// The parts of a text between delimiters.
///
/// Each character of `delimiters` separates, and several in a row do so once: no token is empty.
/// Without delimiters the whole text is one token.
class QV_RESMGT_API LiStringTokenizer {
public:
    /// Goes through the tokens in the order of the text.
    using const_iterator = std::vector<std::string>::const_iterator;

    LiStringTokenizer( const std::string& text, const std::string& delimiters );

    /// How many tokens there are.
    std::size_t nbTokens() const noexcept { return _tokens.size(); }
    /// The first token.
    const_iterator begin() const noexcept { return _tokens.begin(); }
    /// Behind the last token.
    const_iterator end() const noexcept { return _tokens.end(); }

private:
    std::vector<std::string> _tokens;
};

} // namespace Qv
