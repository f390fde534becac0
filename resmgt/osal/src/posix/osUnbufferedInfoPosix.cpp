#include <resmgt/osal/src/osUnbufferedInfo.h>

#include <base/locks/lkGuard.h>
#include <base/locks/lkLock.h>
#include <resmgt/osal/src/posix/descriptorPosix.h>
#include <resmgt/osal/src/posix/kernelFilePosix.h>
#include <resmgt/osal/src/posix/nativePathPosix.h>
#include <resmgt/osal/src/posix/osFsUtilsPosix.h>

#include <fcntl.h>
#include <linux/magic.h>
#include <sys/stat.h>
#include <sys/statfs.h>
#include <sys/sysmacros.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <cstdlib>
#include <map>
#include <optional>
#include <string>

namespace Qv {

using OsFileTypes::UnbufferedInfo;

namespace {

constexpr std::uint64_t LARGEST_TRANSFER = 0x7fffffff;

/// What has been found out about volumes, by their device numbers.
class KnownVolumes {
public:
    std::optional<UnbufferedInfo> find( dev_t volume ) const {
        const LkGuard<const LkLock> guard( _lock );
        const auto known = _infos.find( volume );
        return known != _infos.end() ? std::optional( known->second ) : std::nullopt;
    }
    void add( dev_t volume, const UnbufferedInfo& info ) {
        const LkGuard<const LkLock> guard( _lock );
        _infos.emplace( volume, info );
    }

private:
    const LkLock _lock{ "OsFile::getUnbufferedInfo" };
    std::map<dev_t, UnbufferedInfo> _infos QV_GUARDED_BY( _lock );
};

KnownVolumes& knownVolumes() {
    static KnownVolumes volumes;
    return volumes;
}

/// Whether the data is on another machine, or where a program of some user takes it.
bool isRemote( const struct statfs& volume, dev_t device ) {
    constexpr unsigned int LUSTRE_MAGIC = 0x0bd00bd0;
    switch( static_cast<unsigned int>( volume.f_type ) ) {
    case AFS_FS_MAGIC:
    case AFS_SUPER_MAGIC:
    case CEPH_SUPER_MAGIC:
    case CIFS_SUPER_MAGIC:
    case CODA_SUPER_MAGIC:
    case LUSTRE_MAGIC:
    case NCP_SUPER_MAGIC:
    case NFS_SUPER_MAGIC:
    case OCFS2_SUPER_MAGIC:
    case SMB2_SUPER_MAGIC:
    case SMB_SUPER_MAGIC:
    case V9FS_MAGIC:
        return true;
    case FUSE_SUPER_MAGIC:
        // It is local when there is a disk below.
        return major( device ) == 0;
    default:
        return false;
    }
}

/// Of the disk below a volume; 0 where there is none, nothing if it can't be asked.
std::optional<std::uint64_t> getLogicalBlockSize( dev_t device ) {
    const std::string number =
        std::to_string( major( device ) ) + ":" + std::to_string( minor( device ) );
    for( const char* const place : { "/", "/../" } ) { // a whole disk, a part of one
        const auto size =
            readKernelFile( "/sys/dev/block/" + number + place + "queue/logical_block_size" );
        if( size ) {
            return std::strtoull( size->c_str(), nullptr, 10 );
        }
        if( OsFsUtilsPosix::isExhaustion( errno ) ) {
            return std::nullopt;
        }
    }
    return 0;
}

#ifdef STATX_DIOALIGN
/// What the kernel says of a regular file: 0 if it can't be transferred unbuffered, nothing if the
/// kernel doesn't say. False if it can't be asked.
bool getToldAlignment( int file, std::optional<std::uint64_t>& told ) {
    struct statx facts {};
    if( ::statx( file, "", AT_EMPTY_PATH, STATX_DIOALIGN, &facts ) != 0 ) {
        return !OsFsUtilsPosix::isExhaustion( errno );
    }
    if( ( facts.stx_mask & STATX_DIOALIGN ) != 0 ) {
        told = std::max( facts.stx_dio_mem_align, facts.stx_dio_offset_align );
    }
    return true;
}
#else
bool getToldAlignment( int, std::optional<std::uint64_t>& ) {
    return true;
}
#endif

/// Whether the system takes a regular file's descriptor for unbuffered transfers. Leaves it as it
/// was.
bool isAccepted( int file ) {
    const int flags = ::fcntl( file, F_GETFL );
    const bool accepted = ::fcntl( file, F_SETFL, flags | O_DIRECT ) == 0;
    ::fcntl( file, F_SETFL, flags );
    return accepted;
}

/// Nothing if the volume can't be asked. `isSample` says that `file` is a regular file, on which
/// can be tried what its volume can do.
std::optional<UnbufferedInfo> findOut( int file, dev_t device, bool isSample ) {
    struct statfs volume;
    if( retry( [&] { return ::fstatfs( file, &volume ); } ) != 0 ) {
        return std::nullopt;
    }
    const std::optional<std::uint64_t> disk = getLogicalBlockSize( device );
    std::optional<std::uint64_t> told;
    if( !disk || ( isSample && !getToldAlignment( file, told ) ) ) {
        return std::nullopt;
    }
    const bool isSupported = isSample ? told != 0 && isAccepted( file ) : *disk != 0;
    if( !isSupported || isRemote( volume, device ) ) {
        return UnbufferedInfo();
    }
    const auto cluster =
        static_cast<std::uint64_t>( volume.f_frsize > 0 ? volume.f_frsize : volume.f_bsize );
    // What is made of several disks, or of none, takes its own blocks.
    const std::uint64_t sector = told.value_or( *disk != 0 ? *disk : cluster );
    const UnbufferedInfo info( true, sector, cluster, LARGEST_TRANSFER );
    if( isSample ) {
        knownVolumes().add( device, info );
    }
    return info;
}

/// A regular file on the volume of `path`, open for trials: the file itself, or one without a name
/// in a directory. The descriptor is invalid where there can be none.
Descriptor openSample( const NativePath& path, mode_t type ) {
    if( S_ISDIR( type ) ) {
        return Descriptor( path.get(), O_TMPFILE | O_RDWR, 0600 );
    }
    return Descriptor( S_ISREG( type ) ? path.get() : "", O_RDONLY | O_NONBLOCK );
}

bool getFacts( int file, struct stat& facts ) {
    return retry( [&] { return ::fstat( file, &facts ); } ) == 0;
}

} // namespace

std::optional<UnbufferedInfo> getUnbufferedInfo( OsFileTypes::Handle handle ) {
    const int file = static_cast<int>( handle );
    struct stat facts;
    if( !getFacts( file, facts ) ) {
        return std::nullopt;
    }
    const std::optional<UnbufferedInfo> known = knownVolumes().find( facts.st_dev );
    return known ? known : findOut( file, facts.st_dev, true );
}

std::optional<UnbufferedInfo> getUnbufferedInfo( const OsFilePath& path ) {
    const OsFilePath place = path.getAbsolutePath();
    const NativePath native( place );
    const Descriptor entry( native.get(), O_PATH );
    if( !entry.isOpen() && !OsFsUtilsPosix::isExhaustion( errno ) && place.getNbComponents() > 1 ) {
        return getUnbufferedInfo( place.getDirectoryName() );
    }
    struct stat facts;
    if( !entry.isOpen() || !getFacts( entry.get(), facts ) ) {
        return std::nullopt;
    }
    const std::optional<UnbufferedInfo> known = knownVolumes().find( facts.st_dev );
    if( known ) {
        return known;
    }
    const Descriptor sample = openSample( native, facts.st_mode );
    const bool isSample = sample.isOpen();
    if( !isSample && OsFsUtilsPosix::isExhaustion( errno ) ) {
        return std::nullopt;
    }
    return findOut( isSample ? sample.get() : entry.get(), facts.st_dev, isSample );
}

} // namespace Qv
