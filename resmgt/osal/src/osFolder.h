#pragma once

#include <resmgt/osal/osFilePath.h>
#include <resmgt/osal/osFileTypes.h>
#include <resmgt/osal/src/osFsPlatform.h>

#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace Qv {

/// An open directory. Wherever its path leads a moment later, what is done in it is done there.
///
/// Names:  of entries, as paths of one component. `current` takes any path for a name, and the
///         links on the way are followed.
/// Links:  what makes or removes an entry never follows one that stands there.
/// Errors: after a failure the thread's last error is the platform's. Only `look` raises,
///         ExSysErrorWindows for a lack of descriptors or memory, which would pass for an answer.
class OsFolder {
public:
    enum class Links { FOLLOW, REFUSE };

    /// What became of the attempt to make a file or directory.
    enum class Making {
        MADE,
        EXISTS,
        PARENT_MISSING,
        /// For lack of rights.
        DENIED,
        FAILED
    };

    /// Its handle is INVALID_HANDLE unless it is MADE.
    struct NewFile {
        Making making;
        OsFileTypes::Handle handle;
    };

    /// The path of an entry `name`, alone.
    static OsFilePath toName( const std::string& name );

    /// The process's current directory.
    static OsFolder current();
    OsFolder( OsFolder&& other ) noexcept;
    OsFolder& operator=( OsFolder&& other ) noexcept;
    ~OsFolder();

    /// Opens a directory of this one; needs no more rights than its path would. Isn't open after a
    /// failure, such as for what is no directory.
    OsFolder open( const OsFilePath& name, Links links ) const;
    /// The same to `list` it once, for which it must be readable. Links are followed.
    OsFolder openForListing( const OsFilePath& name ) const;
    bool isOpen() const noexcept { return _handle != OsFileTypes::INVALID_HANDLE; }
    /// As it was put together when this was opened.
    const OsFilePath& getPath() const noexcept { return _path; }

    /// Nothing if it can't be asked.
    std::optional<OsFsPlatform::Facts> getFacts() const;
    /// Of the entry itself if links are refused, else of what it leads to.
    std::optional<OsFsPlatform::Facts> look( const OsFilePath& name, Links links ) const;
    /// The names of all entries but those that no path can hold; nothing after a failure.
    std::optional<std::vector<OsFilePath>> list() const;

    Making makeDirectory( const OsFilePath& name,
                          const OsFileTypes::Permissions& permissions ) const;
    /// Makes an empty file.
    Making makeFile( const OsFilePath& name, const OsFileTypes::Permissions& permissions ) const;
    /// Makes a file for reading and writing. The caller closes it.
    NewFile makeOpenFile( const OsFilePath& name,
                          const OsFileTypes::Permissions& permissions ) const;

    /// Opens a plain file, or what a link to one leads to, for reading. The caller closes it.
    OsFileTypes::Handle openForReading( const OsFilePath& name ) const;
    /// Opens what exists for reading and writing. The caller closes it.
    OsFileTypes::Handle openForWriting( const OsFilePath& name, Links links ) const;

    /// Removes a file or a link.
    bool removeFile( const OsFilePath& name ) const;
    /// Removes a file that was made here, unless another one has its name by now.
    bool removeFileIfStill( const OsFilePath& name, const OsFsPlatform::FileId& id ) const;
    /// Removes an empty directory.
    bool removeDirectory( const OsFilePath& name ) const;

private:
    OsFolder( OsFileTypes::Handle handle, OsFilePath path ) noexcept
        : _handle( handle )
        , _path( std::move( path ) ) {}
    OsFolder openAs( const OsFilePath& name, int how ) const;

    OsFileTypes::Handle _handle;
    OsFilePath _path;
};

/// A name in an open folder.
struct OsPlace {
    /// Where `path` is an entry. Its folder isn't open if that fails.
    static OsPlace of( const OsFilePath& path );
    OsFilePath getPath() const { return folder.getPath() + name; }

    OsFolder folder;
    OsFilePath name;
};

} // namespace Qv
