#pragma once

#include <string>

namespace Qv::MtFatalEnd {

/// Ends the process because of an exception that has left the body of a thread, after all who want
/// to know have been informed.
[[noreturn]] void onUnhandled( const char* exception, const std::string& threadName,
                               const char* callStack ) noexcept;

} // namespace Qv::MtFatalEnd
