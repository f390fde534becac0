#include <resmgt/initConfig/src/installedResources.h>

#include <dlfcn.h>

namespace Qv {

OsFilePath getInstalledResourcesDir() {
    ::Dl_info info;
    if( ::dladdr( reinterpret_cast<const void*>( &getInstalledResourcesDir ), &info ) == 0 ) {
        return {};
    }
    return OsFilePath( info.dli_fname ).getAbsolutePath().getDirectoryName() +
           QV_RESOURCES_FROM_LIBRARIES;
}

} // namespace Qv
