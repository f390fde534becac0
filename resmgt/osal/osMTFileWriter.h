#pragma once

#include <resmgt/osal/osFilePath.h>
#include <resmgt/osal/osFileTypes.h>

#include <memory>

namespace Qv {

class OsFile;
class OsOpenFile;

/// Writes and reads a file at offsets that each transfer names itself. A file that doesn't exist is
/// made, with the permissions less what the process's mask takes away.
///
/// Threads:  any number at once for `write` and `read`; `reserve` alone.
/// Signals, sizes and unbuffered transfers are as with OsMTFileReader, the limit for the size of
/// files as with OsFileWriter.
/// Errors:   as with OsFileWriter, but a full volume is an ExSysErrorWindows.
class QV_RESMGT_API OsMTFileWriter {
public:
    /// `truncate` empties an existing file; else its content stays.
    OsMTFileWriter( const OsFilePath& path, const OsFileTypes::Permissions& permissions,
                    bool truncate, bool unbuffered );
    OsMTFileWriter( const OsFile& file, const OsFileTypes::Permissions& permissions, bool truncate,
                    bool unbuffered );
    /// Takes over a file that was opened elsewhere for reading and writing, under `path`. It is
    /// closed also when this raises.
    OsMTFileWriter( const OsFilePath& path, OsFileTypes::Handle file, bool unbuffered );
    OsMTFileWriter( const OsMTFileWriter& ) = delete;
    OsMTFileWriter& operator=( const OsMTFileWriter& ) = delete;
    /// A failure to close is traced.
    ~OsMTFileWriter();

    /// Errors: a `size` above 4 GiB - 1 is an assertion. A negative `offset`, and one from which
    ///         the size goes beyond 2^63 - 1, is a failed call; nothing is written then.
    void write( const void* buffer, long long offset, unsigned long long size );
    /// As OsMTFileReader::read.
    unsigned long long read( void* buffer, long long offset, unsigned long long size );
    /// As OsFileWriter::reserve; there is no position to set.
    void reserve( unsigned long long size );
    const OsFilePath& getPath() const noexcept;

private:
    const std::unique_ptr<OsOpenFile> _file;
};

} // namespace Qv
