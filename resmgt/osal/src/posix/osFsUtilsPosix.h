#pragma once

#include <base/files/retryPosix.h>
#include <resmgt/osal/osFileInfo.h>
#include <resmgt/osal/osFilePath.h>
#include <resmgt/osal/src/osFsPlatform.h>

#include <cerrno>
#include <optional>
#include <string>

#include <sys/stat.h>

namespace Qv {

/// The steps that files, directories and their descriptors share.
class OsFsUtilsPosix {
public:
    OsFsUtilsPosix() = delete;

    /// All that `makeInfo` needs.
    static constexpr unsigned int INFO_FIELDS =
        STATX_TYPE | STATX_UID | STATX_SIZE | STATX_MTIME | STATX_CTIME | STATX_BTIME;

    /// Asks for `fields` of `name` in the open directory `folder`, or AT_FDCWD. `flags` may be
    /// AT_SYMLINK_NOFOLLOW. False with errno on failure.
    static bool getStatus( int folder, const char* name, int flags, unsigned int fields,
                           struct statx& status );
    /// The same for a path, whose links are followed.
    static bool getStatus( const OsFilePath& path, unsigned int fields, struct statx& status );

    /// Of `name` in `folder`, with flags as for `statx`. Nothing with errno on failure.
    static std::optional<OsFsPlatform::Facts> getFacts( int folder, const char* name, int flags );
    /// Removes a file that was made here, unless another one has its name by now. False on failure.
    static bool unlinkIfStill( int folder, const char* name, const OsFsPlatform::FileId& id );
    /// Whether the error is that of a process or machine short of descriptors or memory, which is
    /// no answer about any file.
    static bool isExhaustion( int error ) noexcept {
        return error == EMFILE || error == ENFILE || error == ENOMEM;
    }
    /// As `getStatus`, for a question that false is an answer to.
    /// Errors: ExSysErrorWindows with `where`, for exhaustion.
    static bool findStatus( const OsFilePath& path, int flags, unsigned int fields,
                            struct statx& status, const char* where );

    /// REQUIRES: `status` has INFO_FIELDS. Raises what `getAccountName` does.
    static OsFileInfo makeInfo( const OsFilePath& path, const struct statx& status );
    static OsFileTypes::ElementType getType( const struct statx& status );
    static OsDateTypes::DateRep getModificationTime( const struct statx& status );
    /// The earliest time that is known where the volume keeps none of the creation.
    static OsDateTypes::DateRep getCreationTime( const struct statx& status );

    /// The account's name, or its number where it has none. It is looked up once for each thread.
    /// Errors: ExSysErrorWindows, with `path`, if it can't be looked up.
    static const std::string& getAccountName( uid_t account, const OsFilePath& path );
};

} // namespace Qv
