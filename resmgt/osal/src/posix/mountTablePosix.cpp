#include <resmgt/osal/src/posix/mountTablePosix.h>

#include <base/text/ascii.h>

#include <algorithm>
#include <array>
#include <cstddef>
#include <map>
#include <set>

namespace Qv {

namespace {

constexpr std::array REMOTE_TYPES{
    "9p",     "afs",         "beegfs",         "ceph",        "cifs",   "coda",
    "davfs",  "fuse.davfs2", "gpfs",           "lustre",      "ncpfs",  "nfs",
    "nfs4",   "fuse.ceph",   "fuse.glusterfs", "fuse.rclone", "smb3",   "smbfs",
    "vboxsf", "fuse.sshfs",  "fuse.s3fs",      "virtiofs",    "vmhgfs", "fuse.vmhgfs-fuse" };

// Made by the desktop and by containers for themselves.
constexpr std::array HELPER_TYPES{ "fuse.gvfsd-fuse", "fuse.lxcfs", "fuse.portal",
                                   "fuse.snapfuse" };

// The kernel's, and what the start of the machine and the package systems need.
constexpr std::array SYSTEM_PLACES{ "/boot", "/dev", "/proc", "/run", "/snap", "/sys" };

template <std::size_t N>
bool isAmong( const std::array<const char*, N>& names, const std::string& name ) {
    return std::find( names.begin(), names.end(), name ) != names.end();
}

bool isAtOrBelow( const std::string& place, const std::string& top ) {
    return place.starts_with( top ) &&
           ( place.size() == top.size() || place[top.size()] == '/' || top == "/" );
}

bool isSystemPlace( const std::string& place ) {
    return !isAtOrBelow( place, "/run/media" ) &&
           std::any_of( SYSTEM_PLACES.begin(), SYSTEM_PLACES.end(),
                        [&]( const char* top ) { return isAtOrBelow( place, top ); } );
}

bool isMemory( const Mount& mount ) {
    return mount.type == "tmpfs" || mount.type == "ramfs" || mount.source.starts_with( "/dev/ram" );
}

bool isWanted( const Mount& mount ) {
    if( mount.place == "/" ) {
        return true;
    }
    if( isSystemPlace( mount.place ) || mount.type == "squashfs" ||
        isAmong( HELPER_TYPES, mount.type ) ) {
        return false;
    }
    return isMemory( mount ) || isAmong( REMOTE_TYPES, mount.type ) || mount.type == "zfs" ||
           mount.type.starts_with( "fuse." ) || mount.source.starts_with( "/dev/" );
}

/// Which mounts are seen, and which are hidden by what was mounted over them or over a directory
/// above them.
class MountTree {
public:
    /// Keeps references to `mounts`.
    explicit MountTree( const std::vector<Mount>& mounts )
        : _size( mounts.size() ) {
        std::set<std::string_view> ids;
        for( const Mount& mount : mounts ) {
            ids.insert( mount.id );
        }
        for( const Mount& mount : mounts ) {
            const bool isFirst = mount.parent == mount.id || !ids.contains( mount.parent );
            _mountsIn[isFirst ? OUTSIDE : std::string_view( mount.parent )].push_back( &mount );
        }
    }

    /// Whether the system, on its way to the place of `mount`, gets there.
    bool isVisible( const Mount& mount ) const {
        const Mount* reached = nullptr;
        const Mount* next = findNext( OUTSIDE, mount.place );
        // A sound table has no circles, and each step leads to another mount.
        for( std::size_t nbSteps = 0; next != nullptr && nbSteps < _size; ++nbSteps ) {
            reached = next;
            next = findNext( reached->id, mount.place );
        }
        return reached == &mount;
    }

private:
    /// For the parent of the first mount, which isn't in the table.
    static constexpr std::string_view OUTSIDE{};

    /// The first mount in the mount `id` on the way to `place`; null when there is none.
    const Mount* findNext( std::string_view id, const std::string& place ) const {
        const Mount* next = nullptr;
        const auto mounts = _mountsIn.find( id );
        if( mounts != _mountsIn.end() ) {
            for( const Mount* const mount : mounts->second ) {
                if( isAtOrBelow( place, mount->place ) &&
                    ( next == nullptr || mount->place.size() < next->place.size() ) ) {
                    next = mount;
                }
            }
        }
        return next;
    }

    const std::size_t _size;
    std::map<std::string_view, std::vector<const Mount*>> _mountsIn;
};

std::string_view takeUpTo( std::string_view& text, char end ) {
    const std::size_t size = std::min( text.find( end ), text.size() );
    const std::string_view taken = text.substr( 0, size );
    text.remove_prefix( std::min( size + 1, text.size() ) );
    return taken;
}

bool isOctal( std::string_view digits ) {
    return digits.size() == 3 && digits.find_first_not_of( "01234567" ) == std::string_view::npos;
}

/// Blanks and the like stand in the table as a back-slash and three octal digits.
std::string unescape( std::string_view text ) {
    std::string plain;
    while( !text.empty() ) {
        if( text[0] == '\\' && isOctal( text.substr( 1, 3 ) ) ) {
            plain += static_cast<char>( ( text[1] - '0' ) * 64 + ( text[2] - '0' ) * 8 +
                                        ( text[3] - '0' ) );
            text.remove_prefix( 4 );
        } else {
            plain += text[0];
            text.remove_prefix( 1 );
        }
    }
    return plain;
}

/// "share on 'server'" of "//server/share" or "user@server:/share".
std::string makeRemoteLabel( const std::string& source ) {
    std::string_view share( source );
    std::string server;
    if( source.starts_with( "//" ) ) {
        share.remove_prefix( 2 );
        server = takeUpTo( share, '/' );
    } else if( const std::size_t colon = source.find( ":/" ); colon != std::string::npos ) {
        server = source.substr( 0, colon );
        server.erase( 0, server.find( '@' ) + 1 );
        share.remove_prefix( colon + 1 );
    }
    if( server.empty() || share.empty() ) {
        return "Network Drive";
    }
    return Ascii::toLowerCase( std::string( share ) + " on '" + server + "'" );
}

} // namespace

std::vector<Mount> parseMountTable( std::string_view text ) {
    // id parent device root place options [optional...] - type source options
    std::vector<Mount> mounts;
    while( !text.empty() ) {
        std::string_view line = takeUpTo( text, '\n' );
        const std::size_t dash = line.find( " - " );
        if( dash == std::string_view::npos ) {
            continue;
        }
        std::string_view tail = line.substr( dash + 3 );
        Mount mount;
        mount.id = takeUpTo( line, ' ' );
        mount.parent = takeUpTo( line, ' ' );
        mount.device = takeUpTo( line, ' ' );
        takeUpTo( line, ' ' );
        mount.place = unescape( takeUpTo( line, ' ' ) );
        mount.type = unescape( takeUpTo( tail, ' ' ) );
        mount.source = unescape( takeUpTo( tail, ' ' ) );
        if( mount.place.starts_with( '/' ) ) {
            mounts.push_back( std::move( mount ) );
        }
    }
    return mounts;
}

std::vector<Mount> selectVolumes( const std::vector<Mount>& mounts,
                                  const std::function<bool( const Mount& )>& isUsable ) {
    std::vector<Mount> volumes;
    const MountTree tree( mounts );
    for( const Mount& mount : mounts ) {
        const bool isKnown =
            std::any_of( volumes.begin(), volumes.end(),
                         [&]( const Mount& known ) { return known.device == mount.device; } );
        if( isWanted( mount ) && !isKnown && tree.isVisible( mount ) && isUsable( mount ) ) {
            volumes.push_back( mount );
        }
    }
    return volumes;
}

OsDriveInfo::DriveType getDriveType( const Mount& mount, bool isRemovable ) {
    if( isAmong( REMOTE_TYPES, mount.type ) ) {
        return OsDriveInfo::REMOTE;
    }
    if( isMemory( mount ) ) {
        return OsDriveInfo::RAM_DISK;
    }
    if( mount.type == "iso9660" || mount.source.starts_with( "/dev/sr" ) ) {
        return OsDriveInfo::OPTICAL;
    }
    return isRemovable ? OsDriveInfo::REMOVABLE : OsDriveInfo::FIXED;
}

std::string makeDriveLabel( const Mount& mount, OsDriveInfo::DriveType type,
                            const std::string& volumeLabel ) {
    std::string label;
    switch( type ) {
    case OsDriveInfo::REMOVABLE:
        label = "Removable Media";
        break;
    case OsDriveInfo::FIXED:
        label = volumeLabel.empty() ? "Local Disk" : volumeLabel;
        break;
    case OsDriveInfo::REMOTE:
        label = makeRemoteLabel( mount.source );
        break;
    case OsDriveInfo::OPTICAL:
        label = "Compact Disc";
        break;
    case OsDriveInfo::RAM_DISK:
        label = "RAM Disk";
        break;
    default:
        break;
    }
    return label + " (" + mount.place + ")";
}

} // namespace Qv
