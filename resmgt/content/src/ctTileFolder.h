#pragma once

#include <resmgt/content/ctSerialId.h>
#include <resmgt/osal/osFilePath.h>
#include <resmgt/osal/osFileTypes.h>

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <utility>

namespace Qv {

class Descriptor;

/// The open file of a block, closed at the end of its scope unless it is released.
class CtTileFile {
public:
    using Handle = OsFileTypes::Handle;

    explicit CtTileFile( Handle handle = OsFileTypes::INVALID_HANDLE ) noexcept
        : _handle( handle ) {}
    CtTileFile( CtTileFile&& other ) noexcept
        : _handle( other.release() ) {}
    CtTileFile& operator=( CtTileFile&& other ) noexcept {
        std::swap( _handle, other._handle );
        return *this;
    }
    CtTileFile( const CtTileFile& ) = delete;
    CtTileFile& operator=( const CtTileFile& ) = delete;
    ~CtTileFile();

    bool isOpen() const noexcept { return _handle != OsFileTypes::INVALID_HANDLE; }
    Handle get() const noexcept { return _handle; }
    Handle release() noexcept { return std::exchange( _handle, OsFileTypes::INVALID_HANDLE ); }

    /// Of a file that is open, be it released: its bytes, nothing on failure; and whether it has
    /// lost its name.
    static std::optional<std::uint64_t> getSize( Handle handle );
    static bool isRemoved( Handle handle );

private:
    Handle _handle;
};

/// The files of blocks in a media cache's directory, with or without levels.
///
/// Links:   none is followed below the directory itself; what isn't a regular file is neither
///          opened nor taken for a block.
/// Errors:  none is raised but for want of memory. After a failure the thread's last error is the
///          platform's.
/// Threads: any.
class CtTileFolder {
public:
    class NewFile;

    CtTileFolder( const OsFilePath& root, std::uint32_t nbLevels, std::uint32_t nbBits );

    /// For the eyes of people and for messages; operations go from folder to folder.
    OsFilePath getPath( CtSerialId id ) const;

    /// Neither of these is open after a failure.
    CtTileFile openForReading( CtSerialId id ) const;
    /// For reading and writing; makes the file, and its levels, where there is none.
    CtTileFile openOrMake( CtSerialId id ) const;

    /// False on failure.
    bool remove( CtSerialId id ) const;
    /// The file's length in bytes; nothing where there is no block.
    std::optional<std::uint64_t> getSize( CtSerialId id ) const;

    /// Whether the last failure says that there is no block, or something else in its place.
    static bool isMissing();

private:
    class Place;

    template <class Operation>
    Descriptor perform( CtSerialId id, std::optional<Place>& place,
                        const Operation& operation ) const;

    /// Ends with a separator.
    const std::string _root;
    const std::uint32_t _nbLevels;
    const std::uint32_t _nbBits;
};

/// The file of a new block, which goes again at the end of its scope unless it is kept.
class CtTileFolder::NewFile {
public:
    /// Makes the file, and its levels, where there is nothing of that name.
    NewFile( const CtTileFolder& folder, CtSerialId id );
    NewFile( const NewFile& ) = delete;
    NewFile& operator=( const NewFile& ) = delete;
    /// Needs neither memory nor descriptors.
    ~NewFile();

    /// Not open after a failure.
    CtTileFile& getFile() noexcept { return _file; }
    /// Whether there is something of that name.
    bool isTaken() const noexcept { return _isTaken; }
    void keep() noexcept { _isKept = true; }

private:
    CtTileFile _file;
    const std::unique_ptr<std::optional<Place>> _place;
    /// Distinguish the file from another one of its name.
    std::uint64_t _volume = 0;
    std::uint64_t _number = 0;
    bool _isTaken = false;
    bool _isKept = true;
};

} // namespace Qv
