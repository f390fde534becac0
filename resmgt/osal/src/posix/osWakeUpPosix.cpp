#include <resmgt/osal/osWakeUp.h>

#include <base/failure/assertions.h>
#include <base/failure/exSysError.h>
#include <base/files/newDescriptorPosix.h>

#include <sys/eventfd.h>
#include <unistd.h>

#include <cerrno>
#include <cstdint>

namespace Qv {

OsWakeUp::OsWakeUp()
    : _descriptor( keepOffStreams( ::eventfd( 0, EFD_CLOEXEC | EFD_NONBLOCK ) ) ) {
    if( _descriptor < 0 ) {
        throw ExSysErrorWindows( QV_HERE, "OsWakeUp::OsWakeUp" );
    }
}

OsWakeUp::~OsWakeUp() {
    ::close( _descriptor );
}

void OsWakeUp::wakeUp() {
    const int error = errno;
    const std::uint64_t one = 1;
    // A counter that is full wakes as well.
    QV_SYS_ASSERT( ::write( _descriptor, &one, sizeof( one ) ) == sizeof( one ) || errno == EAGAIN,
                   errno );
    errno = error;
}

bool OsWakeUp::drain() {
    std::uint64_t nbWakeUps = 0;
    const bool wasWoken = ::read( _descriptor, &nbWakeUps, sizeof( nbWakeUps ) ) > 0;
    QV_SYS_ASSERT( wasWoken || errno == EAGAIN, errno );
    return wasWoken;
}

} // namespace Qv
