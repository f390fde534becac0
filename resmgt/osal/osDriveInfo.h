#pragma once

#include <resmgt/osal/osFileInfo.h>

namespace Qv {

/// A drive or mounted volume as it was when asked; its file part is that of its root directory.
class QV_RESMGT_API OsDriveInfo : public OsFileInfo {
public:
    /// Whether a drive can be used.
    enum DriveStatus : int { READY = 0 };
    /// What a drive is.
    enum DriveType : int {
        UNKNOWN = 0,
        NO_ROOT_DIRECTORY = 1,
        REMOVABLE = 2,
        FIXED = 3,
        REMOTE = 4,
        OPTICAL = 5,
        RAM_DISK = 6
    };

    /// `label` is for people, `name` the drive's own: "C:", or where the volume is mounted. Space
    /// is in bytes, 0 where it isn't known.
    OsDriveInfo( const OsFileInfo& root, DriveStatus status, const std::string& label,
                 DriveType type, const std::string& name, std::uint64_t totalSpace,
                 std::uint64_t freeSpace );

    DriveStatus getStatus() const noexcept { return _status; }
    const std::string& getLabel() const noexcept { return _label; }
    DriveType getDriveType() const noexcept { return _driveType; }
    const std::string& getName() const noexcept { return _name; }
    std::uint64_t getTotalSpace() const noexcept { return _totalSpace; }
    /// The space that this process's user may fill.
    std::uint64_t getFreeSpace() const noexcept { return _freeSpace; }

private:
    DriveStatus _status;
    std::string _label;
    DriveType _driveType;
    std::string _name;
    std::uint64_t _totalSpace;
    std::uint64_t _freeSpace;
};

} // namespace Qv
