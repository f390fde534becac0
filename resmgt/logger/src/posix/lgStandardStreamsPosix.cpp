#include <resmgt/logger/src/lgStandardStreams.h>

#include <base/files/sizeSignalGuardPosix.h>
#include <base/text/exStdout.h>
#include <resmgt/logger/src/posix/pipeSignalGuardPosix.h>

#include <atomic>
#include <exception>
#include <string>

#include <fcntl.h>
#include <unistd.h>

namespace Qv {

namespace {

void reportOnce( const std::exception& failure ) noexcept {
    // Relaxed: it orders nothing.
    static constinit std::atomic<bool> isReported = false;
    if( isReported.exchange( true, std::memory_order_relaxed ) ) {
        return;
    }
    try {
        writeStandardError( std::string( "The log can't be echoed: " ) + failure.what() + "\n" );
    } catch( const std::exception& ) {
        writeStandardError( "The log can't be echoed.\n" );
    }
}

} // namespace

void writeStandardError( std::string_view text ) noexcept {
    const SizeSignalGuard sizeGuard;
    const PipeSignalGuard pipeGuard;
    [[maybe_unused]] const ssize_t count = ::write( STDERR_FILENO, text.data(), text.size() );
}

bool writeStandardOutput( const char* text ) noexcept {
    const PipeSignalGuard pipeGuard;
    try {
        ExStdout::printAtomically( text );
        return true;
    } catch( const std::exception& failure ) {
        reportOnce( failure );
        return false;
    }
}

bool isStandardOutputThere() noexcept {
    return ::fcntl( STDOUT_FILENO, F_GETFD ) >= 0;
}

} // namespace Qv
