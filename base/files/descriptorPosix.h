#pragma once

#include <base/qvBaseApi.h>

#include <utility>

namespace Qv {

/// An open file, closed at the end of its scope unless it is released. Closing leaves errno as what
/// failed before set it.
class QV_BASE_API Descriptor {
public:
    /// As the system's call, made again while signals interrupt it, but never 0, 1 or 2, and closed
    /// on exec. Isn't open after a failure.
    Descriptor( const char* path, int flags, unsigned int mode = 0 ) noexcept;
    /// The same for a path that begins in the open directory `folder`.
    Descriptor( int folder, const char* path, int flags, unsigned int mode = 0 ) noexcept;
    /// Takes over what is open already; -1 for nothing.
    explicit Descriptor( int file ) noexcept
        : _file( file ) {}
    Descriptor( Descriptor&& other ) noexcept
        : _file( other.release() ) {}
    Descriptor& operator=( Descriptor&& other ) noexcept {
        std::swap( _file, other._file );
        return *this;
    }
    Descriptor( const Descriptor& ) = delete;
    Descriptor& operator=( const Descriptor& ) = delete;
    ~Descriptor();

    /// -1 when there is none; it stays with this object.
    int get() const noexcept { return _file; }
    bool isOpen() const noexcept { return _file >= 0; }
    /// Gives the descriptor up to the caller.
    int release() noexcept { return std::exchange( _file, -1 ); }

private:
    int _file;
};

} // namespace Qv
