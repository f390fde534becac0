#include <resmgt/initVars/inInitFileSource.h>
#include <resmgt/initVars/inInitUserInitFile.h>
#include <resmgt/osal/osFileEx.h>

namespace Qv {

namespace {

OsFilePath getUserPath() {
    try {
        return InInitFile::getUserInitFilePath();
    } catch( const OsFileEx::ExHomeNotDefined& ) {
        return {};
    }
}

} // namespace

const InInitFile& InInitFileSource::getFile() {
    if( !_file ) {
        _file.emplace( _getPath() );
    }
    return *_file;
}

std::string InInitFileSource::getDescription() {
    return std::string( _description ) + ' ' + getFile().getPath().toString();
}

void InInitFileSource::initialize( InContextAliasBase& alias ) {
    alias.initialize( getFile().getValue( alias.getKey() ) );
}

InInitFileSource& InInitUserInitFile::get() {
    // Aliases leave it in static destructors, so it has none.
    static auto* const source = new InInitFileSource( "User initialization file", getUserPath );
    return *source;
}

} // namespace Qv
