#include <resmgt/osal/osSharedLib.h>

namespace Qv {

OsSharedLib::OsSharedLib( const OsFilePath& path )
    : _path( path ) {}

OsSharedLib::~OsSharedLib() = default;

} // namespace Qv
