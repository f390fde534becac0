#pragma once

#include <string>

/// The texts at the head and the end of a log file.
namespace Qv::LgStartText {

/// `text` and the present local time, with the line end that `ctime` gives it.
std::string makeDated( const char* text );
/// The head of a file; with time stamps also the clock's frequency, for those who read them.
std::string makeHeader( bool hasTimeStamps );

} // namespace Qv::LgStartText
