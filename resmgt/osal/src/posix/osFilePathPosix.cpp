#include <base/failure/qvHere.h>
#include <resmgt/osal/osFileEx.h>
#include <resmgt/osal/osFilePath.h>

#include <pwd.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <optional>

namespace Qv {

namespace {

/// What the environment says; an empty value is none.
std::optional<std::string> getVariable( const char* name ) {
    const char* const value = std::getenv( name );
    return value != nullptr && *value != '\0' ? std::optional<std::string>( value ) : std::nullopt;
}

/// The current directory as the system tells it, empty when it can't.
std::string getWorkingDirectory() {
    std::string text( 1024, '\0' );
    while( ::getcwd( text.data(), text.size() ) == nullptr ) {
        if( errno != ERANGE ) {
            return {};
        }
        text.resize( 2 * text.size() );
    }
    text.resize( text.find( '\0' ) );
    return text;
}

/// The home directory that the system's list of users tells, empty when it tells none.
std::string getListedHome() {
    std::string buffer( 1024, '\0' );
    passwd entry;
    passwd* found = nullptr;
    int error;
    while( ( error = ::getpwuid_r( ::getuid(), &entry, buffer.data(), buffer.size(), &found ) ) ==
               ERANGE ||
           error == EINTR ) {
        if( error == ERANGE ) {
            buffer.resize( 2 * buffer.size() );
        }
    }
    return found != nullptr && found->pw_dir != nullptr ? found->pw_dir : "";
}

OsFilePath getHome( const char* where ) {
    const std::optional<std::string> variable = getVariable( "HOME" );
    OsFilePath home( variable ? *variable : getListedHome() );
    if( home.isEmpty() ) {
        throw OsFileEx::ExHomeNotDefined( QV_HERE, where );
    }
    return home;
}

} // namespace

OsFilePath OsFilePath::getRootDir() {
    return getSeparator();
}

OsFilePath OsFilePath::getCurrentDir() {
    const std::string text = getWorkingDirectory();
    if( text.empty() || text.find( '\\' ) != std::string::npos ) {
        return ".";
    }
    return text;
}

OsFilePath OsFilePath::getTempDir() {
    if( const std::optional<std::string> testDir = getVariable( "QV_TEST_DIR" ) ) {
        return *testDir;
    }
    return OsFilePath( getVariable( "TMPDIR" ).value_or( "/tmp" ) ) + "ombra";
}

OsFilePath OsFilePath::getHomeDir() {
    return getHome( "OsFilePath::getHomeDir" );
}

OsFilePath OsFilePath::getUserDocumentsDir() {
    return getHome( "OsFilePath::getDocumentsDir" );
}

} // namespace Qv
