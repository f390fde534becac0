#pragma once

#include <sys/stat.h>

namespace Qv::Comp {

/// What decides whether two names are of one file.
struct FileId {
    explicit FileId( const struct stat& facts ) noexcept
        : device( facts.st_dev )
        , inode( facts.st_ino ) {}

    bool operator==( const FileId& ) const = default;

    dev_t device;
    ino_t inode;
};

} // namespace Qv::Comp
