#pragma once

#include <resmgt/osal/osFilePath.h>
#include <resmgt/osal/osFileTypes.h>

#include <memory>

namespace Qv {

class OsFile;
class OsOpenFile;

/// Writes and reads a file at one position, which starts at 0. A file that doesn't exist is made,
/// with the permissions less what the process's mask takes away.
///
/// Signals, sizes, unbuffered transfers, threads and errors are as with OsFileReader; besides:
/// Limit:    what would go beyond the process's limit for the size of files fails with EFBIG, here
///           as on a full volume. SIGXFSZ doesn't come, whatever the process does on it: it is
///           blocked in the calling thread around such a call.
/// Errors:   a full volume fails the assertion "toWrite == 0", with the system's reason. What the
///           constructor raises leaves no new file behind and the content of an old one untouched.
class QV_RESMGT_API OsFileWriter {
public:
    /// `truncate` empties an existing file; else its content stays.
    OsFileWriter( const OsFilePath& path, const OsFileTypes::Permissions& permissions,
                  bool truncate, bool unbuffered );
    OsFileWriter( const OsFile& file, const OsFileTypes::Permissions& permissions, bool truncate,
                  bool unbuffered );
    OsFileWriter( const OsFileWriter& ) = delete;
    OsFileWriter& operator=( const OsFileWriter& ) = delete;
    /// Closes what is open; a failure of that is traced. Call `close` to get it as an exception.
    ~OsFileWriter();

    /// Errors: a `size` above 4 GiB - 1 is an assertion.
    void write( const void* buffer, unsigned long long size );
    /// As OsFileReader::read.
    unsigned long long read( void* buffer, unsigned long long size );
    /// Returns the new position, which may lie behind the end.
    long long seek( long long offset, OsFileTypes::SeekMode mode );
    /// Fixes the file's length, longer or shorter, takes the space for all of it where the volume
    /// can, and sets the position to `size`. A failure leaves length, space and position as they
    /// were. Nobody else may change the file meanwhile.
    void reserve( unsigned long long size );
    const OsFilePath& getPath() const noexcept;
    /// It counts as closed also after a failure.
    void close();

private:
    const std::unique_ptr<OsOpenFile> _file;
};

} // namespace Qv
