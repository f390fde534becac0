#include <resmgt/initVars/inInitFile.h>

#include <base/init/inContextAlias.h>
#include <resmgt/initVars/inTextFile.h>
#include <resmgt/initVars/src/initVarsVariables.h>
#include <resmgt/osal/osEnv.h>
#include <resmgt/osal/osFsUtils.h>
#include <resmgt/osal/osTypedPath.h>

#include <cstring>

namespace Qv {

namespace {

/// The release of the application that the settings belong to.
constexpr const char* RELEASE = "2013";

bool ignoresEnvironment = false;

template <class Source>
bool isFrom( const InVariableBase& variable ) {
    return variable.isValid() &&
           std::strcmp( variable.getOrigin()->getSourceString(), Source::getSourceString() ) == 0;
}

/// Whether `path` becomes what the environment says of the user's file.
bool isInEnvironment( std::string& path ) {
    return !ignoresEnvironment && OsEnv::getVariable( path, USER_INIT_FILE_ENV );
}

} // namespace

InInitFile::InInitFile( const OsFilePath& path, Presence presence )
    : _path( path ) {
    // A directory is there, and fails to be read.
    if( ( presence == MUST_BE_THERE && !path.isEmpty() ) || OsFsUtils::isFile( path ) ||
        OsFsUtils::isDirectory( path ) ) {
        InTextFile::readNameValuePair( path.getChars(), _values, true );
    }
}

const char* InInitFile::getValue( const char* name ) const {
    const auto found = _values.find( name );
    return found != _values.end() ? found->second.c_str() : nullptr;
}

std::set<std::string> InInitFile::getNames() const {
    std::set<std::string> names;
    for( const auto& [name, value] : _values ) {
        names.insert( name );
    }
    return names;
}

OsFilePath InInitFile::getInitFileBaseName() {
    return "@ombra.ini";
}

OsFilePath InInitFile::getDefaultUserInitFileDir() {
    return OsFilePath::getUserDocumentsDir() + "ombra" + RELEASE;
}

OsFilePath InInitFile::getUserInitFilePath() {
    std::string path;
    if( isInEnvironment( path ) ) {
        return path;
    }
    const auto& variable = getUserInitFileVariable();
    if( isFrom<InInitArg>( variable ) ) {
        return OsTypedPath::resolve( variable.getValue() );
    }
    if( variable.isValid() && !( ignoresEnvironment && isFrom<InInitEnv>( variable ) ) ) {
        return variable.getValue();
    }
    return getDefaultUserInitFileDir() + getInitFileBaseName();
}

InInitFile::Presence InInitFile::getUserInitFilePresence() {
    std::string path;
    return !isInEnvironment( path ) && isFrom<InInitArg>( getUserInitFileVariable() )
               ? MUST_BE_THERE
               : MAY_BE_MISSING;
}

void InInitFile::setIgnoresEnvironment( bool ignores ) noexcept {
    ignoresEnvironment = ignores;
}

} // namespace Qv
