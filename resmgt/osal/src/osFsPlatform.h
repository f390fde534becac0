#pragma once

#include <resmgt/osSupport/osDateTypes.h>
#include <resmgt/osal/osFilePath.h>
#include <resmgt/osal/osFileTypes.h>

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>

/// What the portable part of the file-system operations needs of the platform, beside OsFolder.
///
/// Errors: after a failure the thread's last error is the platform's. None is raised but for a lack
///         of descriptors or memory where the result would pass for an answer: ExSysErrorWindows.
namespace Qv::OsFsPlatform {

/// Whether there is an entry of exactly this name, be it a link that leads nowhere.
bool entryExists( const OsFilePath& path );
/// Whether there is an entry that matches the wildcards of the last component; false without any.
bool hasMatch( const OsFilePath& path );

/// What became of reading a file whole.
enum class Reading {
    DONE,
    /// A directory, a pipe or the like.
    NOT_REGULAR,
    TOO_LARGE,
    FAILED
};

/// As OsFileUtils::readRegularFile.
Reading readRegularFile( const OsFilePath& path, std::size_t most,
                         std::optional<std::string>& text );

/// Distinguishes files of one machine, whatever their names are.
struct FileId {
    bool operator==( const FileId& ) const = default;

    std::uint64_t volume;
    std::uint64_t number;
};

enum class Kind {
    PLAIN,
    DIRECTORY,
    LINK,
    /// A pipe, a socket or a device.
    SPECIAL
};

struct Facts {
    FileId id;
    Kind kind;
};

/// Of an open file.
std::optional<Facts> getFacts( OsFileTypes::Handle handle );
/// Of what `path` is or leads to; nothing if it can't be asked.
std::optional<FileId> getFileId( const OsFilePath& path );

/// Asked of the file server, past what this machine remembers of the file.
std::optional<OsDateTypes::DateRep> askModificationTime( const OsFilePath& path );

/// Takes the content of an open plain file away.
bool empty( OsFileTypes::Handle handle );
/// The same of the file that `path` is or leads to, which is made if there is none by then.
bool emptyOrMake( const OsFilePath& path, const OsFileTypes::Permissions& permissions );

/// The absolute path without links to an existing file; empty if it isn't known.
OsFilePath getPathWithoutLinks( const OsFilePath& path );

/// The system's directory for temporary files, which all users may share.
OsFilePath getSystemTempDir();
/// The user's directory for what can be made again, which is made if it isn't there. Empty for a
/// user without a home.
OsFilePath makeCacheDir();
/// Distinguishes this process's user from all others, in the name of a file.
std::string getUserMark();
/// Makes the directory for this process's user alone; one that is there must be this user's, no
/// link, and is closed to all others. Returns what is wrong with it, such as "is a link"; nothing
/// when it is had.
std::string claimDirectory( const OsFilePath& path );

} // namespace Qv::OsFsPlatform
