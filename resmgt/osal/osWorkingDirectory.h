#pragma once

#include <resmgt/osal/osFilePath.h>
#include <resmgt/resmgtApi.h>

namespace Qv {

/// The directory that the process's relative paths begin at.
///
/// Threads: all threads of a process share it; a change meets whatever they do with relative paths.
class QV_RESMGT_API OsWorkingDirectory {
public:
    class Guard;

    OsWorkingDirectory() = delete;

    /// Errors: ExSysErrorWindows, as when the directory was removed; OsFileEx::ExInvalidPath when
    ///         no path can name it, since a name in it holds a back-slash.
    static OsFilePath get();
    /// Errors: OsFileEx::ExInvalidPath for the empty path and for one that is no directory;
    ///         ExSysErrorWindows for any other failure. The working directory stays then.
    static void set( const OsFilePath& path );

private:
    static bool performSet( const OsFilePath& path );
};

/// Gives the working directory back at scope exit.
///
/// Errors: the constructors', as of `get` and `set`. A return that fails is traced.
class QV_RESMGT_API OsWorkingDirectory::Guard {
public:
    Guard();
    /// Goes to `path` besides.
    explicit Guard( const OsFilePath& path );
    Guard( const Guard& ) = delete;
    Guard& operator=( const Guard& ) = delete;
    ~Guard();

private:
    const OsFilePath _formerDirectory;
};

} // namespace Qv
