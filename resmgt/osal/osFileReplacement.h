#pragma once

#include <resmgt/osal/osFilePath.h>

#include <memory>
#include <string>

namespace Qv {

/// A file that takes another one's place, or that of none, when it is complete. Under the name
/// there is a whole file at each moment, the former or the new one, also when the process or the
/// system stops; what was committed stays.
///
///     OsFileReplacement next( path );
///     next.create();
///     next.write( text.data(), text.size() );
///     next.commit();
///
/// Links:    a link stays one: the file that it leads to is replaced. A second hard link keeps the
///           former content.
/// Rights:   the new file has the former one's owner and mode; where an owner can't be kept
///           nothing is replaced. A group that can't be kept gets the rights of all others.
/// Where:    the new file is made in the former one's directory, under a name of its own that
///           begins with a dot, and opened exclusively. It goes with this object unless committed.
/// Errors:   ExSysErrorWindows for a failed system call, with path; besides those below. Until
///           `isCommitted` the former file is there as it was.
/// Threads:  one at a time. Of two objects with one name, in whatever processes, the one that is
///           committed last holds.
class QV_RESMGT_API OsFileReplacement {
public:
    /// Only looks. Errors: ExSysErrorGeneric if what is there isn't a regular file;
    /// ExSysErrorWindows for a link that leads nowhere.
    explicit OsFileReplacement( const OsFilePath& path );
    OsFileReplacement( const OsFileReplacement& ) = delete;
    OsFileReplacement& operator=( const OsFileReplacement& ) = delete;
    /// A failed removal is traced.
    ~OsFileReplacement();

    /// Whether there is a file to be replaced.
    bool isReplacing() const noexcept;
    /// The path to which the name leads.
    const OsFilePath& getPath() const noexcept;

    /// Errors: ExSysErrorGeneric if the former file's owner can't be kept.
    void create();
    /// Adds `size` bytes to the new file.
    void write( const void* data, unsigned long long size );
    /// Syncs the file, gives it the name and syncs that. If a file is replaced it stays as
    /// `backupName`, in the same directory, in place of whatever file has that name; with an empty
    /// one, and where the volume grants no second name, there is no backup.
    ///
    /// Errors: OsFileEx::ExFileExists if nothing was to be replaced and something is there now.
    void commit( const std::string& backupName = {} );
    /// Whether the new file has the name; also after a failure to sync that.
    bool isCommitted() const noexcept;
    /// Whether the former file is still there under the backup's name.
    bool hasBackup() const noexcept;
    /// Removes the former file that was kept.
    void removeBackup();

private:
    struct Imp;

    const std::unique_ptr<Imp> _imp;
};

} // namespace Qv
