#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace Qv {

/// What is wrong with a piece of a document.
struct XmlFault {
    /// Null if nothing is.
    const char* message = nullptr;
    /// The place in the piece.
    std::size_t index = 0;
};

/// Appends `text` to `result`, with a character in place of each reference, and returns the first
/// reference that is none; `result` then has what stands before it.
///
/// A number stands for the byte with its low 8 bits, and what follows its digits counts for
/// nothing, as does white space before them. Under `strict` a number stands for the character in
/// UTF-8, and must be all digits.
XmlFault resolveXmlReferences( std::string_view text, bool strict, std::string& result );

} // namespace Qv
