#include <base/text/printable.h>
#include <resmgt/logger/lgTail.h>

#include <cerrno>
#include <charconv>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <exception>
#include <string>
#include <vector>

/// Prints the log lines that a killed process hadn't written.

namespace {

constexpr const char* HELP =
    "Usage: qvlog tail [--remove] [PROCESS]\n"
    "\n"
    "Prints the log lines that processes hadn't written yet when they were killed, in the order\n"
    "of their time stamps, for processes that ran with QV_LOG_TAIL=1.\n"
    "\n"
    "  PROCESS    the number of one process; without it, all that have ended\n"
    "  --remove   removes what was printed\n"
    "  --help     prints this text\n";

struct Options {
    bool isRemoving = false;
    // 0 for all.
    std::uint64_t process = 0;
};

int fail( const std::string& text ) {
    std::fprintf( stderr, "qvlog: %s\nSee qvlog --help.\n", text.c_str() );
    return 2;
}

bool parse( const std::string& argument, Options& options ) {
    if( argument == "--remove" ) {
        options.isRemoving = true;
        return true;
    }
    const char* const end = argument.data() + argument.size();
    const auto result = std::from_chars( argument.data(), end, options.process );
    return result.ec == std::errc() && result.ptr == end && options.process > 0;
}

void print( const Qv::LgTail::Line& line ) {
    const auto seconds = static_cast<std::time_t>( std::floor( line.time ) );
    std::tm utc{};
    char time[32] = "?";
    if( ::gmtime_r( &seconds, &utc ) != nullptr ) {
        std::strftime( time, sizeof( time ), "%Y-%m-%dT%H:%M:%S", &utc );
    }
    const int hundredths = static_cast<int>( ( line.time - std::floor( line.time ) ) * 100 );
    const std::string text =
        line.nbLost > 0 ? "Event overflow [" + std::to_string( line.nbLost ) + "]" : line.text;
    std::printf( "%s.%02dZ [%-14s] %-10s (0x%08llx) %s\n", time, hundredths,
                 Qv::LgTypes::getLevelName( line.level ),
                 Qv::Printable::makeText( line.threadName.c_str() ).c_str(),
                 static_cast<unsigned long long>( line.threadId ),
                 Qv::Printable::makeText( text.c_str() ).c_str() );
}

int printTail( const Options& options ) {
    bool isComplete = true;
    bool hasFound = false;
    for( const Qv::LgTail::Process& process : Qv::LgTail::read() ) {
        if( options.process != 0 ? process.number != options.process : process.isAlive ) {
            continue;
        }
        hasFound = true;
        std::printf( "Process %llu%s\n", static_cast<unsigned long long>( process.number ),
                     process.isAlive ? ", still running" : "" );
        for( const Qv::LgTail::Line& line : process.lines ) {
            print( line );
        }
        // Only what has been read can go.
        if( std::fflush( stdout ) != 0 || std::ferror( stdout ) != 0 ) {
            std::fprintf( stderr, "qvlog: the standard output can't be written: %s.\n",
                          std::strerror( errno ) );
            return 1;
        }
        if( options.isRemoving && !Qv::LgTail::remove( process ) ) {
            std::fprintf( stderr, "qvlog: what process %llu left couldn't be removed.\n",
                          static_cast<unsigned long long>( process.number ) );
            isComplete = false;
        }
    }
    if( options.process != 0 && !hasFound ) {
        std::fprintf( stderr, "qvlog: process %llu has left nothing.\n",
                      static_cast<unsigned long long>( options.process ) );
        isComplete = false;
    }
    return isComplete ? 0 : 1;
}

int run( const std::vector<std::string>& arguments ) {
    for( const std::string& argument : arguments ) {
        if( argument == "--help" ) {
            std::fputs( HELP, stdout );
            return 0;
        }
    }
    if( arguments.empty() || arguments[0] != "tail" ) {
        return fail( arguments.empty() ? "a command is missing."
                                       : "'" + arguments[0] + "' is no command." );
    }
    Options options;
    for( std::size_t i = 1; i < arguments.size(); ++i ) {
        if( !parse( arguments[i], options ) ) {
            return fail( "'" + arguments[i] + "' is neither an option nor a process's number." );
        }
    }
    return printTail( options );
}

} // namespace

int main( int argc, char** argv ) {
    try {
        return run( std::vector<std::string>( argv + 1, argv + argc ) );
    } catch( const std::exception& exception ) {
        std::fprintf( stderr, "qvlog: %s\n", exception.what() );
        return 1;
    }
}
