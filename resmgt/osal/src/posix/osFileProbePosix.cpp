#include <resmgt/osal/osFileProbe.h>

#include <base/failure/exSysError.h>
#include <resmgt/osal/osFileEx.h>
#include <resmgt/osal/src/posix/descriptorPosix.h>
#include <resmgt/osal/src/posix/nativePathPosix.h>
#include <resmgt/osal/src/posix/osFsUtilsPosix.h>

#include <cerrno>
#include <string_view>

#include <fcntl.h>

namespace Qv {

namespace {

bool isAbsence( int error ) {
    return error == ENOENT || error == ENOTDIR || error == ELOOP || error == ENAMETOOLONG;
}

OsFileStatus toStatus( const struct statx& status ) {
    return { OsFsUtilsPosix::getModificationTime( status ), status.stx_size,
             OsFsUtilsPosix::getCreationTime( status ), status.stx_uid,
             OsFsUtilsPosix::getType( status ) };
}

} // namespace

std::optional<OsFileStatus> OsFileProbe::find( const OsFilePath& path ) {
    if( path.isEmpty() ) {
        throw OsFileEx::ExNullFilePath( QV_HERE, "OsFileProbe::find" );
    }
    struct statx status;
    if( OsFsUtilsPosix::getStatus( path, OsFsUtilsPosix::INFO_FIELDS, status ) ) {
        return toStatus( status );
    }
    if( !isAbsence( errno ) ) {
        throw ExSysErrorWindows( QV_HERE, "OsFileProbe::find", path.getChars() );
    }
    return std::nullopt;
}

OsFileInfo OsFileProbe::makeInfo( const OsFilePath& path, const OsFileStatus& status ) {
    return { path,
             OsFsUtilsPosix::getAccountName( status.owner, path ),
             status.type,
             status.size,
             status.modificationTime,
             status.creationTime };
}

OsFileProbe::Place::Place( const OsFilePath& path )
    : _path( &path )
    , _text( path.getChars() )
    , _directoryLength( path.toString().rfind( '/' ) + 1 ) {
    const std::string& text = path.toString();
    // A zero byte would end the name, and without one the directory itself would be asked about.
    if( _directoryLength == text.size() ||
        text.find( '\0', _directoryLength ) != std::string::npos ) {
        _directoryLength = 0;
    }
}

bool OsFileProbe::isStill( const Place& place, const std::optional<OsFileStatus>& last ) {
    struct statx status;
    const bool isFound =
        enterDirectory( place )
            ? OsFsUtilsPosix::getStatus( static_cast<int>( _folder ), place.getName(), 0,
                                         OsFsUtilsPosix::INFO_FIELDS, status )
            : OsFsUtilsPosix::getStatus( *place._path, OsFsUtilsPosix::INFO_FIELDS, status );
    return isFound ? last.has_value() && toStatus( status ) == *last
                   : !last.has_value() && isAbsence( errno );
}

bool OsFileProbe::enterDirectory( const Place& place ) {
    if( place._directoryLength == 0 ) {
        return false;
    }
    if( const std::string_view directory( place._text, place._directoryLength );
        directory != _directory ) {
        leaveDirectory();
        _directory = directory;
        _canOpen = true;
        return false;
    }
    if( _folder == OsFileTypes::INVALID_HANDLE && _canOpen ) {
        // Asked for once: what is missing would be so for the next file too.
        _canOpen = false;
        const OsFilePath directory( _directory );
        _folder =
            Descriptor( NativePath( directory ).get(), O_PATH | O_DIRECTORY | O_CLOEXEC ).release();
    }
    return _folder != OsFileTypes::INVALID_HANDLE;
}

void OsFileProbe::leaveDirectory() noexcept {
    Descriptor( static_cast<int>( _folder ) );
    _folder = OsFileTypes::INVALID_HANDLE;
    _directory.clear();
}

} // namespace Qv
