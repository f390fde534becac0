#include <tools/qvcache/command.h>

#include <iostream>

#include <unistd.h>

int main( int argc, char** argv ) {
    const std::span<const char* const> arguments( argv, static_cast<std::size_t>( argc ) );
    return Qv::Cache::runCommand( arguments.subspan( argc > 0 ? 1 : 0 ), std::cout, std::cerr,
                                  ::isatty( STDERR_FILENO ) != 0 );
}
