#include <resmgt/initApp/inInitAppInitFile.h>
#include <resmgt/initInstallDir/inPathsImp.h>

namespace Qv {

InInitFileSource& InInitAppInitFile::get() {
    // Aliases leave it in static destructors, so it has none.
    static auto* const source = new InInitFileSource( "Application initialization file",
                                                      [] { return InInitFile( getPath() ); } );
    return *source;
}

OsFilePath InInitAppInitFile::getPath() {
    const OsFilePath installDir = InPathsImp::getInstallDir();
    return installDir.isEmpty() ? installDir
                                : installDir + "etc" + InInitFile::getInitFileBaseName();
}

} // namespace Qv
