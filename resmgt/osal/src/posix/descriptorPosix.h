#pragma once

#include <base/files/newDescriptorPosix.h>

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <utility>

namespace Qv {

/// An open file, closed at the end of its scope unless it is released. Closing leaves errno as what
/// failed before set it.
class Descriptor {
public:
    /// As the system's call, made again while signals interrupt it, but never 0, 1 or 2. Isn't open
    /// after a failure.
    Descriptor( const char* path, int flags, mode_t mode = 0 ) {
        do {
            _file = keepOffStreams( ::open( path, flags | O_NOCTTY | O_CLOEXEC, mode ) );
        } while( _file < 0 && errno == EINTR );
    }
    /// The same for a path that begins in the open directory `folder`.
    Descriptor( int folder, const char* path, int flags, mode_t mode = 0 ) {
        do {
            _file = keepOffStreams( ::openat( folder, path, flags | O_NOCTTY | O_CLOEXEC, mode ) );
        } while( _file < 0 && errno == EINTR );
    }
    Descriptor( Descriptor&& other ) noexcept
        : _file( other.release() ) {}
    Descriptor( const Descriptor& ) = delete;
    Descriptor& operator=( const Descriptor& ) = delete;
    ~Descriptor() {
        if( _file >= 0 ) {
            const int error = errno;
            ::close( _file );
            errno = error;
        }
    }

    int get() const noexcept { return _file; }
    bool isOpen() const noexcept { return _file >= 0; }
    int release() noexcept { return std::exchange( _file, -1 ); }

private:
    int _file;
};

/// Opens a file, and makes one only where there is none: in a directory that all may write the
/// system can refuse to open a file of somebody else by a call that could make it.
inline Descriptor openOrMake( const char* path, int flags, mode_t mode ) {
    Descriptor found( path, flags );
    if( found.isOpen() || errno != ENOENT ) {
        return found;
    }
    return Descriptor( path, flags | O_CREAT, mode );
}

} // namespace Qv
