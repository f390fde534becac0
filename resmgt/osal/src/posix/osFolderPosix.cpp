#include <resmgt/osal/src/osFolder.h>

#include <base/failure/exSysError.h>
#include <resmgt/osal/src/posix/descriptorPosix.h>
#include <resmgt/osal/src/posix/directoryStreamPosix.h>
#include <resmgt/osal/src/posix/nativePathPosix.h>
#include <resmgt/osal/src/posix/osFsUtilsPosix.h>
#include <resmgt/osal/src/posix/permissionsPosix.h>

#include <cerrno>
#include <utility>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace Qv {

using OsFileTypes::Handle;
using OsFsPlatform::Facts;

namespace {

OsFolder::Making toMaking( int error ) {
    switch( error ) {
    case EEXIST:
        return OsFolder::Making::EXISTS;
    case ENOENT:
        return OsFolder::Making::PARENT_MISSING;
    case EACCES:
        return OsFolder::Making::DENIED;
    default:
        return OsFolder::Making::FAILED;
    }
}

int toDescriptor( Handle handle ) {
    return static_cast<int>( handle );
}

bool isPlain( int file ) {
    const auto facts = OsFsPlatform::getFacts( file );
    if( facts && facts->kind != OsFsPlatform::Kind::PLAIN ) {
        errno = facts->kind == OsFsPlatform::Kind::DIRECTORY ? EISDIR : EINVAL;
        return false;
    }
    return facts.has_value();
}

} // namespace

OsFolder OsFolder::current() {
    return { AT_FDCWD, OsFilePath() };
}

OsFolder::OsFolder( OsFolder&& other ) noexcept
    : _handle( std::exchange( other._handle, OsFileTypes::INVALID_HANDLE ) )
    , _path( std::move( other._path ) ) {}

OsFolder& OsFolder::operator=( OsFolder&& other ) noexcept {
    std::swap( _handle, other._handle );
    std::swap( _path, other._path );
    return *this;
}

OsFolder::~OsFolder() {
    if( _handle >= 0 ) {
        const int error = errno;
        ::close( toDescriptor( _handle ) );
        errno = error;
    }
}

OsFolder OsFolder::open( const OsFilePath& name, Links links ) const {
    return openAs( name, O_PATH | ( links == Links::REFUSE ? O_NOFOLLOW : 0 ) );
}

OsFolder OsFolder::openForListing( const OsFilePath& name ) const {
    return openAs( name, O_RDONLY );
}

OsFolder OsFolder::openAs( const OsFilePath& name, int how ) const {
    // Made first: the error of opening is to be the last one.
    OsFolder folder( OsFileTypes::INVALID_HANDLE, _path + name );
    folder._handle =
        Descriptor( toDescriptor( _handle ), NativePath( name ).get(), how | O_DIRECTORY )
            .release();
    return folder;
}

std::optional<Facts> OsFolder::getFacts() const {
    return OsFsPlatform::getFacts( _handle );
}

std::optional<Facts> OsFolder::look( const OsFilePath& name, Links links ) const {
    const auto facts = OsFsUtilsPosix::getFacts( toDescriptor( _handle ), NativePath( name ).get(),
                                                 links == Links::REFUSE ? AT_SYMLINK_NOFOLLOW : 0 );
    if( !facts && OsFsUtilsPosix::isExhaustion( errno ) ) {
        throw ExSysErrorWindows( QV_HERE, "OsFile::performGetType", ( _path + name ).getChars() );
    }
    return facts;
}

std::optional<std::vector<OsFilePath>> OsFolder::list() const {
    DirectoryStream entries;
    if( !entries.open( toDescriptor( _handle ), _path ) ) {
        return std::nullopt;
    }
    std::vector<OsFilePath> names;
    while( const char* const name = entries.next() ) {
        names.push_back( toName( name ) );
    }
    return errno == 0 ? std::optional( std::move( names ) ) : std::nullopt;
}

OsFolder::Making OsFolder::makeDirectory( const OsFilePath& name,
                                          const OsFileTypes::Permissions& permissions ) const {
    const NativePath native( name );
    const int result = retry( [&] {
        return ::mkdirat( toDescriptor( _handle ), native.get(), directoryMode( permissions ) );
    } );
    return result == 0 ? Making::MADE : toMaking( errno );
}

OsFolder::Making OsFolder::makeFile( const OsFilePath& name,
                                     const OsFileTypes::Permissions& permissions ) const {
    const NewFile file = makeOpenFile( name, permissions );
    if( file.making != Making::MADE ) {
        return file.making;
    }
    const auto facts = OsFsPlatform::getFacts( file.handle );
    // A signal doesn't keep the descriptor open.
    if( ::close( toDescriptor( file.handle ) ) != 0 && errno != EINTR ) {
        const int error = errno;
        if( facts ) {
            removeFileIfStill( name, facts->id );
        }
        errno = error;
        return Making::FAILED;
    }
    return Making::MADE;
}

OsFolder::NewFile OsFolder::makeOpenFile( const OsFilePath& name,
                                          const OsFileTypes::Permissions& permissions ) const {
    Descriptor file( toDescriptor( _handle ), NativePath( name ).get(), O_RDWR | O_CREAT | O_EXCL,
                     fileMode( permissions ) );
    return file.isOpen() ? NewFile{ Making::MADE, file.release() }
                         : NewFile{ toMaking( errno ), OsFileTypes::INVALID_HANDLE };
}

Handle OsFolder::openForReading( const OsFilePath& name ) const {
    // O_NONBLOCK: a pipe would be waited for.
    Descriptor file( toDescriptor( _handle ), NativePath( name ).get(), O_RDONLY | O_NONBLOCK );
    return file.isOpen() && isPlain( file.get() ) ? file.release() : OsFileTypes::INVALID_HANDLE;
}

Handle OsFolder::openForWriting( const OsFilePath& name, Links links ) const {
    const int how = O_RDWR | ( links == Links::REFUSE ? O_NOFOLLOW : 0 );
    return Descriptor( toDescriptor( _handle ), NativePath( name ).get(), how ).release();
}

bool OsFolder::removeFile( const OsFilePath& name ) const {
    const NativePath native( name );
    return retry( [&] { return ::unlinkat( toDescriptor( _handle ), native.get(), 0 ); } ) == 0;
}

bool OsFolder::removeFileIfStill( const OsFilePath& name, const OsFsPlatform::FileId& id ) const {
    return OsFsUtilsPosix::unlinkIfStill( toDescriptor( _handle ), NativePath( name ).get(), id );
}

bool OsFolder::removeDirectory( const OsFilePath& name ) const {
    const NativePath native( name );
    return retry( [&] {
               return ::unlinkat( toDescriptor( _handle ), native.get(), AT_REMOVEDIR );
           } ) == 0;
}

} // namespace Qv
