#pragma once

namespace Qv {

/// Logs the exception that is being handled, which goes no further, behind `what`.
void logFailure( const char* what ) noexcept;

} // namespace Qv
