#pragma once

#include <resmgt/osal/osFilePath.h>
#include <resmgt/osal/osFileTypes.h>

#include <cstdint>
#include <optional>

/// What the portable part of the file-system operations needs of the platform.
///
/// Errors: none is raised. After a failure the thread's last error is the platform's.
namespace Qv::OsFsPlatform {

/// What became of the attempt to make a file or directory.
enum class Making {
    MADE,
    EXISTS,
    PARENT_MISSING,
    /// For lack of rights.
    DENIED,
    FAILED
};

/// Missing parents and what exists are told, not dealt with.
Making makeDirectory( const OsFilePath& path, const OsFileTypes::Permissions& permissions );
/// The same for an empty file. One that exists loses its content unless `exclusive`.
Making makeFile( const OsFilePath& path, const OsFileTypes::Permissions& permissions,
                 bool exclusive );

/// Whether there is an entry of exactly this name, be it a link that leads nowhere.
bool entryExists( const OsFilePath& path );
/// Whether there is an entry that matches the wildcards of the last component; false without any.
bool hasMatch( const OsFilePath& path );

/// Whether it is or leads to something that is neither directory nor plain data: a pipe, a socket
/// or a device.
bool isSpecial( const OsFilePath& path );

/// Tells files of one machine apart, whatever their names are.
struct FileId {
    bool operator==( const FileId& ) const = default;

    std::uint64_t volume;
    std::uint64_t number;
};

/// Of what `path` is or leads to; nothing if it can't be asked.
std::optional<FileId> getFileId( const OsFilePath& path );

/// The absolute path without links to an existing file; empty if it can't be told.
OsFilePath getPathWithoutLinks( const OsFilePath& path );

} // namespace Qv::OsFsPlatform
