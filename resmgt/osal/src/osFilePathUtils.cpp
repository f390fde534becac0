#include <resmgt/osal/osFilePath.h>
#include <resmgt/osal/osFilePathUtils.h>

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
    OsFilePath rest;
    rest._components.assign( path._components.begin() + from.getNbComponents(),
                             path._components.end() );
    path = to + rest;
    return true;
}

} // namespace Qv
