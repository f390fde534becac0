#include <tools/qvcomp/command.h>
#include <tools/qvcomp/log.h>
#include <tools/qvcomp/qvcompPackage.h>

#include <base/failure/exBase.h>
#include <base/init/inInitGuard.h>
#include <base/text/printable.h>
#include <resmgt/osal/osTempDir.h>

#include <iostream>

#include <fcntl.h>
#include <malloc.h>
#include <sys/resource.h>
#include <unistd.h>

namespace {

/// A standard stream that this program was started without would be the next file that anybody
/// opens. What stands in for it refuses to be read or written, as the missing one does.
void fillStandardStreams() {
    for( const int stream : { STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO } ) {
        if( ::fcntl( stream, F_GETFD ) < 0 ) {
            ::open( "/dev/null", stream == STDIN_FILENO ? O_WRONLY : O_RDONLY );
        }
    }
}

/// The files of all layers are open at the same time.
void raiseFileLimit() {
    rlimit limit;
    if( ::getrlimit( RLIMIT_NOFILE, &limit ) == 0 ) {
        limit.rlim_cur = limit.rlim_max;
        ::setrlimit( RLIMIT_NOFILE, &limit );
    }
}

/// What layers take to be unpacked goes back to the system when it is freed: what the allocator
/// would keep of it, having seen that such blocks come and go, comes on top of the limit of memory.
void giveLargeBlocksBack() {
    constexpr int BYTES = 4 << 20;
    ::mallopt( M_MMAP_THRESHOLD, BYTES );
}

} // namespace

int main( int argc, char** argv ) {
    fillStandardStreams();
    raiseFileLimit();
    giveLargeBlocksBack();
    Qv::Comp::dropEmptySettings();
    // Pictures are made beside their targets; only a setting can name the directory.
    Qv::OsTempDir::setOnDemand( true );
    const std::span<const char* const> arguments =
        std::span( argv, static_cast<std::size_t>( argc ) ).subspan( 1 );
    try {
        Qv::Comp::chooseLog( arguments );
        const Qv::InInitGuard packages( argc, argv );
        return Qv::Comp::runCommand( arguments, std::cout, std::cerr,
                                     ::isatty( STDERR_FILENO ) != 0 );
    } catch( const Qv::ExBase& e ) {
        std::cerr << "qvcomp: " << Qv::Printable::makeText( e.getReason() ) << '\n';
        return 1;
    } catch( const std::exception& e ) {
        std::cerr << "qvcomp: " << Qv::Printable::makeText( e.what() ) << '\n';
        return 1;
    }
}
