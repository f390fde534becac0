#include <tools/qvcomp/failure.h>
#include <tools/qvcomp/fileIo.h>
#include <tools/qvcomp/pendingFile.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <utility>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace Qv::Comp {

namespace {

namespace fs = std::filesystem;

/// The file itself where `path` is a link to it.
std::string resolve( const std::string& path ) {
    std::error_code error;
    const fs::path resolved = fs::weakly_canonical( path, error );
    return error ? path : resolved.string();
}

/// The permissions that a file made in the usual way gets.
mode_t getUsualMode() noexcept {
    const mode_t mask = ::umask( 0 );
    ::umask( mask );
    return 0666 & ~mask;
}

} // namespace

PendingFile::PendingFile( const std::string& path )
    : _path( resolve( path ) ) {
    std::error_code error;
    const fs::file_status status = fs::status( _path, error );
    if( fs::exists( status ) && !fs::is_regular_file( status ) ) {
        throw Failure( "'" + path + "' is there and is not a file that can be replaced" );
    }
    fs::path temporary( _path );
    temporary.replace_filename( '.' + temporary.filename().string() + ".XXXXXX" );
    _temporary = temporary.string();
    _descriptor = ::mkostemp( _temporary.data(), O_CLOEXEC );
    if( _descriptor < 0 ) {
        fail( errno );
    }
    ::fchmod( _descriptor, getUsualMode() );
}

PendingFile::~PendingFile() {
    if( _descriptor >= 0 ) {
        ::close( _descriptor );
        ::unlink( _temporary.c_str() );
    }
}

void PendingFile::write( std::uint64_t offset, const void* bytes, std::size_t size ) {
    const int error = writeFully( _descriptor, bytes, size, offset );
    if( error != 0 ) {
        fail( error );
    }
}

void PendingFile::commit() {
    // A system that writes later tells of its failure here.
    if( ::close( std::exchange( _descriptor, -1 ) ) != 0 ||
        ::rename( _temporary.c_str(), _path.c_str() ) != 0 ) {
        const int error = errno;
        ::unlink( _temporary.c_str() );
        fail( error );
    }
}

void PendingFile::fail( int error ) const {
    throw Failure( "can't write '" + _path + "': " + std::strerror( error ) );
}

} // namespace Qv::Comp
