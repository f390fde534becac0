#pragma once

#include <resmgt/osal/osFilePath.h>
#include <resmgt/osal/osFileTypes.h>

namespace Qv {

/// The open file of a reader or writer, and what the sequential ones do with it.
///
/// `where` is the location text of what an operation raises.
struct OsOpenFile {
    /// Raises ExSysErrorANSI for a file that is closed.
    void checkOpen( const char* where ) const;
    /// Raises ExSysErrorGeneric for an unbuffered transfer that is off.
    void checkAlignment( const void* buffer, long long offset, unsigned long long size,
                         const char* where ) const;
    /// Raises ExSysErrorWindows with the thread's last error.
    [[noreturn]] void raiseSystemError( const char* where ) const;

    /// At the current position.
    unsigned long long read( void* buffer, unsigned long long toRead, const char* where ) const;
    void write( const void* buffer, unsigned long long toWrite, const char* where ) const;

    long long seek( long long offset, OsFileTypes::SeekMode mode, const char* where ) const;
    /// Leaves the current position alone.
    void reserve( unsigned long long size, const char* where ) const;

    const OsFilePath& path;
    OsFileTypes::Handle handle;
    /// Of unbuffered transfers; else 1.
    unsigned long long alignment;
};

/// Closes it; it counts as closed in any case afterwards.
void closeFile( const OsFilePath& path, OsFileTypes::Handle& handle, const char* where );

/// The same for a destructor: nothing happens to a closed file, and a failure is traced.
void closeLeftFile( const OsFilePath& path, OsFileTypes::Handle& handle,
                    const char* where ) noexcept;

} // namespace Qv
