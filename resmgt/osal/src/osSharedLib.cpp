#include <resmgt/osal/osSharedLib.h>

namespace Qv {

OsSharedLib::OsSharedLib( const OsFilePath& path )
    : _path( path ) {
    // Fills the path's caches, so that any thread may read it.
    static_cast<void>( _path.toString() );
    static_cast<void>( _path.toWString() );
}

OsSharedLib::~OsSharedLib() = default;

} // namespace Qv
