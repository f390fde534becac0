#pragma once

#include <resmgt/osal/src/posix/descriptorPosix.h>
#include <resmgt/osal/src/posix/osFsUtilsPosix.h>

#include <array>
#include <cstddef>
#include <optional>
#include <string>

#include <fcntl.h>
#include <unistd.h>

namespace Qv {

/// The content of one of the kernel's own files; nothing, with errno, on failure.
inline std::optional<std::string> readKernelFile( const std::string& path ) {
    const Descriptor file( path.c_str(), O_RDONLY );
    if( !file.isOpen() ) {
        return std::nullopt;
    }
    std::string content;
    std::array<char, 4096> block;
    ssize_t size = 0;
    do {
        size = OsFsUtilsPosix::retry(
            [&] { return ::read( file.get(), block.data(), block.size() ); } );
        content.append( block.data(), size > 0 ? static_cast<std::size_t>( size ) : 0 );
    } while( size > 0 );
    return size == 0 ? std::optional( content ) : std::nullopt;
}

} // namespace Qv
