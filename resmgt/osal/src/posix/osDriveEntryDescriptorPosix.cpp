#include <base/failure/exSysError.h>
#include <resmgt/osSupport/osDateUtil.h>
#include <resmgt/osal/osDriveEntryDescriptor.h>
#include <resmgt/osal/osFile.h>
#include <resmgt/osal/osFsUtils.h>
#include <resmgt/osal/src/posix/kernelFilePosix.h>
#include <resmgt/osal/src/posix/mountTablePosix.h>

#include <cstddef>
#include <memory>
#include <optional>

#include <dirent.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>

namespace Qv {

namespace {

bool isRemovable( const Mount& mount ) {
    const std::string device = "/sys/dev/block/" + mount.device;
    // A partition doesn't tell; its disk does.
    auto answer = readKernelFile( device + "/removable" );
    if( !answer ) {
        answer = readKernelFile( device + "/../removable" );
    }
    return answer && answer->starts_with( '1' );
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

/// Empty where the volume has none.
std::string findVolumeLabel( const Mount& mount ) {
    const std::unique_ptr<DIR, int ( * )( DIR* )> labels( ::opendir( "/dev/disk/by-label" ),
                                                          ::closedir );
    while( const dirent* const entry = labels ? ::readdir( labels.get() ) : nullptr ) {
        struct stat status {};
        if( ::fstatat( ::dirfd( labels.get() ), entry->d_name, &status, 0 ) == 0 &&
            S_ISBLK( status.st_mode ) &&
            std::to_string( major( status.st_rdev ) ) + ":" +
                    std::to_string( minor( status.st_rdev ) ) ==
                mount.device ) {
            return decodeLabel( entry->d_name );
        }
    }
    return {};
}

/// 0 where it can't be told.
template <class Query>
unsigned long long getSpace( Query query, const OsFilePath& root ) {
    try {
        return query( root );
    } catch( const ExSysError& ) {
        return 0;
    }
}

OsFileInfo makeRootInfo( const OsFilePath& root ) {
    try {
        return OsFile( root ).getInfo();
    } catch( const ExSysError& ) {
        const OsDateTypes::DateRep now = OsDateUtil::now();
        return { root, "", OsFileTypes::DIRECTORY, 0, now, now };
    }
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

/// Whether `mount` is at a directory that a path can tell. In containers, files are mounted too.
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
                throw ExSysErrorWindows( QV_HERE, "OsFsUtils::getDriveInfos",
                                         "/proc/self/mountinfo" );
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
