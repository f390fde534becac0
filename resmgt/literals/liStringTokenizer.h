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
    using const_iterator = std::vector<std::string>::const_iterator;

    LiStringTokenizer( const std::string& text, const std::string& delimiters );

    std::size_t nbTokens() const noexcept { return _tokens.size(); }
    const_iterator begin() const noexcept { return _tokens.begin(); }
    const_iterator end() const noexcept { return _tokens.end(); }

private:
    std::vector<std::string> _tokens;
};

} // namespace Qv
