#pragma once

#include <string>

namespace Qv {

/// The type of the exception that is being handled, as a programmer writes it.
std::string currentExceptionType();

/// Type and text of the exception that is being handled, on one line; empty when there is none.
std::string currentExceptionText();

} // namespace Qv
