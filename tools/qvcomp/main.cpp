#include <tools/qvcomp/command.h>

#include <base/failure/exBase.h>
#include <base/init/inInitGuard.h>

#include <iostream>

#include <malloc.h>
#include <unistd.h>

int main( int argc, char** argv ) {
    // With an arena a thread, memory that one thread gives up isn't there for another, and the heap
    // would grow beyond the limit of the tiles.
    ::mallopt( M_ARENA_MAX, 1 );
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
