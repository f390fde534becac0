#pragma once

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <utility>

namespace Qv {

/// An open file, closed at the end of its scope unless it is released. Closing leaves errno as what
/// failed before set it.
class Descriptor {
public:
    /// As the system's call, made again while signals interrupt it; -1 after a failure.
    Descriptor( const char* path, int flags, mode_t mode = 0 ) {
        do {
            _file = ::open( path, flags | O_CLOEXEC, mode );
        } while( _file < 0 && errno == EINTR );
    }
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

} // namespace Qv
