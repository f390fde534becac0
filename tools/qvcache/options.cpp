#include <tools/qvcache/options.h>

#include <resmgt/osal/osTypedPath.h>

#include <algorithm>
#include <array>
#include <string_view>
#include <vector>

namespace Qv::Cache {

namespace {

struct ActionWord {
    std::string_view text;
    Action action;
};

constexpr std::array<ActionWord, 3> ACTIONS{
    { { "list", Action::LIST }, { "verify", Action::VERIFY }, { "prune", Action::PRUNE } } };

ReportForm parseForm( const std::string& text ) {
    if( text != "text" && text != "json" ) {
        throw UsageFailure( "--report takes text or json, not '" + text + "'" );
    }
    return text == "json" ? ReportForm::JSON : ReportForm::TEXT;
}

/// Options anywhere, the words that are none in their order.
class Reader {
public:
    explicit Reader( std::span<const char* const> arguments ) {
        for( std::size_t i = 0; i < arguments.size() && !isDone(); ++i ) {
            const std::string argument = arguments[i];
            if( argument == "--report" ) {
                if( ++i == arguments.size() ) {
                    throw UsageFailure( "--report needs a value" );
                }
                _options.report = parseForm( arguments[i] );
            } else if( _areOptionsOver || !argument.starts_with( '-' ) ) {
                _words.push_back( argument );
            } else {
                takeFlag( argument );
            }
        }
    }

    Options finish() {
        if( isDone() ) {
            return _options;
        }
        if( _words.empty() || _words[0].empty() ) {
            throw UsageFailure( "the directory of a media cache is missing" );
        }
        if( _words.size() > 2 ) {
            throw UsageFailure( "'" + _words[2] + "' is one word too many" );
        }
        _options.action = _words.size() == 2 ? parseAction( _words[1] ) : Action::SUMMARIZE;
        if( _options.isDryRun && _options.action != Action::PRUNE ) {
            throw UsageFailure( "--dry-run is for prune alone" );
        }
        _options.directory = OsTypedPath::resolve( _words[0] ).getAbsolutePath();
        return _options;
    }

private:
    bool isDone() const noexcept { return _options.wantsHelp || _options.wantsVersion; }

    void takeFlag( const std::string& argument ) {
        if( argument == "--" ) {
            _areOptionsOver = true;
        } else if( argument == "--dry-run" ) {
            _options.isDryRun = true;
        } else if( argument == "--help" || argument == "-h" ) {
            _options.wantsHelp = true;
        } else if( argument == "--version" ) {
            _options.wantsVersion = true;
        } else if( argument.starts_with( "--report=" ) ) {
            _options.report = parseForm( argument.substr( argument.find( '=' ) + 1 ) );
        } else {
            throw UsageFailure( "there is no option '" + argument + "'" );
        }
    }

    static Action parseAction( const std::string& text ) {
        const auto* const word = std::ranges::find( ACTIONS, text, &ActionWord::text );
        if( word == ACTIONS.end() ) {
            throw UsageFailure( "'" + text + "' is none of list, verify and prune" );
        }
        return word->action;
    }

    Options _options;
    std::vector<std::string> _words;
    bool _areOptionsOver = false;
};

} // namespace

Options parseOptions( std::span<const char* const> arguments ) {
    return Reader( arguments ).finish();
}

const char* getHelp() noexcept {
    return R"(Usage: qvcache [options] DIR [list|verify|prune]

Shows what lies in the directory of a media cache: sessions, living or dead, with their blocks and
bytes, and what doesn't belong there.

  list                  name each block and all else, too
  verify                look at the names of all blocks, and read each to its end
  prune                 remove the blocks of dead sessions, and probes that a start has left; where
                        it can't be found out whether a session lives, it keeps its blocks
  --dry-run             with prune: remove nothing
  --report text|json    form of what is printed; text by default
  --help, -h            show this text
  --version             show the version
  --                    the directory follows, whatever its name

Exit status: 0 when all is well, 1 when something can't be done or verify finds faults, 2 for a
wrong command line.
)";
}

} // namespace Qv::Cache
