#include <resmgt/messages/msgManager.h>

#include <base/text/printable.h>

#include <cerrno>
#include <poll.h>
#include <string>
#include <string_view>
#include <unistd.h>

namespace Qv {

namespace {

/// Whether the terminal takes more, sooner or later.
bool isWorthTrying() {
    if( errno == EAGAIN || errno == EWOULDBLOCK ) {
        pollfd request{ STDERR_FILENO, POLLOUT, 0 };
        return ::poll( &request, 1, -1 ) >= 0 || errno == EINTR;
    }
    return errno == EINTR;
}

/// Where there is no terminal, or none any more, there is nobody to tell.
void showOnTerminal( std::string_view text ) {
    if( ::isatty( STDERR_FILENO ) == 0 ) {
        return;
    }
    while( !text.empty() ) {
        const ssize_t count = ::write( STDERR_FILENO, text.data(), text.size() );
        if( count >= 0 ) {
            text.remove_prefix( static_cast<std::size_t>( count ) );
        } else if( !isWorthTrying() ) {
            return;
        }
    }
}

} // namespace

void MsgManager::performBeep( MsgTypes::Level ) {
    showOnTerminal( "\a" );
}

void MsgManager::performShowBox( const char* title, const char* text, MsgTypes::Level ) {
    showOnTerminal( std::string( title ) + ": " + Printable::makeText( text ) + '\n' );
}

} // namespace Qv
