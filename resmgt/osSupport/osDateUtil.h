#pragma once

#include <resmgt/osSupport/osDateTypes.h>

#include <string>

/// Operations on dates.
///
/// Threads: any. The time zone is the process's, as the system read it when first asked; a later
///          change of the environment isn't seen.
namespace Qv::OsDateUtil {

/// The result of comparing `date` with `other`: OLDER is -1, SAME 0, NEWER 1.
QV_RESMGT_API OsDateTypes::Comparison compare( const OsDateTypes::DateRep& date,
                                               const OsDateTypes::DateRep& other ) noexcept;

/// The present time by the machine's clock, which can be set back. A file system stamps with a
/// clock that lags behind this one by some milliseconds, or with a server's: a file that is
/// written after this call may bear a slightly older time.
QV_RESMGT_API OsDateTypes::DateRep now() noexcept;

/// `date` as local time, in a format of `strftime`: "%H%M%S". Fractions of a second aren't written.
///
/// Errors: ExSysErrorWindows for a date whose year the system can't express, ExSysErrorGeneric for
///         a text of more than 64 KiB.
QV_RESMGT_API std::string toLocalText( const OsDateTypes::DateRep& date, const char* format );

} // namespace Qv::OsDateUtil
