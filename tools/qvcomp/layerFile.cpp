#include <tools/qvcomp/layerFile.h>

#include <tools/qvcomp/layerImage.h>

namespace Qv::Comp {

LayerInfo probeLayer( const OsFilePath& path, const CheckHead& checkHead ) {
    const LayerStream file( path );
    return guardReading( file, [&] { return LayerImage( path, file, checkHead ).getInfo(); } );
}

} // namespace Qv::Comp
