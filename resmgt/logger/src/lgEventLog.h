#pragma once

#include <resmgt/logger/lgTypes.h>

/// The system's log service as the event log.
namespace Qv::LgEventLog {

/// Reports `message`, a line end at its end aside, behind the name of the application. Nothing is
/// reported before that has registered its record.
///
/// The connection is the process's own, which may have been opened under a name of the
/// application's; so the source stands in the text. The user is known to the service, which gets
/// the sender's identity from the system.
/// Errors: none; a service that isn't there takes nothing.
void report( LgTypes::Level level, const char* message ) noexcept;

} // namespace Qv::LgEventLog
