#pragma once

#include <base/qvBaseApi.h>

/// The standard output as the library's messages use it.
///
/// Threads: all operations are for any thread, also before `main`.
/// Errors:  a failed system call raises ExSysErrorANSI.
namespace Qv::ExStdout {

/// Where the process has no standard output, `printAtomically` from now on appends to the file
/// `path`, UTF-8, which is created for this user alone if need be. A standard output that is there
/// stays, and no file is touched. Once there is a file a further call changes it. On failure
/// everything stays as before.
QV_BASE_API void initialize( const char* path );

/// Writes the whole text, not interleaved with another thread's, at once and past the buffers of
/// the language's own output streams. Blocks until all is written. What a terminal would take for a
/// command is replaced, see Printable::makeText.
QV_BASE_API void printAtomically( const char* text );

/// Whether prints go to a regular file: that of `initialize`, or one that the process was started
/// with.
QV_BASE_API bool isRedirectedToAFile();

} // namespace Qv::ExStdout
