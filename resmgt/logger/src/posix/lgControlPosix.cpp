#include <resmgt/logger/src/lgControl.h>

#include <base/failure/exBase.h>
#include <base/files/newDescriptorPosix.h>
#include <base/text/printable.h>
#include <resmgt/logger/lgMajorGroup.h>

#include <algorithm>
#include <cerrno>
#include <utility>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace Qv {

namespace {

// Far more than all groups need.
constexpr std::size_t MAX_SIZE = 65536;
constexpr const char* WHITE_SPACE = " \t\r\n\v\f";

bool readAll( int file, std::string& text ) {
    text.resize( MAX_SIZE + 1 );
    std::size_t size = 0;
    while( size < text.size() ) {
        const ssize_t count = ::read( file, text.data() + size, text.size() - size );
        if( count > 0 ) {
            size += static_cast<std::size_t>( count );
        } else if( count == 0 ) {
            break;
        } else if( errno != EINTR ) {
            return false;
        }
    }
    text.resize( size );
    // No name or level has one; a text ends there otherwise.
    std::replace( text.begin(), text.end(), '\0', '?' );
    return size <= MAX_SIZE;
}

} // namespace

bool LgControl::read( std::string& text ) const {
    const int file =
        keepOffStreams( ::open( _path.c_str(), O_RDONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC ) );
    if( file < 0 ) {
        return false;
    }
    struct stat information;
    const bool isRead = ::fstat( file, &information ) == 0 && S_ISREG( information.st_mode ) &&
                        readAll( file, text );
    ::close( file );
    return isRead;
}

std::string LgControl::look() {
    std::string text;
    if( _path.empty() || !read( text ) ) {
        return {};
    }
    text.erase( text.find_last_not_of( WHITE_SPACE ) + 1 );
    if( text == _text ) {
        return {};
    }
    std::string report = "The control file '" + Printable::makeLine( _path ) + "' ";
    try {
        LgMajorGroup::parse( text.c_str() );
        report += "sets the levels '" + Printable::makeLine( text ) + "'.";
    } catch( const ExBase& exception ) {
        report += "is refused: " + Printable::makeLine( exception.getReason() );
    }
    // Last: what there was no memory for is looked at again.
    _text = std::move( text );
    return report;
}

} // namespace Qv
