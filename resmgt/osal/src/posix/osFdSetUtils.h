#pragma once

#include <sys/select.h>

namespace Qv {

/// The operations on the system's sets of descriptors, which are macros there.
///
/// REQUIRES: `fd` is from 0 to FD_SETSIZE - 1; the macros touch foreign memory for others.
class OsFdSetUtils {
public:
    OsFdSetUtils() = delete;

    static bool canHold( int fd ) noexcept { return fd >= 0 && fd < FD_SETSIZE; }
    static void fdZero( fd_set& set ) noexcept { FD_ZERO( &set ); }
    static void fdSet( int fd, fd_set& set ) noexcept { FD_SET( fd, &set ); }
    static void fdClear( int fd, fd_set& set ) noexcept { FD_CLR( fd, &set ); }
    static bool fdIsSet( int fd, const fd_set& set ) noexcept { return FD_ISSET( fd, &set ); }
};

} // namespace Qv
