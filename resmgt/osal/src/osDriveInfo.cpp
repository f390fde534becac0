#include <resmgt/osal/osDriveInfo.h>

namespace Qv {

OsDriveInfo::OsDriveInfo( const OsFileInfo& root, DriveStatus status, const std::string& label,
                          DriveType type, const std::string& name, std::uint64_t totalSpace,
                          std::uint64_t freeSpace )
    : OsFileInfo( root )
    , _status( status )
    , _label( label )
    , _driveType( type )
    , _name( name )
    , _totalSpace( totalSpace )
    , _freeSpace( freeSpace ) {}

} // namespace Qv
