#pragma once

#include <filesystem>
#include <iterator>

namespace Qv {

inline int countEntries( const char* directory ) {
    return static_cast<int>(
        std::distance( std::filesystem::directory_iterator( directory ), {} ) );
}

/// The threads of this process, the watchdog among them. A joined thread may be counted for a
/// moment longer: compare with `waitUntil`.
inline int countThreads() {
    return countEntries( "/proc/self/task" );
}

/// The open file descriptors of this process, without the one that reads the directory.
inline int countDescriptors() {
    return countEntries( "/proc/self/fd" ) - 1;
}

} // namespace Qv
