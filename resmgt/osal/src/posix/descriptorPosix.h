#pragma once

#include <base/files/descriptorPosix.h>

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <utility>

namespace Qv {

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
