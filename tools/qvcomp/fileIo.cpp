#include <tools/qvcomp/fileIo.h>

#include <cerrno>

#include <unistd.h>

namespace Qv::Comp {

namespace {

/// Repeats `transfer( done )`, which moves bytes from `done` on, until `size` bytes are moved.
template <class Transfer>
int transferFully( std::size_t size, const Transfer& transfer ) noexcept {
    for( std::size_t done = 0; done < size; ) {
        const ssize_t moved = transfer( done );
        if( moved > 0 ) {
            done += static_cast<std::size_t>( moved );
        } else if( moved == 0 ) {
            return EIO;
        } else if( errno != EINTR ) {
            return errno;
        }
    }
    return 0;
}

} // namespace

int writeFully( int descriptor, const void* bytes, std::size_t size,
                std::uint64_t offset ) noexcept {
    const auto* start = static_cast<const char*>( bytes );
    return transferFully( size, [&]( std::size_t done ) {
        return ::pwrite( descriptor, start + done, size - done,
                         static_cast<off_t>( offset + done ) );
    } );
}

int readFully( int descriptor, void* bytes, std::size_t size, std::uint64_t offset ) noexcept {
    auto* start = static_cast<char*>( bytes );
    return transferFully( size, [&]( std::size_t done ) {
        return ::pread( descriptor, start + done, size - done,
                        static_cast<off_t>( offset + done ) );
    } );
}

} // namespace Qv::Comp
