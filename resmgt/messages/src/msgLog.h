#pragma once

#include <string>

/// The log group of this package.
namespace Qv::MsgLog {

/// Prints "[Messages] " and the text as one line, through ExStdout. Where there is no output to
/// print to that is reported through Trace.
void print( const std::string& text );

} // namespace Qv::MsgLog
