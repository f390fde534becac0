#pragma once

#include <resmgt/osSupport/osDateTypes.h>
#include <resmgt/osal/osFilePath.h>
#include <resmgt/osal/osFileTypes.h>

#include <cstdint>
#include <string>

namespace Qv {

/// One file or directory as it was when asked.
class QV_RESMGT_API OsFileInfo {
public:
    /// `size` in bytes.
    OsFileInfo( const OsFilePath& path, const std::string& owner, OsFileTypes::ElementType type,
                std::uint64_t size, const OsDateTypes::DateRep& modificationTime,
                const OsDateTypes::DateRep& creationTime );

    const OsFilePath& getPath() const noexcept { return _path; }
    const std::string& getOwner() const noexcept { return _owner; }
    OsFileTypes::ElementType getType() const noexcept { return _type; }
    std::uint64_t getSize() const noexcept { return _size; }
    const OsDateTypes::DateRep& getLastModificationTime() const noexcept {
        return _modificationTime;
    }
    const OsDateTypes::DateRep& getCreationTime() const noexcept { return _creationTime; }

    bool operator==( const OsFileInfo& other ) const;
    bool operator!=( const OsFileInfo& other ) const { return !( *this == other ); }

private:
    OsFilePath _path;
    std::string _owner;
    OsFileTypes::ElementType _type;
    std::uint64_t _size;
    OsDateTypes::DateRep _modificationTime;
    OsDateTypes::DateRep _creationTime;
};

} // namespace Qv
