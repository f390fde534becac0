#pragma once

#include <resmgt/resmgtApi.h>

#include <cstdint>

namespace Qv::OsFileTypes {

/// The system's handle of an open file: here a descriptor.
using Handle = std::intptr_t;
/// The handle of what is closed: all bits set.
inline constexpr Handle INVALID_HANDLE = -1;

/// The permissions of the owner, the group and all others for a new file or directory. Each is a
/// set of the bits READ, WRITE and EXECUTE; the process's mask takes away from it.
struct QV_RESMGT_API Permissions {
    /// What somebody may do with a file, as a sum.
    enum Access : std::int32_t { READ = 1, WRITE = 2, EXECUTE = 4 };

    constexpr Permissions( std::int32_t theOwner, std::int32_t theGroup, std::int32_t theOthers )
        : owner( theOwner )
        , group( theGroup )
        , others( theOthers ) {}

    friend bool operator==( const Permissions&, const Permissions& ) = default;

    /// What the file's owner may do, a sum of Access.
    std::int32_t owner;
    /// What the file's group may do, a sum of Access.
    std::int32_t group;
    /// What all others may do, a sum of Access.
    std::int32_t others;
};

/// The kind of object that a path names; PLAIN is everything but a directory.
enum ElementType : std::int32_t { PLAIN = 0, DIRECTORY = 1 };

/// How a child is named: by the directory's path with the child's name added, or by its name alone.
enum PathTypes : std::int32_t { FULL_PATH = 0, NAME_ONLY = 1 };

/// The base to which the offset of a seek is added. Any other value counts as FROM_BEGINNING.
enum SeekMode : std::int32_t { FROM_CURRENT = 0, FROM_BEGINNING = 1, FROM_END = 2 };

/// The requirements of a volume on transfers that bypass the system's file cache.
struct QV_RESMGT_API UnbufferedInfo {
    constexpr UnbufferedInfo() = default;
    constexpr UnbufferedInfo( bool isSupported, std::uint64_t sector, std::uint64_t cluster,
                              std::uint64_t maxTransfer )
        : supported( isSupported )
        , sectorSize( sector )
        , clusterSize( cluster )
        , maxTransferSize( maxTransfer ) {}

    friend bool operator==( const UnbufferedInfo&, const UnbufferedInfo& ) = default;

    /// Whether the volume can.
    bool supported = false;
    /// Bytes; what the buffer's address, the file offset and the size are multiples of.
    std::uint64_t sectorSize = 1;
    /// The file system's allocation unit, in bytes.
    std::uint64_t clusterSize = 1;
    /// The largest single transfer, in bytes.
    std::uint64_t maxTransferSize = 0x7fffffff;
};

} // namespace Qv::OsFileTypes
