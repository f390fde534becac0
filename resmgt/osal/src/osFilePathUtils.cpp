#include <resmgt/osal/osFilePathUtils.h>

#include <resmgt/osal/osFilePath.h>

#include <algorithm>

namespace Qv {

bool OsFilePathUtils::isAncestor( const OsFilePath& ancestor, const OsFilePath& path ) {
    return ancestor._components.size() < path._components.size() &&
           std::equal( ancestor._components.begin(), ancestor._components.end(),
                       path._components.begin() );
}

bool OsFilePathUtils::relocate( const OsFilePath& from, const OsFilePath& to, OsFilePath& path ) {
    if( from != path && !isAncestor( from, path ) ) {
        return false;
    }
    path = to + path.slice( from._components.size(), path._components.size() );
    return true;
}

} // namespace Qv
