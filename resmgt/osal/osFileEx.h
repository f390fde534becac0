#pragma once

#include <base/failure/exBase.h>
#include <resmgt/resmgtApi.h>

#include <string>

namespace Qv {

class OsFilePath;

/// The exceptions of the file layer. A failed system call isn't among them, it is an
/// ExSysErrorWindows.
///
/// `where` names the operation that failed, such as "OsFile::remove"; the reason begins with it.
/// Paths stand in the reason in their printed form.
namespace OsFileEx {

/// A name that was to be one element of a path holds a separator.
class QV_RESMGT_API ExSeparatorNotAllowed : public ExCloneable<ExSeparatorNotAllowed, ExBase> {
public:
    ExSeparatorNotAllowed( const char* file, int line, const char* where,
                           const std::wstring& pathElement );
};

/// The user's home directory isn't known.
class QV_RESMGT_API ExHomeNotDefined : public ExCloneable<ExHomeNotDefined, ExBase> {
public:
    ExHomeNotDefined( const char* file, int line, const char* where );
};

/// Nothing can be put behind the path in this way.
class QV_RESMGT_API ExIllegalPathConcat : public ExCloneable<ExIllegalPathConcat, ExBase> {
public:
    /// `path` is the left operand.
    ExIllegalPathConcat( const char* file, int line, const char* where, const OsFilePath& path );
};

/// The file or directory to be made is there already.
class QV_RESMGT_API ExFileExists : public ExCloneable<ExFileExists, ExBase> {
public:
    ExFileExists( const char* file, int line, const char* where, const OsFilePath& path );
};

/// The path is empty where a file is needed.
class QV_RESMGT_API ExNullFilePath : public ExCloneable<ExNullFilePath, ExBase> {
public:
    ExNullFilePath( const char* file, int line, const char* where );
};

/// The path can't be written to.
class QV_RESMGT_API ExPathNotWritable : public ExCloneable<ExPathNotWritable, ExBase> {
public:
    ExPathNotWritable( const char* file, int line, const char* where, const OsFilePath& path );
};

/// The path can't be read.
class QV_RESMGT_API ExPathNotReadable : public ExCloneable<ExPathNotReadable, ExBase> {
public:
    ExPathNotReadable( const char* file, int line, const char* where, const OsFilePath& path );
};

/// The path isn't absolute where it must be.
class QV_RESMGT_API ExPathNotAbsolute : public ExCloneable<ExPathNotAbsolute, ExBase> {
public:
    ExPathNotAbsolute( const char* file, int line, const char* where, const OsFilePath& path );
};

/// The root of the path doesn't exist.
class QV_RESMGT_API ExRootDoesNotExist : public ExCloneable<ExRootDoesNotExist, ExBase> {
public:
    ExRootDoesNotExist( const char* file, int line, const char* where, const OsFilePath& path );
};

/// The file system knows no hard links.
class QV_RESMGT_API ExUnHardlinkableFs : public ExCloneable<ExUnHardlinkableFs, ExBase> {
public:
    ExUnHardlinkableFs( const char* file, int line, const char* where, const OsFilePath& path );
};

/// The volume has no room for what is to be written.
class QV_RESMGT_API ExNotEnoughSpace : public ExCloneable<ExNotEnoughSpace, ExBase> {
public:
    ExNotEnoughSpace( const char* file, int line, const char* where, const OsFilePath& path );
};

/// A hard link can't lead to another volume.
class QV_RESMGT_API ExInvalidCrossDeviceLink
    : public ExCloneable<ExInvalidCrossDeviceLink, ExBase> {
public:
    ExInvalidCrossDeviceLink( const char* file, int line, const char* where,
                              const OsFilePath& first, const OsFilePath& second );
};

/// The path names nothing that the operation can work on.
class QV_RESMGT_API ExInvalidPath : public ExCloneable<ExInvalidPath, ExBase> {
public:
    ExInvalidPath( const char* file, int line, const char* where, const OsFilePath& path );
};

/// The drive holds no disk.
class QV_RESMGT_API ExEmptyDrive : public ExCloneable<ExEmptyDrive, ExBase> {
public:
    ExEmptyDrive( const char* file, int line, const std::wstring& drive );
};

} // namespace OsFileEx

} // namespace Qv
