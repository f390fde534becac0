#include <resmgt/osal/src/osFsPlatform.h>
#include <resmgt/osal/src/posix/kernelFilePosix.h>
#include <resmgt/osal/src/posix/nativePathPosix.h>

#include <sys/stat.h>
#include <sys/sysmacros.h>

namespace Qv::OsFsPlatform {

namespace {

/// The null device is what people name for an empty file.
bool isReadable( const struct stat& facts ) {
    return S_ISREG( facts.st_mode ) ||
           ( S_ISCHR( facts.st_mode ) && facts.st_rdev == makedev( 1, 3 ) );
}

} // namespace

Reading readRegularFile( const OsFilePath& path, std::size_t most,
                         std::optional<std::string>& text ) {
    text.reset();
    // O_NONBLOCK: a pipe would be waited for, where a writer may never come.
    const Descriptor file( NativePath( path ).get(), O_RDONLY | O_NONBLOCK );
    struct stat facts;
    if( !file.isOpen() || retry( [&] { return ::fstat( file.get(), &facts ); } ) != 0 ) {
        return Reading::FAILED;
    }
    if( !isReadable( facts ) ) {
        return Reading::NOT_REGULAR;
    }
    if( static_cast<std::size_t>( facts.st_size ) > most ) {
        return Reading::TOO_LARGE;
    }
    text.emplace().reserve( static_cast<std::size_t>( facts.st_size ) );
    if( !readToEnd( file.get(), most, *text ) ) {
        return Reading::FAILED;
    }
    // It has grown meanwhile, or it is one that the kernel makes up as it is read.
    return text->size() > most ? Reading::TOO_LARGE : Reading::DONE;
}

} // namespace Qv::OsFsPlatform
