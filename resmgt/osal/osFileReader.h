#pragma once

#include <resmgt/osal/osFilePath.h>
#include <resmgt/osal/osFileTypes.h>

#include <memory>

namespace Qv {

class OsFile;
class OsOpenFile;

/// Reads an existing file, from its start on.
///
/// Signals:  an interrupted transfer and one that the system cuts short go on.
/// Sizes:    large reads go to the system in pieces of 32 MiB; where it lacks resources for that,
///           in halves of it, quarters and so on down to 8192 bytes. The last piece is tried once.
/// Unbuffered: bypasses the system's file cache. Buffer, position and size of each read must be
///           multiples of the volume's `UnbufferedInfo::sectorSize`; a read at or behind the end
///           may have any position. Where the volume doesn't support it, the file can't be opened
///           so.
/// Threads:  one at a time.
/// Errors:   OsFileEx::ExNullFilePath for an empty path; ExSysErrorWindows with operation and path
///           for a failed system call, also for a directory; ExSysErrorGeneric for an unbuffered
///           transfer that is off; ExSysErrorANSI on a closed reader. After a failed transfer it
///           stays open, and the position is where the transfer got to.
class QV_RESMGT_API OsFileReader {
public:
    OsFileReader( const OsFilePath& path, bool unbuffered );
    OsFileReader( const OsFile& file, bool unbuffered );
    OsFileReader( const OsFileReader& ) = delete;
    OsFileReader& operator=( const OsFileReader& ) = delete;
    /// Closes what is open; a failure of that is traced.
    ~OsFileReader();

    /// Returns the bytes read: fewer than `size` only at the end of the file, where it is 0.
    ///
    /// Errors: a `size` above 4 GiB - 1 is an assertion.
    unsigned long long read( void* buffer, unsigned long long size );
    /// Returns the new position, which may lie behind the end.
    long long seek( long long offset, OsFileTypes::SeekMode mode );
    /// In bytes, as the file at this path was at the first call: how it grows isn't seen.
    unsigned long long getSize() const;
    const OsFilePath& getPath() const noexcept;
    /// It counts as closed also after a failure.
    void close();

private:
    const std::unique_ptr<OsOpenFile> _file;
};

} // namespace Qv
