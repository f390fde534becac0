#include <resmgt/osal/src/osFsPlatform.h>

#include <base/failure/exSysError.h>
#include <base/text/wideStringUtil.h>
#include <resmgt/osal/src/osFolder.h>
#include <resmgt/osal/src/posix/descriptorPosix.h>
#include <resmgt/osal/src/posix/directoryStreamPosix.h>
#include <resmgt/osal/src/posix/nativePathPosix.h>
#include <resmgt/osal/src/posix/osFsUtilsPosix.h>
#include <resmgt/osal/src/posix/permissionsPosix.h>
#include <resmgt/osal/src/wildcardMatch.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <memory>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace Qv::OsFsPlatform {

using Making = OsFolder::Making;
using OsFileTypes::Permissions;

namespace {

constexpr const char* FILE_EXISTS = "OsFsUtils::fileExists";
constexpr mode_t OWNER_MAY_DO = 0700;
constexpr mode_t ALL_MAY_DO = 0777;

/// Why `path` wasn't opened as a directory, which errno has as well.
std::string explainNoDirectory( const OsFilePath& path ) {
    const int error = errno;
    const auto facts = OsFolder::current().look( path, OsFolder::Links::REFUSE );
    if( !facts || facts->kind == Kind::DIRECTORY ) {
        return std::string( "can't be opened: " ) + std::strerror( error );
    }
    return facts->kind == Kind::LINK ? "is a link" : "is no directory";
}

bool closeToOthers( const Descriptor& directory ) {
    // The mode can't be changed by a descriptor that is there for looking alone.
    const Descriptor opened( directory.get(), ".", O_RDONLY | O_DIRECTORY );
    return opened.isOpen() && ::fchmod( opened.get(), OWNER_MAY_DO ) == 0;
}

} // namespace

bool entryExists( const OsFilePath& path ) {
    struct statx status;
    return OsFsUtilsPosix::findStatus( path, AT_SYMLINK_NOFOLLOW, STATX_TYPE, status, FILE_EXISTS );
}

bool hasMatch( const OsFilePath& path ) {
    if( path.isEmpty() || path.isRoot() ) {
        return false;
    }
    const std::string& name = path.getComponent( path.getNbComponents() - 1 );
    if( name.find_first_of( "*?" ) == std::string::npos ) {
        return false;
    }
    const std::wstring pattern = WideStringUtil::widen( name );
    DirectoryStream entries;
    if( entries.open( path.getDirectoryName() ) ) {
        while( const char* const entry = entries.next() ) {
            if( wildcardMatch( WideStringUtil::widen( entry ), pattern ) ) {
                return true;
            }
        }
    }
    if( OsFsUtilsPosix::isExhaustion( errno ) ) {
        throw ExSysErrorWindows( QV_HERE, FILE_EXISTS, path.getChars() );
    }
    return false;
}

std::optional<Facts> getFacts( OsFileTypes::Handle handle ) {
    return OsFsUtilsPosix::getFacts( static_cast<int>( handle ), "", AT_EMPTY_PATH );
}

std::optional<FileId> getFileId( const OsFilePath& path ) {
    const auto facts = OsFsUtilsPosix::getFacts( AT_FDCWD, NativePath( path ).get(), 0 );
    return facts ? std::optional( facts->id ) : std::nullopt;
}

std::optional<OsDateTypes::DateRep> askModificationTime( const OsFilePath& path ) {
    struct statx status;
    if( !OsFsUtilsPosix::getStatus( AT_FDCWD, NativePath( path ).get(), AT_STATX_FORCE_SYNC,
                                    STATX_MTIME, status ) ) {
        return std::nullopt;
    }
    return OsFsUtilsPosix::getModificationTime( status );
}

bool empty( OsFileTypes::Handle handle ) {
    return retry( [&] { return ::ftruncate( static_cast<int>( handle ), 0 ); } ) == 0;
}

bool emptyOrMake( const OsFilePath& path, const Permissions& permissions ) {
    const int file =
        openOrMake( NativePath( path ).get(), O_RDWR | O_TRUNC, fileMode( permissions ) ).release();
    // A signal doesn't keep the descriptor open.
    return file != -1 && ( ::close( file ) == 0 || errno == EINTR );
}

OsFilePath getPathWithoutLinks( const OsFilePath& path ) {
    const NativePath native( path );
    const std::unique_ptr<char, void ( * )( void* )> text( ::realpath( native.get(), nullptr ),
                                                           std::free );
    const OsFilePath found( text.get() );
    return text == nullptr || found.toString() != text.get() ? OsFilePath() : found;
}

std::string claimDirectory( const OsFilePath& path ) {
    const Making making = OsFolder::current().makeDirectory( path, Permissions( 7, 0, 0 ) );
    if( making != Making::MADE && making != Making::EXISTS ) {
        return std::string( "can't be made: " ) + std::strerror( errno );
    }
    // What is looked at is what was opened, whatever has this name by now.
    const Descriptor directory( NativePath( path ).get(), O_PATH | O_DIRECTORY | O_NOFOLLOW );
    struct stat facts;
    if( !directory.isOpen() || ::fstat( directory.get(), &facts ) != 0 ) {
        return explainNoDirectory( path );
    }
    if( facts.st_uid != ::geteuid() ) {
        return "belongs to another user";
    }
    if( ( facts.st_mode & ALL_MAY_DO ) != OWNER_MAY_DO && !closeToOthers( directory ) ) {
        return std::string( "can't be closed to others: " ) + std::strerror( errno );
    }
    return {};
}

} // namespace Qv::OsFsPlatform
