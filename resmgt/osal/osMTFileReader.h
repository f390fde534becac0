#pragma once

#include <resmgt/osal/osFilePath.h>
#include <resmgt/osal/osFileTypes.h>

#include <memory>

namespace Qv {

class OsFile;
class OsOpenFile;

/// Reads an existing file at offsets that each read names itself.
///
/// Threads:  any number at once.
/// Signals, sizes and unbuffered transfers are as with OsFileReader, but for these:
/// Sizes:    pieces are halved down to 8192 bytes whatever the size.
/// Unbuffered: the offset must be a multiple too, at the end of the file as well.
/// Errors:   as with OsFileReader. It stays usable after a failed read.
class QV_RESMGT_API OsMTFileReader {
public:
    OsMTFileReader( const OsFilePath& path, bool unbuffered );
    OsMTFileReader( const OsFile& file, bool unbuffered );
    /// Takes over a file that was opened elsewhere for reading, under `path`. It is
    /// closed also when this raises.
    OsMTFileReader( const OsFilePath& path, OsFileTypes::Handle file, bool unbuffered );
    OsMTFileReader( const OsMTFileReader& ) = delete;
    OsMTFileReader& operator=( const OsMTFileReader& ) = delete;
    /// A failure to close is traced.
    ~OsMTFileReader();

    /// Returns the bytes read: fewer than `size` only at the end of the file, where it is 0.
    ///
    /// Errors: a `size` above 4 GiB - 1 is an assertion; a negative `offset` is a failed call.
    unsigned long long read( void* buffer, long long offset, unsigned long long size );
    /// In bytes, as the file at this path was at the first call: how it grows isn't seen.
    unsigned long long getSize() const;
    const OsFilePath& getPath() const noexcept;

private:
    const std::unique_ptr<OsOpenFile> _file;
};

} // namespace Qv
