#include <resmgt/logger/src/lgStandardStreams.h>

#include <base/files/sizeSignalGuardPosix.h>
#include <resmgt/logger/src/posix/pipeSignalGuardPosix.h>

#include <fcntl.h>
#include <unistd.h>

namespace Qv {

void writeStandardError( std::string_view text ) noexcept {
    const SizeSignalGuard sizeGuard;
    const PipeSignalGuard pipeGuard;
    [[maybe_unused]] const ssize_t count = ::write( STDERR_FILENO, text.data(), text.size() );
}

bool isStandardOutputThere() noexcept {
    return ::fcntl( STDOUT_FILENO, F_GETFD ) >= 0;
}

} // namespace Qv
