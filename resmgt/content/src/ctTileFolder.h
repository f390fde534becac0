#pragma once

#include <resmgt/content/ctSerialId.h>
#include <resmgt/osal/osFilePath.h>
#include <resmgt/osal/osFileTypes.h>

#include <cstdint>
#include <optional>
#include <string>

namespace Qv {

/// The files of blocks in a media cache's directory, with or without levels.
///
/// Links:   none is followed below the directory itself; what isn't a regular file is neither
///          opened nor taken for a block.
/// Errors:  none is raised but for want of memory. After a failure the thread's last error is the
///          platform's.
/// Threads: any.
class CtTileFolder {
public:
    using Handle = OsFileTypes::Handle;

    /// Tells files of one machine apart, whatever their names are.
    struct FileId {
        bool operator==( const FileId& ) const = default;

        std::uint64_t volume;
        std::uint64_t number;
    };
    struct NewFile {
        Handle handle;
        FileId id;
    };

    CtTileFolder( const OsFilePath& root, std::uint32_t nbLevels, std::uint32_t nbBits );

    /// For the eyes of people and for messages; operations go from folder to folder.
    OsFilePath getPath( CtSerialId id ) const;

    /// All of these answer INVALID_HANDLE after a failure; the caller closes what they open.
    Handle openForReading( CtSerialId id ) const;
    /// For reading and writing; makes the file, and its levels, where there is none.
    Handle openOrMake( CtSerialId id ) const;
    /// The same for a file that must not be there yet.
    NewFile make( CtSerialId id ) const;

    /// False on failure.
    bool remove( CtSerialId id ) const;
    /// Removes a file that was made, unless another one has its name by now.
    void removeIfStill( CtSerialId id, const FileId& made ) const;
    /// The file's length in bytes; nothing where there is no block.
    std::optional<std::uint64_t> getSize( CtSerialId id ) const;

    /// The bytes of an open file; nothing on failure.
    static std::optional<std::uint64_t> getSize( Handle handle );
    /// Whether the file that is open has lost its name.
    static bool isRemoved( Handle handle );
    static void close( Handle handle );
    /// Whether the last failure says that there is no block, or something else in its place.
    static bool isMissing();
    /// Whether the last failure says that the name is taken.
    static bool isTaken();

private:
    class Place;

    template <class Operation>
    auto perform( CtSerialId id, bool makesLevels, Operation operation ) const;

    /// Ends with a separator.
    const std::string _root;
    const std::uint32_t _nbLevels;
    const std::uint32_t _nbBits;
};

} // namespace Qv
