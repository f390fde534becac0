#pragma once

#include <resmgt/osal/src/posix/descriptorPosix.h>
#include <resmgt/osal/src/posix/osFsUtilsPosix.h>

#include <array>
#include <cstddef>
#include <optional>
#include <string>
#include <utility>

#include <fcntl.h>
#include <unistd.h>

namespace Qv {

/// Reads `file` to its end, or until `text` has more than `most` bytes. False with errno on
/// failure; what was read by then is in `text`.
inline bool readToEnd( int file, std::size_t most, std::string& text ) {
    std::array<char, 65536> block;
    ssize_t size = 1;
    while( size > 0 && text.size() <= most ) {
        size = retry( [&] { return ::read( file, block.data(), block.size() ); } );
        text.append( block.data(), size > 0 ? static_cast<std::size_t>( size ) : 0 );
    }
    return size >= 0;
}

/// The content of one of the kernel's own files; nothing, with errno, on failure.
inline std::optional<std::string> readKernelFile( const std::string& path ) {
    const Descriptor file( path.c_str(), O_RDONLY );
    std::string content;
    const bool isRead = file.isOpen() && readToEnd( file.get(), content.max_size(), content );
    return isRead ? std::optional( std::move( content ) ) : std::nullopt;
}

} // namespace Qv
