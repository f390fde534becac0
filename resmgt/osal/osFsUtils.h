#pragma once

#include <base/containers/vector.h>
#include <base/ownership/oPtr.h>
#include <resmgt/osSupport/osDateTypes.h>
#include <resmgt/osal/osDriveEntryDescriptor.h>
#include <resmgt/osal/osDriveInfo.h>
#include <resmgt/osal/osFilePath.h>
#include <resmgt/osal/osFileTypes.h>

namespace Qv {

/// Operations of the file system on paths.
///
/// Errors:  ExSysErrorWindows with the operation and the path for a failed system call; what else
///          is raised stands below. To the four questions what can't be asked isn't there; only
///          for want of descriptors or memory they raise.
/// Threads: any.
class QV_RESMGT_API OsFsUtils {
public:
    OsFsUtils() = delete;

    /// Whether there is an entry of that name, also a link that leads nowhere; or, where "*" and
    /// "?" stand in the last component, an entry that matches it. "." and ".." match no pattern.
    static bool fileExists( const OsFilePath& path );
    /// Whether it is, or leads to, a directory.
    static bool isDirectory( const OsFilePath& path );
    /// Whether it is, or leads to, anything else.
    static bool isFile( const OsFilePath& path );
    static bool isSymLink( const OsFilePath& path );

    /// Makes a directory with the permissions (3, 1, 1).
    /// Errors: ExInternalError if the path is a file. A directory that exists is a failure unless
    ///         it is to be ignored.
    static void createDir( const OsFilePath& path, bool ignoreExisting );
    /// Makes a directory, and its parents that are missing, with the permissions (3, 1, 1);
    /// returns how many were made, 0 if there is anything of that name. Nothing at or above `top`
    /// is made, unless that is empty. Each directory that was made is the one in which the next is
    /// made, whatever has its name by then.
    /// Errors: OsFileEx::ExNullFilePath. A parent that is missing and may not be made is the one
    ///         that is quoted. Parents that were made before a failure stay.
    static int createDirPath( const OsFilePath& path, const OsFilePath& top );
    /// The same for an empty file in these directories, `permissions` being the file's.
    static int createFilePath( const OsFilePath& path, const OsFilePath& top,
                               const OsFileTypes::Permissions& permissions );
    /// Makes an empty file; one that exists loses its content and keeps its permissions.
    /// Errors: OsFileEx::ExNullFilePath; OsFileEx::ExFileExists if `exclusive` and there is one.
    static void createFile( const OsFilePath& path, const OsFileTypes::Permissions& permissions,
                            bool exclusive );
    /// Gives the file that `from` is, or leads to, the second name `to`.
    /// Errors: OsFileEx::ExFileExists; OsFileEx::ExUnHardlinkableFs where the volume or the system
    ///         grants no such link; OsFileEx::ExInvalidCrossDeviceLink.
    static void createHardLink( const OsFilePath& from, const OsFilePath& to );
    /// The same, but copies where there can't be a link, to a file that this makes itself.
    /// Errors: OsFileEx::ExInvalidPath without `from`, OsFileEx::ExFileExists with `to`.
    static void hardLinkOrCopy( const OsFilePath& from, const OsFilePath& to );

    /// Removes a file or a link.
    static void deleteFile( const OsFilePath& path );
    /// Removes an empty directory.
    static void removeDir( const OsFilePath& path );

    /// In bytes, of the volume that holds `path`.
    static unsigned long long getTotalSpace( const OsFilePath& path );
    /// The bytes that this process's user may fill.
    static unsigned long long getFreeSpace( const OsFilePath& path );

    /// Whether paths begin with drives on this platform.
    static bool supportDrives();
    /// The next drive of `descriptor`, null at its end.
    static OPtrRet<OsDriveInfo> getDriveInfo( OsDriveEntryDescriptor& descriptor );
    static OPtrRet<Vector<OsDriveInfo>> getAllDriveInfo();

    /// The file that swallows all that is written and is always empty.
    static const OsFilePath& getNullDevicePath();
    /// The present time by the clock of the file system that holds `path`, a network server for
    /// instance: that of a file which is made there for a moment.
    /// Errors: OsFileEx::ExNullFilePath.
    static OPtrRet<OsDateTypes::DateRep> getServerTime( const OsFilePath& path );

private:
    friend class OsFileUtils;

    static int createPath( const OsFilePath& path, OsFileTypes::ElementType type,
                           const OsFilePath& top, const OsFileTypes::Permissions& permissions,
                           bool exclusive );
};

} // namespace Qv
