#include <base/init/inContextAlias.h>
#include <resmgt/initVars/inInitFile.h>
#include <resmgt/initVars/inTextFile.h>
#include <resmgt/initVars/src/initVarsVariables.h>
#include <resmgt/osal/osEnv.h>
#include <resmgt/osal/osFsUtils.h>

#include <cstring>

namespace Qv {

namespace {

/// The release of the application that the settings belong to.
constexpr const char* RELEASE = "2013";

bool ignoresEnvironment = false;

bool isFromEnvironment( const InVariableBase& variable ) {
    return std::strcmp( variable.getOrigin()->getSourceString(), InInitEnv::getSourceString() ) ==
           0;
}

} // namespace

InInitFile::InInitFile( const OsFilePath& path )
    : _path( path ) {
    // A directory is there, and fails to be read.
    if( OsFsUtils::isFile( path ) || OsFsUtils::isDirectory( path ) ) {
        InTextFile::readNameValuePair( path.getChars(), _values, true );
    }
}

const char* InInitFile::getValue( const char* name ) const {
    const auto found = _values.find( name );
    return found != _values.end() ? found->second.c_str() : nullptr;
}

OsFilePath InInitFile::getInitFileBaseName() {
    return "@ombra.ini";
}

OsFilePath InInitFile::getDefaultUserInitFileDir() {
    return OsFilePath::getUserDocumentsDir() + "ombra" + RELEASE;
}

OsFilePath InInitFile::getUserInitFilePath() {
    std::string path;
    if( !ignoresEnvironment && OsEnv::getVariable( path, USER_INIT_FILE_ENV ) ) {
        return path;
    }
    const auto& variable = getUserInitFileVariable();
    if( variable.isValid() && !( ignoresEnvironment && isFromEnvironment( variable ) ) ) {
        return variable.getValue();
    }
    return getDefaultUserInitFileDir() + getInitFileBaseName();
}

void InInitFile::setIgnoresEnvironment( bool ignores ) noexcept {
    ignoresEnvironment = ignores;
}

} // namespace Qv
