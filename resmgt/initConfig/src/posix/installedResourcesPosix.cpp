#include <resmgt/initConfig/src/installedResources.h>

#include <cstdlib>
#include <dlfcn.h>
#include <memory>

namespace Qv {

OsFilePath getInstalledResourcesDir() {
    ::Dl_info info;
    if( ::dladdr( reinterpret_cast<const void*>( &getInstalledResourcesDir ), &info ) == 0 ) {
        return {};
    }
    // The loader often comes through a link, such as /lib for /usr/lib, which has no prefix above.
    const std::unique_ptr<char, void ( * )( void* )> file( ::realpath( info.dli_fname, nullptr ),
                                                           std::free );
    if( file == nullptr ) {
        return {};
    }
    // As one text: a path of its own would lose what it climbs.
    const OsFilePath libraries = OsFilePath( file.get() ).getDirectoryName();
    return { libraries.toString() + "/" + QV_RESOURCES_FROM_LIBRARIES };
}

} // namespace Qv
