#include <tools/lockHolder.h>

#include <base/text/printable.h>
#include <resmgt/fileLocks/osFileLock.h>
#include <resmgt/fileLocks/osFileLockManager.h>
#include <resmgt/osSupport/osDateUtil.h>
#include <resmgt/osal/osFile.h>
#include <resmgt/osal/osFileUtils.h>
#include <resmgt/osal/osFsUtils.h>

#include <algorithm>
#include <filesystem>
#include <optional>
#include <string_view>

namespace Qv {

namespace {

// More than any holder writes.
constexpr std::size_t MOST_BYTES = 16384;

std::string unescape( std::string_view text ) {
    static constexpr std::pair<std::string_view, char> ESCAPES[] = {
        { "&amp;", '&' }, { "&lt;", '<' }, { "&gt;", '>' }, { "&apos;", '\'' }, { "&quot;", '"' } };
    std::string plain;
    while( !text.empty() ) {
        const auto* const found =
            std::find_if( std::begin( ESCAPES ), std::end( ESCAPES ),
                          [&]( const auto& escape ) { return text.starts_with( escape.first ); } );
        const bool isEscape = found != std::end( ESCAPES );
        plain += isEscape ? found->second : text.front();
        text.remove_prefix( isEscape ? found->first.size() : 1 );
    }
    return plain;
}

/// The value of an attribute of the one element that a lock file is.
std::string findValue( const std::string& text, const std::string& name ) {
    const std::string begin = " " + name + "=\"";
    const std::size_t found = text.find( begin );
    const std::size_t start = found == std::string::npos ? text.size() : found + begin.size();
    const std::size_t end = text.find( '"', start );
    return end == std::string::npos ? ""
                                    : Printable::makeLine( unescape(
                                          std::string_view( text ).substr( start, end - start ) ) );
}

std::string readText( const OsFilePath& path ) {
    std::optional<std::string> text;
    try {
        OsFileUtils::readRegularFile( path, MOST_BYTES, text );
    } catch( const ExBase& ) {
        // It may be another's to read.
    }
    return text.value_or( "" );
}

/// Nothing for a file that has just gone.
std::optional<OsFileInfo> findInfo( const OsFile& file ) {
    try {
        return file.getInfo();
    } catch( const ExBase& ) {
        if( file.isFile() ) {
            throw;
        }
        return std::nullopt;
    }
}

double toSeconds( const OsDateTypes::DateRep& date ) {
    return static_cast<double>( date.getSeconds() ) + 1e-9 * date.getNanoseconds();
}

} // namespace

std::string LockHolder::describe() const {
    return ( user.empty() ? "somebody" : user ) + ( host.empty() ? "" : " on " + host ) +
           ( since.empty() ? "" : " since " + since );
}

LockHolder findLockHolder( const OsFilePath& path ) {
    const OsFilePath lockPath = OsFileLock::getLockPath( path.getAbsolutePath() );
    LockHolder holder;
    // Of the name itself, as for those who lock: no link is followed.
    const auto type = std::filesystem::symlink_status( lockPath.toString() ).type();
    if( type != std::filesystem::file_type::regular ) {
        holder.state =
            type == std::filesystem::file_type::not_found ? LockHolder::FREE : LockHolder::BLOCKED;
        return holder;
    }
    const OsFile file( lockPath );
    // First: to open the file is to ask the server about it, past what this machine remembers.
    const std::string text = readText( lockPath );
    const OPtr<OsDateTypes::DateRep> now( OsFsUtils::getServerTime( lockPath.getDirectoryName() ) );
    const std::optional<OsFileInfo> found = findInfo( file );
    if( !found ) {
        return holder;
    }
    const OsFileInfo& info = *found;
    holder.age = toSeconds( *now ) - toSeconds( info.getLastModificationTime() );
    holder.state =
        holder.age < OsFileLockManager::getMaximumLife() ? LockHolder::ALIVE : LockHolder::DEAD;
    holder.since = OsDateUtil::toLocalText( info.getCreationTime(), "%Y-%m-%d %H:%M:%S" );
    holder.build = findValue( text, "build" );
    holder.process = findValue( text, "process" );
    holder.host = findValue( text, "host" );
    holder.user = findValue( text, "user" );
    return holder;
}

} // namespace Qv
