#include <tools/qvlock/command.h>

#include <base/failure/exBase.h>
#include <base/init/inInitGuard.h>

#include <cstdio>
#include <cstdlib>
#include <exception>

namespace {

constexpr int EXIT_USAGE = 2;

int run( int argc, char** argv ) {
    using namespace Qv::Lock;
    const std::span<const char* const> arguments( argv, static_cast<std::size_t>( argc ) );
    const Options options = parseOptions( arguments.subspan( argc > 0 ? 1 : 0 ) );
    if( options.action == Action::HELP || options.action == Action::VERSION ) {
        std::fputs( options.action == Action::HELP ? getHelp() : "qvlock " QVLOCK_VERSION "\n",
                    stdout );
        return EXIT_SUCCESS;
    }
    const BlockedSignals signals;
    turnLogOff();
    // The command's arguments are none of the library's.
    int nbOwn = 1;
    const char* const* own = arguments.data();
    const Qv::InInitGuard packages( nbOwn, own );
    if( options.action == Action::RUN ) {
        return runLocked( options, signals );
    }
    printStatus( options );
    return EXIT_SUCCESS;
}

} // namespace

int main( int argc, char** argv ) {
    int status = EXIT_FAILURE;
    try {
        status = run( argc, argv );
    } catch( const Qv::Lock::UsageFailure& failure ) {
        Qv::Lock::tell( std::string( failure.what() ) + "; try --help" );
        return EXIT_USAGE;
    } catch( const Qv::ExBase& failure ) {
        Qv::Lock::tell( failure.getReason() );
    } catch( const std::exception& failure ) {
        Qv::Lock::tell( failure.what() );
    }
    if( std::fflush( stdout ) != 0 || std::ferror( stdout ) != 0 ) {
        Qv::Lock::tell( "can't write to standard output" );
        return EXIT_FAILURE;
    }
    return status;
}
