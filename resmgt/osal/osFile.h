#pragma once

#include <base/ownership/aPtr.h>
#include <base/ownership/oPtr.h>
#include <resmgt/osSupport/osDateTypes.h>
#include <resmgt/osal/osFileInfo.h>
#include <resmgt/osal/osFilePath.h>
#include <resmgt/osal/osFileTypes.h>

namespace Qv {

/// The object that a path names in the file system, of whatever kind.
///
/// Links:   `exists`, `isSymLink`, `remove` and `renameTo` are about the link itself, all other
///          operations about what it leads to.
/// State:   nothing but the path. Each query asks the file system, and the object stays usable
///          after any exception.
/// Errors:  OsFileEx::ExNullFilePath for an empty path, but `isFile` and `isDirectory` answer false
///          for it; ExSysErrorWindows with the operation and the path for a failed system call.
/// Threads: as any value; queries from any number of threads at once.
class QV_RESMGT_API OsFile {
public:
    class FileDescriptorManipGuard;

    explicit OsFile( const OsFilePath& path );
    OsFile( const OsFile& ) = default;
    OsFile& operator=( const OsFile& ) = default;
    virtual ~OsFile();

    /// The owner's account name, or its number as text where the system knows no name. Each thread
    /// looks an account up once.
    virtual APtrRet<char> getOwner() const;
    /// In bytes; of a directory, what the file system says.
    virtual unsigned long long getSize() const;
    virtual OPtrRet<OsDateTypes::DateRep> getLastModificationTime() const;
    /// On volumes that keep no such time, the earliest one that they keep.
    virtual OPtrRet<OsDateTypes::DateRep> getCreationTime() const;
    /// The requirements of unbuffered transfers on this file's volume.
    virtual OsFileTypes::UnbufferedInfo getUnbufferedInfo() const;
    /// Which of `flags`, 1 for reading and 2 for writing, the process may use, as a set of the same
    /// bits. A plain file is opened to find out. Missing rights, also to search a directory on the
    /// way, are an answer and no failure.
    /// Errors: OsFileEx::ExInvalidPath for what doesn't exist.
    virtual int getAccess( int flags ) const;
    virtual bool isReadable() const;
    virtual bool isWritable() const;
    /// Whether it exists and is no directory.
    virtual bool isFile() const;
    virtual bool isDirectory() const;
    /// Errors: OsFileEx::ExInvalidPath for what doesn't exist.
    virtual bool isSymLink() const;
    /// Errors: OsFileEx::ExInvalidPath for what doesn't exist. What lies behind a directory that
    ///         may not be searched counts as PLAIN.
    virtual OsFileTypes::ElementType getType() const;
    /// As OsFsUtils::fileExists: wildcards take effect.
    virtual bool exists() const;
    /// Does nothing: there is nothing kept to refresh.
    virtual void refreshInfo();

    /// Removes the file or link. Errors: OsFileEx::ExInvalidPath for what doesn't exist.
    virtual void remove();
    /// Gives it the name `target`, which a file in the same place loses; this object's path is
    /// `target` then. Not from one volume to another. Where `target` is a second name of this very
    /// file, the system leaves both names.
    virtual void renameTo( const OsFilePath& target );
    /// Copies the content to `target` or, where that is a directory, into it under this file's
    /// name. An existing file keeps its identity and permissions, a new one gets (3, 3, 0).
    /// A pipe or device is read to its end, for which this waits. A link in the place of the target
    /// is followed only if it stood there when this looked first.
    /// Errors: OsFileEx::ExPathNotWritable for a target that may not be written;
    ///         OsFileEx::ExInvalidPath for a target that is this very file. A new target that can't
    ///         be completed is removed, unless another file has its name by then; one that existed
    ///         has lost its content.
    virtual void copyTo( const OsFilePath& target );

    /// See OsFsUtils::createFile.
    void create( const OsFileTypes::Permissions& permissions, bool exclusive );
    OsFileInfo getInfo() const;
    /// The permissions of the owner, the group and all others.
    OsFileTypes::Permissions getPermissions() const;
    const OsFilePath& getPath() const noexcept { return _path; }

protected:
    /// Opens an existing file for reading (1), writing (2) or both; the caller closes it.
    OsFileTypes::Handle open( int flags ) const;
    /// Closes the file of the handle.
    void close( OsFileTypes::Handle handle ) const;
    void setPath( const OsFilePath& path );

private:
    APtrRet<char> performGetOwner() const;
    unsigned long long performGetSize() const;
    OsDateTypes::DateRep performGetLastModificationTime() const;
    OsDateTypes::DateRep performGetCreationTime() const;
    OsFileTypes::UnbufferedInfo performGetUnbufferedInfo() const;
    OsFileTypes::ElementType performGetType() const;
    int performGetAccess( int flags ) const;
    OsFileTypes::Handle performOpen( int flags ) const;
    void performClose( OsFileTypes::Handle handle ) const;
    void performRemove() const;
    void performRenameTo( const OsFilePath& target ) const;
    OsFileInfo performGetInfo() const;
    OsFileTypes::Permissions performGetPermissions() const;

    OsFilePath _path;
};

/// Marks a scope in which a file descriptor changes hands; on this platform nothing is to be done
/// there.
class QV_RESMGT_API OsFile::FileDescriptorManipGuard {
public:
    FileDescriptorManipGuard();
    FileDescriptorManipGuard( const FileDescriptorManipGuard& ) = delete;
    FileDescriptorManipGuard& operator=( const FileDescriptorManipGuard& ) = delete;
    ~FileDescriptorManipGuard();
};

} // namespace Qv
