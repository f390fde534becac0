#pragma once

#include <resmgt/osal/osFilePath.h>
#include <resmgt/osal/osFileTypes.h>

/// What the portable part of the transfers needs of the platform: its calls on one file.
///
/// Signals: a call that one interrupts is made again. Growing a file beyond the process's limit for
///          the size of files fails and sends none.
/// Errors:  none is raised. After a failure the thread's last error is the platform's.
namespace Qv::OsFileCalls {

using OsFileTypes::Handle;

/// How the bytes of a file are going to be moved; on one platform it is opened differently.
enum class Transfers {
    /// By `read` and `write`, at its current position.
    SEQUENTIAL,
    /// By `readAt` and `writeAt`.
    POSITIONED
};

/// Its handle is INVALID_HANDLE after a failure.
struct Opened {
    Handle handle;
    /// What buffers, offsets and sizes are multiples of; 1 for buffered transfers.
    unsigned long long alignment;
};

/// Whatever isn't there to be read, such as a directory, fails.
Opened openForReading( const OsFilePath& path, Transfers transfers, bool unbuffered );
/// A failure leaves no new file behind and the content of an old one untouched.
Opened openForWriting( const OsFilePath& path, Transfers transfers,
                       const OsFileTypes::Permissions& permissions, bool truncate,
                       bool unbuffered );
/// Makes ready what was opened elsewhere; closed after a failure.
Opened adopt( Handle handle, bool unbuffered );
/// The handle is gone also after a failure.
bool close( Handle handle );

enum class Outcome {
    MOVED,
    /// For want of memory or the like: fewer bytes may go.
    NO_RESOURCES,
    DISK_FULL,
    FAILED
};

/// What became of one request.
struct Moved {
    Outcome outcome;
    /// May be fewer than asked for; 0 is the end of the file.
    unsigned long long count;
};

/// At the current position, which moves.
Moved read( Handle handle, void* to, unsigned long long size );
Moved write( Handle handle, const void* from, unsigned long long size );
/// At `offset`; the current position doesn't matter.
Moved readAt( Handle handle, void* to, long long offset, unsigned long long size );
Moved writeAt( Handle handle, const void* from, long long offset, unsigned long long size );

/// Returns the new position, -1 after a failure.
long long seek( Handle handle, long long offset, OsFileTypes::SeekMode mode );
/// Whether `position` is the end of the file or behind it. False where that isn't known.
bool isAtEnd( Handle handle, long long position );

/// Fixes the file's length and takes the space for it where the volume can. A failure gives back
/// what was taken. The current position stays.
bool reserve( Handle handle, unsigned long long size );
/// The same for the part from `begin` up to `end` of a file that others may write meanwhile: it is
/// made long enough, never shorter, and a failure leaves space that was taken for holes.
bool reservePart( Handle handle, unsigned long long begin, unsigned long long end );

} // namespace Qv::OsFileCalls
