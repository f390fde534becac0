#include <base/files/descriptorPosix.h>

#include <base/files/newDescriptorPosix.h>

#include <cerrno>

#include <fcntl.h>
#include <unistd.h>

namespace Qv {

Descriptor::Descriptor( const char* path, int flags, unsigned int mode ) noexcept {
    do {
        _file = keepOffStreams( ::open( path, flags | O_NOCTTY | O_CLOEXEC, mode ) );
    } while( _file < 0 && errno == EINTR );
}

Descriptor::Descriptor( int folder, const char* path, int flags, unsigned int mode ) noexcept {
    do {
        _file = keepOffStreams( ::openat( folder, path, flags | O_NOCTTY | O_CLOEXEC, mode ) );
    } while( _file < 0 && errno == EINTR );
}

Descriptor::~Descriptor() {
    if( _file >= 0 ) {
        const int error = errno;
        ::close( _file );
        errno = error;
    }
}

} // namespace Qv
