#include <base/failure/qvHere.h>
#include <base/trace/trace.h>
#include <base/trace/traceManager.h>
#include <resmgt/osal/osFileEx.h>
#include <resmgt/osal/osFilePath.h>
#include <resmgt/osal/osFileReader.h>
#include <resmgt/osal/osFsUtils.h>
#include <resmgt/osal/osWorkingDirectory.h>
#include <resmgt/osal/src/osFolder.h>
#include <resmgt/osal/src/osFsPlatform.h>
#include <resmgt/osal/src/posix/accountPosix.h>

#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <optional>
#include <sstream>

namespace Qv {

namespace {

/// A directory of which the system told the name. One with a back-slash counts as none: as a path
/// it would be another directory.
OsFilePath toDirectory( const std::string& name ) {
    return name.find( '\\' ) == std::string::npos ? OsFilePath( name ) : OsFilePath();
}

OsFilePath getDirectory( const char* variable ) {
    const char* const value = std::getenv( variable );
    return value != nullptr ? toDirectory( value ) : OsFilePath();
}

OsFilePath getHome( const char* where ) {
    OsFilePath home = getDirectory( "HOME" );
    AccountPosix account;
    if( home.isEmpty() && AccountPosix::find( ::getuid(), account ) == 0 ) {
        home = toDirectory( account.home );
    }
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

OsFilePath OsFilePath::getHomeDir() {
    return getHome( "OsFilePath::getHomeDir" );
}

OsFilePath OsFilePath::getUserDocumentsDir() {
    const OsFilePath home = getHome( "OsFilePath::getDocumentsDir" );
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
