#pragma once

#include <base/containers/vector.h>
#include <resmgt/osal/osFile.h>
#include <resmgt/osal/osFileEntryDescriptor.h>
#include <resmgt/osal/osFileFilter.h>

#include <memory>

namespace Qv {

/// A directory and its children.
///
/// Names:   the entries "." and ".." are never listed. Neither is an entry whose name holds a
///          back-slash, which would be another path; it is traced, and no operation acts on it.
/// Filters: see the full path of each entry.
/// Order:   that of the file system.
/// Errors, threads: as for OsFile.
class QV_RESMGT_API OsDirectory : public OsFile {
public:
    explicit OsDirectory( const OsFilePath& path );
    ~OsDirectory() override;

    /// Removes an empty directory, or a link, wherever that leads.
    void remove() override;
    /// Copies the directory and all that it holds, see `copyHierarchy`, to `target` or, where that
    /// is a directory, into it under this directory's name.
    /// Errors: OsFileEx::ExFileExists, quoting this directory, for a target that is a file.
    void copyTo( const OsFilePath& target ) override;

    /// Makes the directory.
    void create( const OsFileTypes::Permissions& permissions );
    /// Whether it is a directory in which this process may make and remove entries.
    bool isModifiableDir() const;

    bool hasChildren( const OsFileFilter& filter ) const;
    /// Removes the children that the filter keeps; a child directory must be empty. They are those
    /// of the directory that was opened first, wherever its path leads by then.
    void removeChildren( const OsFileFilter& filter ) const;
    Vector<OsFilePath> getChildrenPath( OsFileTypes::PathTypes type,
                                        const OsFileFilter& filter ) const;
    Vector<OsFileInfo> getChildrenInfo( const OsFileFilter& filter ) const;
    /// An OsDirectory for each child that is one or leads to one, an OsFile for any other.
    Vector<std::unique_ptr<OsFile>> getChildren( const OsFileFilter& filter ) const;
    /// The next entry of `descriptor`, null at its end.
    OPtrRet<OsFileInfo> getChildInfo( OsFileEntryDescriptor& descriptor ) const;

    /// Copies `from`, and what it holds if it is a directory, to `to`; directories that exist there
    /// are filled. Links are followed in the source only: neither `to` nor what stands in it may be
    /// a link if a directory is copied.
    /// Errors: OsFileEx::ExInvalidPath, quoting the source, for a directory that would be copied
    ///         into itself, also by way of links, or that a link leads back to, and for a pipe,
    ///         socket or device. OsFileEx::ExFileExists for a link in the target, and for a pipe,
    ///         socket or device in the place of a file. ExInternalError for a file in the place of
    ///         a directory. What was copied before a failure stays, but no part of a file.
    /// Limits: each level needs two descriptors.
    static void copyHierarchy( const OsFilePath& from, const OsFilePath& to );

private:
    void performRemove() const;
    void performCreate( const OsFileTypes::Permissions& permissions ) const;
};

} // namespace Qv
