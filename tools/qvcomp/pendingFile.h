#pragma once

#include <resmgt/osal/osFileWriter.h>

#include <cstdint>
#include <optional>

namespace Qv::Comp {

/// A new file that gets its name only when it is complete; until then it lies in the same folder
/// under a name of its own, which goes with this object.
///
/// Errors: Failure that names the file and what the system said.
class PendingFile {
public:
    /// An existing file is replaced in the end. One that isn't a plain file is refused.
    explicit PendingFile( const OsFilePath& path );
    PendingFile( const PendingFile& ) = delete;
    PendingFile& operator=( const PendingFile& ) = delete;
    ~PendingFile();

    const OsFilePath& getPath() const noexcept { return _path; }
    /// Writes `size` bytes from byte `offset` on.
    void write( std::uint64_t offset, const void* bytes, std::size_t size );
    /// Gives the file its name.
    void commit();

private:
    void removeTemporary() noexcept;
    [[noreturn]] void fail( const std::string& reason ) const;

    OsFilePath _path;
    OsFilePath _temporary;
    std::optional<OsFileWriter> _writer;
};

} // namespace Qv::Comp
