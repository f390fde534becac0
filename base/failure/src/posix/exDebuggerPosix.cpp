#include <base/failure/src/exDebugger.h>

#include <base/files/newDescriptorPosix.h>

#include <fcntl.h>
#include <signal.h>
#include <unistd.h>

#include <cstring>

namespace Qv {

namespace {

/// As much of /proc/self/status as holds the tracer's line. Works in a process that is dying.
class StatusText {
public:
    StatusText() noexcept {
        const int file = keepOffStreams( ::open( "/proc/self/status", O_RDONLY | O_CLOEXEC ) );
        if( file >= 0 ) {
            const ssize_t size = ::read( file, _text, sizeof( _text ) - 1 );
            _text[size > 0 ? size : 0] = 0;
            ::close( file );
        }
    }

    const char* find( const char* label ) const noexcept {
        const char* const line = std::strstr( _text, label );
        return line != nullptr ? line + std::strlen( label ) : nullptr;
    }

private:
    char _text[2048] = {};
};

} // namespace

bool ExDebugger::isAttached() noexcept {
    const StatusText status;
    const char* tracer = status.find( "TracerPid:" );
    if( tracer == nullptr ) {
        return false;
    }
    tracer += std::strspn( tracer, " \t" );
    return *tracer >= '1' && *tracer <= '9';
}

void ExDebugger::stop() noexcept {
    ::raise( SIGTRAP );
}

} // namespace Qv
