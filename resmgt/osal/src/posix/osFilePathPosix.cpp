#include <base/failure/qvHere.h>
#include <base/trace/trace.h>
#include <base/trace/traceManager.h>
#include <resmgt/osal/osFileEx.h>
#include <resmgt/osal/osFilePath.h>

#include <fcntl.h>
#include <pwd.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <optional>
#include <sstream>

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

void traceUnreadable( const OsFilePath& path, int error ) {
    static TraceLevel* const level = Trace::registerLevel( "OsFilePath", "osFilePathPosix.cpp" );
    if( Trace::isEnabled( *level ) ) {
        std::ostringstream text;
        path.dump( text ) << " can't be read: " << std::strerror( error );
        TraceManager::getInstance().getTrace().log( text, QV_HERE );
    }
}

/// What `descriptor` has to read. Sets errno, to 0 on success.
std::string readAll( int descriptor ) {
    std::string text;
    char block[4096];
    for( ;; ) {
        const ssize_t size = ::read( descriptor, block, sizeof( block ) );
        if( size > 0 ) {
            text.append( block, static_cast<std::size_t>( size ) );
        } else if( size == 0 || errno != EINTR ) {
            errno = size == 0 ? 0 : errno;
            return text;
        }
    }
}

/// The text of a settings file of the user's desktop. That there is none is usual.
std::string readSettings( const OsFilePath& path ) {
    const int descriptor = ::open( path.getChars(), O_RDONLY | O_CLOEXEC | O_NONBLOCK );
    std::string text;
    if( descriptor >= 0 ) {
        text = readAll( descriptor );
    }
    if( errno != 0 && errno != ENOENT ) {
        traceUnreadable( path, errno );
    }
    if( descriptor >= 0 ) {
        ::close( descriptor );
    }
    return text;
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
    const OsFilePath home = getHome( "OsFilePath::getDocumentsDir" );
    const OsFilePath variable( getVariable( "XDG_CONFIG_HOME" ).value_or( "" ) );
    const OsFilePath configuration = variable.isAbsolute() ? variable : home + ".config";
    const OsFilePath documents =
        getDocuments( readSettings( configuration + "user-dirs.dirs" ), home );
    return documents.isEmpty() ? home : documents;
}

} // namespace Qv
