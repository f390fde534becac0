#pragma once

#include <base/ownership/oPtr.h>
#include <resmgt/osal/osFilePath.h>
#include <resmgt/resmgtApi.h>

namespace Qv {

/// A shared library that was loaded into the process.
///
/// Lifetime: the library stays as long as some object has it open; the last one's destructor
///           unloads it, with all that was taken from it.
/// Threads:  any.
///
///     const OPtr<OsSharedLib> lib = OsSharedLib::open( plugInDir + "reader.so" );
///     const auto init = reinterpret_cast<void ( * )( int )>( lib->getFunction( "init" ) );
class QV_RESMGT_API OsSharedLib {
public:
    /// A function of a type that the caller knows.
    using Function = void ( * )();

    /// Loads the library and what it needs, all symbols resolved; its own aren't seen by other
    /// libraries. A name without a directory is looked for where the system keeps libraries, and
    /// not in the current directory.
    ///
    /// Errors: OsSharedLibEx::ExCantOpenLib with the system's reason. An exception that leaves the
    ///         library's own start ends the process.
    static OPtrRet<OsSharedLib> open( const OsFilePath& path );
    /// The ending of library names on this platform, the dot included.
    static const char* getSuffix() noexcept;

    OsSharedLib( const OsSharedLib& ) = delete;
    OsSharedLib& operator=( const OsSharedLib& ) = delete;
    virtual ~OsSharedLib();

    /// Never null. Errors: OsSharedLibEx::ExFunctionNotFound.
    virtual Function getFunction( const char* name ) const = 0;
    /// As it was given.
    const OsFilePath& getPath() const noexcept { return _path; }

protected:
    explicit OsSharedLib( const OsFilePath& path );

private:
    const OsFilePath _path;
};

} // namespace Qv
