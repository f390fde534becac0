#pragma once

#include <string>

/// The log group of this package.
namespace Qv::MsgLog {

/// `text` as it can go to a terminal: control characters other than line feed and tab, and what
/// isn't UTF-8, become "?".
std::string makePrintable( const std::string& text );

/// Prints "[Messages] " and the printable text as one line. Where there is no output to print to
/// that is reported through Trace.
void print( const std::string& text );

} // namespace Qv::MsgLog
