#include <resmgt/osal/osFilePath.h>

#include <base/failure/exSysError.h>
#include <base/trace/trace.h>
#include <base/trace/traceManager.h>
#include <resmgt/osal/osFileEx.h>
#include <resmgt/osal/osWorkingDirectory.h>
#include <resmgt/osal/src/osFolder.h>
#include <resmgt/osal/src/osFsPlatform.h>
#include <resmgt/osal/src/posix/accountPosix.h>
#include <resmgt/osal/src/posix/osFsUtilsPosix.h>

#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <optional>
#include <sstream>

namespace Qv {

namespace {

constexpr const char* DOCUMENTS_DIR = "OsFilePath::getDocumentsDir";

/// A directory of which the system gave the name. One with a back-slash counts as none: as a path
/// it would be another directory.
OsFilePath toDirectory( const std::string& name ) {
    return name.find( '\\' ) == std::string::npos ? OsFilePath( name ) : OsFilePath();
}

OsFilePath getDirectory( const char* variable ) {
    const char* const value = std::getenv( variable );
    return value != nullptr ? toDirectory( value ) : OsFilePath();
}

/// A lack of descriptors or memory says nothing of the user's directories.
void checkNoExhaustion( int error, const char* where, const char* detail ) {
    if( OsFsUtilsPosix::isExhaustion( error ) ) {
        errno = error;
        throw ExSysErrorWindows( QV_HERE, where, detail );
    }
}

OsFilePath getHome( const char* where ) {
    OsFilePath home = getDirectory( "HOME" );
    if( home.isEmpty() ) {
        AccountPosix account;
        const int error = AccountPosix::find( ::getuid(), account );
        checkNoExhaustion( error, where, "the list of accounts" );
        home = toDirectory( account.home );
    }
    if( home.isEmpty() ) {
        throw OsFileEx::ExHomeNotDefined( QV_HERE, where );
    }
    return home;
}

void traceUnread( const OsFilePath& path, const char* reason ) {
    static TraceLevel* const level = Trace::registerLevel( "OsFilePath", "osFilePathPosix.cpp" );
    if( Trace::isEnabled( *level ) ) {
        std::ostringstream text;
        text << "'" << path.toString() << "' isn't read: " << reason;
        TraceManager::getInstance().getTrace().log( text, QV_HERE );
    }
}

/// The text of a settings file of the user's desktop, empty when there is none, as is usual.
std::string readSettings( const OsFilePath& path ) {
    using OsFsPlatform::Reading;
    constexpr std::size_t MAX_SIZE = 0x100000;
    std::optional<std::string> text;
    const Reading reading = OsFsPlatform::readRegularFile( path, MAX_SIZE, text );
    const int error = errno;
    if( reading == Reading::DONE ) {
        return *text;
    }
    if( reading != Reading::FAILED ) {
        traceUnread( path, reading == Reading::TOO_LARGE ? "it is too large"
                                                         : "it isn't a regular file" );
    } else if( error != ENOENT ) {
        checkNoExhaustion( error, DOCUMENTS_DIR, path.getChars() );
        traceUnread( path, std::strerror( error ) );
    }
    return {};
}

/// The quoted value that `line` gives the variable of the documents directory, as the shell would
/// read it but for "$HOME", which stays.
std::optional<std::string> getDocumentsValue( std::string_view line ) {
    constexpr std::string_view ASSIGNMENT = "XDG_DOCUMENTS_DIR=\"";
    line.remove_prefix( std::min( line.find_first_not_of( " \t" ), line.size() ) );
    if( !line.starts_with( ASSIGNMENT ) ) {
        return std::nullopt;
    }
    std::string value;
    for( std::size_t i = ASSIGNMENT.size(); i < line.size() && line[i] != '"'; ++i ) {
        if( line[i] == '\\' && i + 1 < line.size() ) {
            ++i;
        }
        value += line[i];
    }
    return value;
}

/// The documents directory that the text of a "user-dirs.dirs" names, empty when it names none that
/// can be written as a path.
OsFilePath getDocuments( const std::string& settings, const OsFilePath& home ) {
    constexpr std::string_view HOME_VARIABLE = "$HOME";
    std::istringstream lines( settings );
    std::string value;
    for( std::string line; std::getline( lines, line ); ) {
        value = getDocumentsValue( line ).value_or( value );
    }
    if( value.find( '\\' ) != std::string::npos ) {
        return {};
    }
    if( value == HOME_VARIABLE ) {
        return home;
    }
    if( value.starts_with( "$HOME/" ) ) {
        return home + ( "./" + value.substr( HOME_VARIABLE.size() ) );
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

OsFilePath OsFilePath::getHomeDir() {
    return getHome( "OsFilePath::getHomeDir" );
}

OsFilePath OsFilePath::getUserDocumentsDir() {
    const OsFilePath home = getHome( DOCUMENTS_DIR );
    const OsFilePath variable = getDirectory( "XDG_CONFIG_HOME" );
    const OsFilePath configuration = variable.isAbsolute() ? variable : home + ".config";
    const OsFilePath documents =
        getDocuments( readSettings( configuration + "user-dirs.dirs" ), home );
    return documents.isEmpty() ? home : documents;
}

OsFilePath OsFsPlatform::getSystemTempDir() {
    const OsFilePath variable = getDirectory( "TMPDIR" );
    return variable.isEmpty() ? OsFilePath( "/tmp" ) : variable;
}

OsFilePath OsFsPlatform::makeCacheDir() {
    const OsFilePath variable = getDirectory( "XDG_CACHE_HOME" );
    try {
        const OsFilePath cache =
            variable.isAbsolute() ? variable : OsFilePath::getHomeDir() + ".cache";
        OsFolder::current().makeDirectory( cache, OsFileTypes::Permissions( 7, 0, 0 ) );
        return cache;
    } catch( const OsFileEx::ExHomeNotDefined& ) {
        return {};
    }
}

std::string OsFsPlatform::getUserMark() {
    return std::to_string( ::geteuid() );
}

} // namespace Qv
