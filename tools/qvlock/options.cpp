#include <tools/qvlock/options.h>

#include <resmgt/osal/osTypedPath.h>

#include <charconv>
#include <limits>
#include <string_view>

namespace Qv::Lock {

namespace {

using Arguments = std::span<const char* const>;

double parseSeconds( std::string_view text ) {
    if( text == "forever" ) {
        return std::numeric_limits<double>::infinity();
    }
    double seconds = 0.0;
    const char* const end = text.data() + text.size();
    const auto [stop, error] =
        std::from_chars( text.data(), end, seconds, std::chars_format::fixed );
    if( error != std::errc() || stop != end || !( seconds >= 0.0 ) || seconds > 1e9 ) {
        throw UsageFailure( "--wait takes seconds or forever, not '" + std::string( text ) + "'" );
    }
    return seconds;
}

OsFilePath parseFile( const char* text ) {
    if( *text == '\0' ) {
        throw UsageFailure( "the name of a file is missing" );
    }
    return OsTypedPath::resolve( text ).getAbsolutePath();
}

Options parseStatus( Arguments arguments ) {
    if( !arguments.empty() && std::string_view( arguments[0] ) == "--" ) {
        arguments = arguments.subspan( 1 );
    }
    if( arguments.size() != 1 ) {
        throw UsageFailure( "status takes one file" );
    }
    return { Action::STATUS, parseFile( arguments[0] ), 0.0, {} };
}

Options parseRun( Arguments arguments ) {
    Options options{ Action::RUN, OsFilePath(), 0.0, {} };
    std::size_t at = 0;
    for( ; at < arguments.size() && arguments[at][0] == '-'; ++at ) {
        const std::string_view argument = arguments[at];
        if( argument == "--wait" && at + 1 < arguments.size() ) {
            options.wait = parseSeconds( arguments[++at] );
        } else if( argument.starts_with( "--wait=" ) ) {
            options.wait = parseSeconds( argument.substr( argument.find( '=' ) + 1 ) );
        } else {
            throw UsageFailure( "there is no option '" + std::string( argument ) + "' of run" );
        }
    }
    if( at + 2 >= arguments.size() || std::string_view( arguments[at + 1] ) != "--" ) {
        throw UsageFailure( "run takes a file, -- and a command" );
    }
    options.file = parseFile( arguments[at] );
    const Arguments command = arguments.subspan( at + 2 );
    options.command.assign( command.begin(), command.end() );
    return options;
}

} // namespace

Options parseOptions( Arguments arguments ) {
    const std::string_view first = arguments.empty() ? "" : arguments[0];
    if( first == "--help" || first == "-h" ) {
        return {};
    }
    if( first == "--version" ) {
        return { Action::VERSION, OsFilePath(), 0.0, {} };
    }
    if( first == "run" ) {
        return parseRun( arguments.subspan( 1 ) );
    }
    if( first == "status" ) {
        return parseStatus( arguments.subspan( 1 ) );
    }
    throw UsageFailure( first.empty()
                            ? "run or status is missing"
                            : "'" + std::string( first ) + "' is neither run nor status" );
}

const char* getHelp() noexcept {
    return R"(Usage: qvlock run [--wait SECONDS] FILE -- COMMAND...
       qvlock status FILE

Locks a file for as long as a command runs, among all processes that lock it in this way, on any
machine that sees it; or says who has locked it.

  run                  lock FILE, run COMMAND, and release the lock when that ends. When the lock is
                       lost, COMMAND is ended: by SIGTERM, and by SIGKILL five seconds later
  --wait SECONDS       try for so long to get the lock, or "forever"; without this, once
  status               say whether FILE is locked, by whom, since when, and whether that one lives
  --help, -h           show this text
  --version            show the version

FILE need not exist. Its lock is a hidden file beside it.

Exit status: of run that of COMMAND, or 128 and the number of the signal that ended it; 1 when the
lock can't be had or is lost, 126 or 127 when COMMAND can't be run or found. Of status 0, and 1 when
it can't be found out. 2 for a wrong command line.
)";
}

} // namespace Qv::Lock
