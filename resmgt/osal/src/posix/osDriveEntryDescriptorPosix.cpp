#include <resmgt/osal/osDriveEntryDescriptor.h>

#include <base/failure/exSysError.h>
#include <resmgt/osSupport/osDateUtil.h>
#include <resmgt/osal/osFsUtils.h>
#include <resmgt/osal/src/posix/directoryStreamPosix.h>
#include <resmgt/osal/src/posix/kernelFilePosix.h>
#include <resmgt/osal/src/posix/mountTablePosix.h>
#include <resmgt/osal/src/posix/osFsUtilsPosix.h>

#include <cerrno>
#include <cstddef>
#include <memory>
#include <optional>

#include <dirent.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>

namespace Qv {

namespace {

constexpr const char* WHERE = "OsFsUtils::getDriveInfos";

void checkNoExhaustion( const std::string& path ) {
    if( OsFsUtilsPosix::isExhaustion( errno ) ) {
        throw ExSysErrorWindows( QV_HERE, WHERE, path.c_str() );
    }
}

bool isRemovable( const Mount& mount ) {
    // A partition doesn't know; its disk does.
    for( const char* const place : { "/removable", "/../removable" } ) {
        const std::string path = "/sys/dev/block/" + mount.device + place;
        const auto answer = readKernelFile( path );
        if( answer ) {
            return answer->starts_with( '1' );
        }
        checkNoExhaustion( path );
    }
    return false;
}

/// The name of an entry below /dev/disk/by-label: what isn't harmless stands as "\x20".
std::string decodeLabel( const std::string& name ) {
    const auto isHex = []( const std::string& digits ) {
        return digits.size() == 2 &&
               digits.find_first_not_of( "0123456789abcdefABCDEF" ) == std::string::npos;
    };
    std::string label;
    for( std::size_t i = 0; i < name.size(); ++i ) {
        if( name.compare( i, 2, "\\x" ) == 0 && isHex( name.substr( i + 2, 2 ) ) ) {
            label += static_cast<char>( std::stoi( name.substr( i + 2, 2 ), nullptr, 16 ) );
            i += 3;
        } else {
            label += name[i];
        }
    }
    return label;
}

/// Whether the entry `name` of the open directory `folder` leads to the device of `mount`.
bool isDeviceOf( const Mount& mount, int folder, const char* name ) {
    struct stat status;
    if( ::fstatat( folder, name, &status, 0 ) != 0 ) {
        checkNoExhaustion( name );
        return false;
    }
    return S_ISBLK( status.st_mode ) && std::to_string( major( status.st_rdev ) ) + ":" +
                                                std::to_string( minor( status.st_rdev ) ) ==
                                            mount.device;
}

/// Empty where the volume has none.
std::string findVolumeLabel( const Mount& mount ) {
    constexpr const char* PLACE = "/dev/disk/by-label";
    errno = 0;
    const std::unique_ptr<DIR, int ( * )( DIR* )> labels( openDirectory( PLACE ), ::closedir );
    while( const dirent* const entry = labels ? ::readdir( labels.get() ) : nullptr ) {
        if( isDeviceOf( mount, ::dirfd( labels.get() ), entry->d_name ) ) {
            return decodeLabel( entry->d_name );
        }
        errno = 0;
    }
    checkNoExhaustion( PLACE );
    return {};
}

/// 0 where it isn't known.
template <class Query>
unsigned long long getSpace( Query query, const OsFilePath& root ) {
    try {
        return query( root );
    } catch( const ExSysError& ) {
        return 0;
    }
}

OsFileInfo makeRootInfo( const OsFilePath& root ) {
    struct statx status;
    if( OsFsUtilsPosix::findStatus( root, 0, OsFsUtilsPosix::INFO_FIELDS, status, WHERE ) ) {
        return OsFsUtilsPosix::makeInfo( root, status );
    }
    const OsDateTypes::DateRep now = OsDateUtil::now();
    return { root, "", OsFileTypes::DIRECTORY, 0, now, now };
}

OsDriveInfo makeDriveInfo( const Mount& mount ) {
    const OsDriveInfo::DriveType type = getDriveType( mount, isRemovable( mount ) );
    const OsFilePath root( mount.place );
    return { makeRootInfo( root ),
             OsDriveInfo::READY,
             makeDriveLabel( mount, type, findVolumeLabel( mount ) ),
             type,
             mount.place,
             getSpace( OsFsUtils::getTotalSpace, root ),
             getSpace( OsFsUtils::getFreeSpace, root ) };
}

/// Whether `mount` is at a directory that a path can hold. In containers, files are mounted too.
bool isDirectoryMount( const Mount& mount ) {
    const OsFilePath root( mount.place );
    return root.toString() == mount.place && !OsFsUtils::isFile( root );
}

class OsDriveEntryDescriptorPosix final : public OsDriveEntryDescriptor {
public:
    OPtrRet<OsDriveEntryDescriptor> clone() const override {
        return OPtr<OsDriveEntryDescriptor>( new OsDriveEntryDescriptorPosix( *this ) );
    }

    void reset() override {
        _volumes.reset();
        _next = 0;
    }

    OPtrRet<OsDriveInfo> getNextEntry() override {
        if( !_volumes ) {
            const auto table = readKernelFile( "/proc/self/mountinfo" );
            if( !table ) {
                throw ExSysErrorWindows( QV_HERE, WHERE, "/proc/self/mountinfo" );
            }
            _volumes = selectVolumes( parseMountTable( *table ), isDirectoryMount );
        }
        OPtr<OsDriveInfo> drive;
        if( _next < _volumes->size() ) {
            drive.reset( new OsDriveInfo( makeDriveInfo( ( *_volumes )[_next++] ) ) );
        }
        return drive;
    }

private:
    std::optional<std::vector<Mount>> _volumes;
    std::size_t _next = 0;
};

} // namespace

OsDriveEntryDescriptor::OsDriveEntryDescriptor() = default;
OsDriveEntryDescriptor::OsDriveEntryDescriptor( const OsDriveEntryDescriptor& ) = default;
OsDriveEntryDescriptor::~OsDriveEntryDescriptor() = default;

OPtrRet<OsDriveEntryDescriptor> OsDriveEntryDescriptor::create() {
    return OPtr<OsDriveEntryDescriptor>( new OsDriveEntryDescriptorPosix );
}

} // namespace Qv
