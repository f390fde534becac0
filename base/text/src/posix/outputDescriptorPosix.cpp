#include <base/text/src/outputDescriptor.h>

#include <base/failure/exSysError.h>
#include <base/failure/qvHere.h>
#include <base/files/newDescriptorPosix.h>
#include <base/files/sizeSignalGuardPosix.h>

#include <cerrno>

#include <fcntl.h>
#include <poll.h>
#include <sys/stat.h>
#include <unistd.h>

namespace Qv {

namespace {

/// The terminal or pipe may have been set to non-blocking by a process that shares it.
void waitUntilWritable( int descriptor ) {
    pollfd request{ descriptor, POLLOUT, 0 };
    if( ::poll( &request, 1, -1 ) < 0 && errno != EINTR ) {
        throw ExSysErrorANSI( QV_HERE, "ExStdout::printAtomically", "poll" );
    }
}

} // namespace

int OutputDescriptor::open( const char* path ) {
    const int descriptor =
        keepOffStreams( ::open( path, O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0600 ) );
    if( descriptor < 0 ) {
        throw ExSysErrorANSI( QV_HERE, "ExStdout::initialize", path );
    }
    return descriptor;
}

void OutputDescriptor::close( int descriptor ) noexcept {
    ::close( descriptor );
}

bool OutputDescriptor::isOpen( int descriptor ) noexcept {
    return ::fcntl( descriptor, F_GETFD ) >= 0;
}

void OutputDescriptor::write( int descriptor, std::string_view text ) {
    const SizeSignalGuard guard;
    while( !text.empty() ) {
        const ssize_t count = ::write( descriptor, text.data(), text.size() );
        if( count >= 0 ) {
            text.remove_prefix( static_cast<std::size_t>( count ) );
        } else if( errno == EAGAIN || errno == EWOULDBLOCK ) {
            waitUntilWritable( descriptor );
        } else if( errno != EINTR ) {
            throw ExSysErrorANSI( QV_HERE, "ExStdout::printAtomically" );
        }
    }
}

bool OutputDescriptor::isRegularFile( int descriptor ) {
    struct stat information;
    if( ::fstat( descriptor, &information ) != 0 ) {
        // A process without standard output has none in a file.
        if( errno == EBADF ) {
            return false;
        }
        throw ExSysErrorANSI( QV_HERE, "ExStdout::isRedirectedToAFile" );
    }
    return S_ISREG( information.st_mode );
}

} // namespace Qv
