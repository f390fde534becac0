#pragma once

#include <resmgt/osal/osFilePath.h>

#include <dirent.h>

namespace Qv {

/// As `opendir`, but it goes on after signals, and the descriptor is never 0, 1 or 2.
DIR* openDirectory( const char* path );

/// Reads the names in a directory, in the system's order. "." and ".." are passed over, as are
/// names that a path can't hold because they hold a back-slash; these are traced.
///
/// Errors: none is raised; errno has them.
class DirectoryStream {
public:
    DirectoryStream() = default;
    DirectoryStream( const DirectoryStream& ) = delete;
    DirectoryStream& operator=( const DirectoryStream& ) = delete;
    ~DirectoryStream();

    /// REQUIRES: it isn't open. False on failure.
    bool open( const OsFilePath& directory );
    /// The same for `folder`, which is open for reading and which `directory` led to.
    bool open( int folder, const OsFilePath& directory );
    bool isOpen() const noexcept { return _stream != nullptr; }
    /// Closes it in any case. False on failure.
    bool close();

    /// The next name, valid until the next call. Null at the end, with errno 0, and on failure,
    /// with the error.
    const char* next();
    /// The open directory's.
    int getDescriptor() const;

private:
    OsFilePath _directory;
    DIR* _stream = nullptr;
};

} // namespace Qv
