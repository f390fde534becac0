#include <resmgt/osal/src/posix/directoryStreamPosix.h>

#include <base/failure/qvHere.h>
#include <base/trace/traceManager.h>
#include <resmgt/osal/src/posix/descriptorPosix.h>
#include <resmgt/osal/src/posix/nativePathPosix.h>

#include <cerrno>
#include <cstring>
#include <sstream>
#include <string>
#include <utility>

#include <fcntl.h>
#include <unistd.h>

namespace Qv {

namespace {

bool isDots( const char* name ) {
    return std::strcmp( name, "." ) == 0 || std::strcmp( name, ".." ) == 0;
}

void traceOmitted( const OsFilePath& directory, const char* name ) {
    if( Trace::isEnabled( Trace::MainTraceLevel ) ) {
        std::ostringstream text;
        text << "The entry '" << name << "' of '" << directory.toString()
             << "' is left out: a back-slash separates names.";
        TraceManager::getInstance().getTrace().log( text, QV_HERE );
    }
}

/// Of the open directory `own`, which it takes over; null with errno, also if that is -1.
DIR* toStream( int own ) {
    DIR* stream = nullptr;
    while( own >= 0 && ( stream = ::fdopendir( own ) ) == nullptr && errno == EINTR ) {}
    if( own >= 0 && stream == nullptr ) {
        const int error = errno;
        ::close( own );
        errno = error;
    }
    return stream;
}

} // namespace

DIR* openDirectory( const char* path ) {
    return toStream( Descriptor( path, O_RDONLY | O_DIRECTORY | O_NONBLOCK ).release() );
}

DirectoryStream::~DirectoryStream() {
    if( isOpen() ) {
        ::closedir( _stream );
    }
}

bool DirectoryStream::open( const OsFilePath& directory ) {
    _directory = directory;
    const NativePath native( _directory );
    _stream = openDirectory( native.get() );
    return isOpen();
}

bool DirectoryStream::open( int folder, const OsFilePath& directory ) {
    _directory = directory;
    _stream = toStream( ::fcntl( folder, F_DUPFD_CLOEXEC, STDERR_FILENO + 1 ) );
    return isOpen();
}

bool DirectoryStream::close() {
    // A signal doesn't keep the descriptor open.
    return !isOpen() || ::closedir( std::exchange( _stream, nullptr ) ) == 0 || errno == EINTR;
}

const char* DirectoryStream::next() {
    for( ;; ) {
        errno = 0;
        const dirent* const entry = ::readdir( _stream );
        if( entry == nullptr ) {
            if( errno == EINTR ) {
                continue;
            }
            return nullptr;
        }
        if( isDots( entry->d_name ) ) {
            continue;
        }
        if( std::strchr( entry->d_name, '\\' ) == nullptr ) {
            return entry->d_name;
        }
        traceOmitted( _directory, entry->d_name );
    }
}

int DirectoryStream::getDescriptor() const {
    return ::dirfd( _stream );
}

} // namespace Qv
