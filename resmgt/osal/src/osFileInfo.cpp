#include <resmgt/osal/osFileInfo.h>

namespace Qv {

OsFileInfo::OsFileInfo( const OsFilePath& path, const std::string& owner,
                        OsFileTypes::ElementType type, std::uint64_t size,
                        const OsDateTypes::DateRep& modificationTime,
                        const OsDateTypes::DateRep& creationTime )
    : _path( path )
    , _owner( owner )
    , _type( type )
    , _size( size )
    , _modificationTime( modificationTime )
    , _creationTime( creationTime ) {}

bool OsFileInfo::operator==( const OsFileInfo& other ) const {
    return _path == other._path && _owner == other._owner && _type == other._type &&
           _size == other._size && _modificationTime == other._modificationTime &&
           _creationTime == other._creationTime;
}

} // namespace Qv
