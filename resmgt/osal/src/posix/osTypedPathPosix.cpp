#include <resmgt/osal/osTypedPath.h>

#include <base/failure/exSysError.h>
#include <base/failure/qvHere.h>
#include <resmgt/osal/osFileEx.h>

#include <algorithm>
#include <cstdlib>
#include <memory>
#include <string_view>

namespace Qv {

namespace {

constexpr const char* WHERE = "OsTypedPath::resolve";

/// The length of `text` up to the end of its last component "..", 0 when it has none.
std::size_t getClimbingLength( std::string_view text ) {
    for( std::size_t end = text.size(); end >= 2; ) {
        const std::size_t separator = text.rfind( '/', end - 1 );
        const std::size_t begin = separator == std::string_view::npos ? 0 : separator + 1;
        if( text.substr( begin, end - begin ) == ".." ) {
            return end;
        }
        end = begin == 0 ? 0 : begin - 1;
    }
    return 0;
}

/// `text` with its ".." followed.
std::string climb( const std::string& text ) {
    const std::size_t length = getClimbingLength( text );
    if( length == 0 ) {
        return text;
    }
    const std::unique_ptr<char, decltype( &std::free )> directory(
        ::realpath( text.substr( 0, length ).c_str(), nullptr ), &std::free );
    if( directory == nullptr ) {
        throw ExSysErrorWindows( QV_HERE, WHERE, text.c_str() );
    }
    return directory.get() + text.substr( length );
}

} // namespace

OsFilePath OsTypedPath::resolve( const std::string& text ) {
    if( text.find( '\0' ) != std::string::npos ) {
        throw OsFileEx::ExInvalidPath( QV_HERE, WHERE, text );
    }
    const std::string told = climb( text );
    if( told.find( '\\' ) != std::string::npos ) {
        throw OsFileEx::ExInvalidPath( QV_HERE, WHERE, text );
    }
    if( told.starts_with( '/' ) ) {
        // More than one would be a server's root.
        return '/' + told.substr( std::min( told.find_first_not_of( '/' ), told.size() ) );
    }
    return told.empty() ? OsFilePath() : OsFilePath( "./" + told );
}

} // namespace Qv
