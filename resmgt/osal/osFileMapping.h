#pragma once

#include <base/failure/exBase.h>
#include <resmgt/resmgtApi.h>

#include <memory>

namespace Qv {

class OsFileMappingImp;

/// Part of a file as memory, shared with all who map or open the file. A file that doesn't exist is
/// made, empty.
///
/// Growth:  for reading and writing the file is made long enough. For reading alone it must be.
/// Space:   for reading and writing it is taken for the holes of the part that is mapped, as the
///          system ends a process that touches one on a full volume. Where a volume can't take
///          space beforehand, as on some networks, that may still happen.
/// Limit:   a part beyond the process's limit for the size of files can't be mapped for writing; no
///          SIGXFSZ comes, as with OsFileWriter.
/// Threads: as any memory. Shortening the file makes the system end a process that touches what was
///          cut off.
/// Errors:  FileNotFoundEx if it can't be opened; CannotMapFileEx for everything else, also for an
///          `offset` between two pages and for a part beyond the end. A failed mapping leaves the
///          file's length as it was; space that was taken for holes stays, since somebody else may
///          have written there by then.
class QV_RESMGT_API OsFileMapping {
public:
    class FileNotFoundEx;
    class CannotGrowFileEx;
    class CannotMapFileEx;
    class CannotWriteFileEx;

    /// Maps `size` bytes from `offset` on, at most 4 GiB - 1; a `size` of 0 is all from `offset` to
    /// the end, which must be more than nothing. `offset` is a multiple of the system's page size.
    OsFileMapping( const wchar_t* file, unsigned long long offset, unsigned long long size,
                   bool readOnly );
    OsFileMapping( const OsFileMapping& ) = delete;
    OsFileMapping& operator=( const OsFileMapping& ) = delete;
    ~OsFileMapping();

    /// Null if it is mapped for reading alone.
    void* getAddress();
    const void* getAddress() const;

private:
    const std::unique_ptr<OsFileMappingImp> _imp;
};

/// The file can't be opened.
class QV_RESMGT_API OsFileMapping::FileNotFoundEx
    : public ExCloneable<OsFileMapping::FileNotFoundEx, ExBase> {
public:
    /// `name` may be null, here and below.
    FileNotFoundEx( const char* file, int line, const wchar_t* name );
};

/// For clients; the class itself raises it never.
class QV_RESMGT_API OsFileMapping::CannotGrowFileEx
    : public ExCloneable<OsFileMapping::CannotGrowFileEx, ExBase> {
public:
    CannotGrowFileEx( const char* file, int line, const wchar_t* name );
};

/// The file couldn't be mapped.
class QV_RESMGT_API OsFileMapping::CannotMapFileEx
    : public ExCloneable<OsFileMapping::CannotMapFileEx, ExBase> {
public:
    CannotMapFileEx( const char* file, int line, const wchar_t* name );
};

/// For clients; the class itself raises it never.
class QV_RESMGT_API OsFileMapping::CannotWriteFileEx
    : public ExCloneable<OsFileMapping::CannotWriteFileEx, ExBase> {
public:
    CannotWriteFileEx( const char* file, int line, const wchar_t* name );
};

} // namespace Qv
