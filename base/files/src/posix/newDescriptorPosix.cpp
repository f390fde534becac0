#include <base/files/newDescriptorPosix.h>

#include <cerrno>

#include <fcntl.h>
#include <unistd.h>

namespace Qv {

int keepOffStreams( int descriptor ) noexcept {
    if( descriptor < 0 || descriptor > STDERR_FILENO ) {
        return descriptor;
    }
    const int moved = ::fcntl( descriptor, F_DUPFD_CLOEXEC, STDERR_FILENO + 1 );
    const int error = errno;
    ::close( descriptor );
    errno = error;
    return moved;
}

} // namespace Qv
