#include <base/failure/qvHere.h>
#include <base/trace/trace.h>
#include <base/trace/traceManager.h>
#include <resmgt/osal/osFileEx.h>
#include <resmgt/osal/osFilePath.h>
#include <resmgt/osal/osFileReader.h>
#include <resmgt/osal/osFsUtils.h>
#include <resmgt/osal/osWorkingDirectory.h>

#include <pwd.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <optional>
#include <sstream>

namespace Qv {

namespace {

/// What the environment says; an empty value is none.
std::optional<std::string> getVariable( const char* name ) {
    const char* const value = std::getenv( name );
    return value != nullptr && *value != '\0' ? std::optional<std::string>( value ) : std::nullopt;
}

/// The home directory that the system's list of users tells, empty when it tells none.
std::string getListedHome() {
    std::string buffer( 1024, '\0' );
    passwd entry;
    passwd* found = nullptr;
    for( ;; ) {
        const int error = ::getpwuid_r( ::getuid(), &entry, buffer.data(), buffer.size(), &found );
        if( error == ERANGE ) {
            buffer.resize( 2 * buffer.size() );
        } else if( error != EINTR ) {
            return found != nullptr && found->pw_dir != nullptr ? found->pw_dir : "";
        }
    }
}

OsFilePath getHome( const char* where ) {
    const std::optional<std::string> variable = getVariable( "HOME" );
    OsFilePath home( variable ? *variable : getListedHome() );
    if( home.isEmpty() ) {
        throw OsFileEx::ExHomeNotDefined( QV_HERE, where );
    }
    return home;
}

/// The text of a settings file of the user's desktop, empty when there is none, as is usual.
std::string readSettings( const OsFilePath& path ) {
    static TraceLevel* const level = Trace::registerLevel( "OsFilePath", "osFilePathPosix.cpp" );
    try {
        if( !OsFsUtils::fileExists( path ) ) {
            return {};
        }
        OsFileReader reader( path, false );
        std::string text( reader.getSize(), '\0' );
        text.resize( reader.read( text.data(), text.size() ) );
        return text;
    } catch( const ExBase& exception ) {
        if( Trace::isEnabled( *level ) ) {
            std::ostringstream text;
            text << exception.getReason();
            TraceManager::getInstance().getTrace().log( text, QV_HERE );
        }
        return {};
    }
}

/// The quoted value that `line` gives the variable of the documents directory, as the shell would
/// read it but for "$HOME", which stays.
std::optional<std::string> getDocumentsValue( std::string_view line ) {
    constexpr std::string_view assignment = "XDG_DOCUMENTS_DIR=\"";
    line.remove_prefix( std::min( line.find_first_not_of( " \t" ), line.size() ) );
    if( !line.starts_with( assignment ) ) {
        return std::nullopt;
    }
    std::string value;
    for( std::size_t i = assignment.size(); i < line.size() && line[i] != '"'; ++i ) {
        if( line[i] == '\\' && i + 1 < line.size() ) {
            ++i;
        }
        value += line[i];
    }
    return value;
}

/// The documents directory that the text of a "user-dirs.dirs" names, empty when it names none that
/// can be told as a path.
OsFilePath getDocuments( const std::string& settings, const OsFilePath& home ) {
    constexpr std::string_view homeVariable = "$HOME";
    std::istringstream lines( settings );
    std::string value;
    for( std::string line; std::getline( lines, line ); ) {
        value = getDocumentsValue( line ).value_or( value );
    }
    if( value.find( '\\' ) != std::string::npos ) {
        return {};
    }
    if( value == homeVariable ) {
        return home;
    }
    if( value.starts_with( "$HOME/" ) ) {
        return home + ( "./" + value.substr( homeVariable.size() ) );
    }
    return value.starts_with( '/' ) ? OsFilePath( value ) : OsFilePath();
}

} // namespace

OsFilePath OsFilePath::getRootDir() {
    return getSeparator();
}

OsFilePath OsFilePath::getCurrentDir() {
    try {
        return OsWorkingDirectory::get();
    } catch( const ExBase& ) {
        return ".";
    }
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
    const OsFilePath home = getHome( "OsFilePath::getDocumentsDir" );
    const OsFilePath variable( getVariable( "XDG_CONFIG_HOME" ).value_or( "" ) );
    const OsFilePath configuration = variable.isAbsolute() ? variable : home + ".config";
    const OsFilePath documents =
        getDocuments( readSettings( configuration + "user-dirs.dirs" ), home );
    return documents.isEmpty() ? home : documents;
}

} // namespace Qv
