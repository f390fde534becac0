#pragma once

#include <resmgt/osal/src/osFolder.h>
#include <resmgt/osal/src/osOpenFile.h>

#include <optional>

namespace Qv {

/// What a copy may meet in the place of its target.
enum class Existing {
    /// All that can be written. A link that stands there before the copy is followed.
    ANYTHING,
    PLAIN_FILE,
    NOTHING
};

/// The file that a copy reads, open until it goes or is closed.
class OsCopySource {
public:
    /// Takes over what opening `path` gave; raises the system's error with OsFileReader's location
    /// if that is INVALID_HANDLE.
    OsCopySource( const OsFilePath& path, OsFileTypes::Handle handle );

    OsFileTypes::Handle getHandle() const noexcept { return _file.getHandle(); }
    unsigned long long read( void* block, unsigned long long size );
    void close();

private:
    OsOpenFile _file;
};

/// A file to be written with the content of another one. It keeps its identity if it exists; a new
/// one gets the permissions (3, 3, 0).
///
/// Links:  none that comes up once this is made is followed.
/// Errors: the system's with OsFileWriter's and OsFileReader's locations.
class OsFileCopy {
public:
    /// `name` is in `folder`, which stays open meanwhile.
    /// Errors: OsFileEx::ExFileExists with the location `where` for what isn't welcome,
    ///         OsFileEx::ExPathNotWritable.
    OsFileCopy( const OsFolder& folder, const OsFilePath& name, Existing existing,
                const char* where );

    /// Closes the source.
    /// Errors: OsFileEx::ExFileExists for what isn't welcome; OsFileEx::ExInvalidPath for the
    ///         source itself. After a failure the file that was made, and no other, is removed; one
    ///         that existed has lost its content.
    void run( OsCopySource& source ) const;

private:
    class Target;

    const OsFolder& _folder;
    const OsFilePath _name;
    const OsFilePath _path;
    const Existing _existing;
    const char* const _where;
    std::optional<OsFsPlatform::Facts> _before;
};

/// The directory `name` of `folder`, which takes in what is copied to that name; nothing if there
/// is none. Errors: the system's with OsFileWriter's location if it can't be opened.
std::optional<OsFolder> findDirectory( const OsFolder& folder, const OsFilePath& name,
                                       OsFolder::Links links );

/// Copies a file, whatever can be read, to `target`.
void copyFile( const OsFilePath& from, const OsPlace& target, Existing existing,
               const char* where );

} // namespace Qv
