#include <tools/qvcomp/command.h>

#include <base/failure/exBase.h>
#include <base/init/inInitGuard.h>

#include <iostream>

#include <unistd.h>

int main( int argc, char** argv ) {
    const char* const* arguments = argv;
    try {
        const Qv::InInitGuard packages( argc, arguments );
        return Qv::Comp::runCommand(
            std::span( arguments, static_cast<std::size_t>( argc ) ).subspan( 1 ), std::cout,
            std::cerr, ::isatty( STDERR_FILENO ) != 0 );
    } catch( const Qv::ExBase& e ) {
        std::cerr << "qvcomp: " << e.getReason() << '\n';
        return 1;
    } catch( const std::exception& e ) {
        std::cerr << "qvcomp: " << e.what() << '\n';
        return 1;
    }
}
