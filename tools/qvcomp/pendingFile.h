#pragma once

#include <tools/qvcomp/descriptor.h>
#include <tools/qvcomp/fileId.h>

#include <resmgt/osal/osFilePath.h>

#include <cstdint>
#include <optional>
#include <string>

namespace Qv::Comp {

/// A new file that gets its name only when it is complete and on the disk. Until then it has none
/// and goes with the process, however that ends; where the volume has no such files it is a hidden
/// one in the same folder, which goes with this object.
///
/// Links:    one at the end of the path stays; what it leads to is replaced, or made.
/// Replaced: an existing file has its name until the new one takes it, in one step. The new one
///           gets its mode and, where that is allowed, its owner and group; the rights of a group
///           that can't be kept become those of all others. Just before that step the new file
///           has a hidden name for a moment, which only SIGKILL could leave behind.
/// Refused:  at once, what isn't a plain file or may not be written, and a folder where no file can
///           be made.
/// Errors:   Failure that names the file and what the system said.
class PendingFile {
public:
    /// What the file is until it is complete.
    enum class Hiding { NAMELESS_IF_POSSIBLE, HIDDEN_NAME };

    explicit PendingFile( const OsFilePath& path, Hiding hiding = Hiding::NAMELESS_IF_POSSIBLE );
    PendingFile( const PendingFile& ) = delete;
    PendingFile& operator=( const PendingFile& ) = delete;
    ~PendingFile();

    const OsFilePath& getPath() const noexcept { return _path; }
    /// Whether `file` is the one that will be replaced.
    bool replaces( const FileId& file ) const noexcept;
    /// Whether the two will have one name, or replace one file. On a volume that takes names which
    /// differ in case for one, that is known only when `other` has its name.
    bool hasPlaceOf( const PendingFile& other ) const;

    /// Writes `size` bytes from byte `offset` on.
    void write( std::uint64_t offset, const void* bytes, std::size_t size );
    /// Returns when all that was written is on the disk, with the rights that the file will have.
    void sync();
    /// Gives the synced file its name, and makes that last.
    void commit();

private:
    PendingFile( const OsFilePath& path, const std::string& target, Hiding hiding );

    void findFormer();
    Descriptor openNameless( mode_t mode ) const;
    Descriptor openHidden( mode_t mode );
    void adoptRights();
    bool link( const std::string& name ) const;
    void rename();
    void syncFolder();
    [[noreturn]] void fail() const;

    const OsFilePath _path;
    /// All names are in this folder, wherever its own name leads later.
    const Descriptor _folder;
    const std::string _name;
    /// Of the file that will be replaced.
    std::optional<struct stat> _former;
    std::optional<Descriptor> _file;
    /// Empty when the file has none.
    std::string _hiddenName;
};

} // namespace Qv::Comp
