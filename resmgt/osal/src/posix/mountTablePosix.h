#pragma once

#include <resmgt/osal/osDriveInfo.h>

#include <functional>
#include <string>
#include <string_view>
#include <vector>

namespace Qv {

/// One line of the system's table of what is mounted where.
struct Mount {
    /// Its number in the table, and that of the mount in which its place lies.
    std::string id;
    std::string parent;
    /// The numbers of the device, "8:1".
    std::string device;
    /// The directory at which it is seen.
    std::string place;
    /// Of the file system, "ext4".
    std::string type;
    /// "/dev/sda1", "server:/share"; means something for some types only.
    std::string source;
};

/// The table in the form of /proc/self/mountinfo; lines in another form are passed over.
std::vector<Mount> parseMountTable( std::string_view text );

/// Those that a person would look for and `isUsable` keeps, each device once: where it was mounted
/// first. What a mount over it or over a directory on the way hides isn't among them.
std::vector<Mount> selectVolumes( const std::vector<Mount>& mounts,
                                  const std::function<bool( const Mount& )>& isUsable );

OsDriveInfo::DriveType getDriveType( const Mount& mount, bool isRemovable );

/// What a person reads; `volumeLabel` may be empty.
std::string makeDriveLabel( const Mount& mount, OsDriveInfo::DriveType type,
                            const std::string& volumeLabel );

} // namespace Qv
