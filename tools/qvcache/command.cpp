#include <tools/qvcache/command.h>
#include <tools/qvcache/report.h>

#include <base/failure/exBase.h>
#include <base/text/printable.h>

#include <algorithm>
#include <cerrno>
#include <functional>
#include <system_error>

namespace Qv::Cache {

namespace {

constexpr int EXIT_DONE = 0;
constexpr int EXIT_FAILED = 1;
constexpr int EXIT_USAGE = 2;

/// A percentage on a line of its own, which goes with the object.
class Progress {
public:
    Progress( std::ostream* terminal, std::uint64_t nbBytes )
        : _terminal( terminal )
        , _nbBytes( std::max<std::uint64_t>( nbBytes, 1 ) ) {}
    Progress( const Progress& ) = delete;
    Progress& operator=( const Progress& ) = delete;
    ~Progress() {
        if( _shown >= 0 ) {
            *_terminal << "\r\x1B[K" << std::flush;
        }
    }

    void show( std::uint64_t nbDone ) {
        const int percent = static_cast<int>( std::min( nbDone, _nbBytes ) * 100 / _nbBytes );
        if( _terminal != nullptr && percent != _shown ) {
            _shown = percent;
            *_terminal << "\rReading blocks: " << percent << '%' << std::flush;
        }
    }

private:
    std::ostream* const _terminal;
    const std::uint64_t _nbBytes;
    int _shown = -1;
};

Report act( const Options& options, std::ostream* terminal ) {
    CtCacheDirectory cache( options.directory );
    Report report{ options, makeSurvey( cache ), std::nullopt, std::nullopt };
    if( options.action == Action::VERIFY ) {
        Progress progress( terminal, report.survey.nbBytes );
        report.faults = verify( options.directory, report.survey,
                                [&]( std::uint64_t nbBytes ) { progress.show( nbBytes ); } );
    }
    if( options.action == Action::PRUNE ) {
        report.pruned = cache.prune( options.isDryRun );
    }
    return report;
}

/// Standard output, of which nothing that is said may be lost.
void writeOut( std::ostream& output, const std::function<void( std::ostream& )>& write ) {
    errno = 0;
    write( output );
    if( !output.flush() ) {
        throw std::system_error( errno != 0 ? errno : EIO, std::generic_category(),
                                 "can't write to standard output" );
    }
}

int run( const Options& options, std::ostream& output, std::ostream* terminal ) {
    if( options.wantsHelp || options.wantsVersion ) {
        writeOut( output, [&]( std::ostream& stream ) {
            stream << ( options.wantsHelp ? getHelp() : "qvcache " QVCACHE_VERSION "\n" );
        } );
        return EXIT_DONE;
    }
    const Report report = act( options, terminal );
    writeOut( output, [&]( std::ostream& stream ) { writeReport( stream, report ); } );
    return report.faults && !report.faults->empty() ? EXIT_FAILED : EXIT_DONE;
}

void tell( std::ostream& errors, const std::string& text ) {
    errors << "qvcache: " << Printable::makeLine( text ) << '\n';
}

} // namespace

int runCommand( std::span<const char* const> arguments, std::ostream& output, std::ostream& errors,
                bool isTerminal ) {
    try {
        return run( parseOptions( arguments ), output, isTerminal ? &errors : nullptr );
    } catch( const UsageFailure& failure ) {
        tell( errors, std::string( failure.what() ) + "; try --help" );
        return EXIT_USAGE;
    } catch( const ExBase& failure ) {
        tell( errors, failure.getReason() );
    } catch( const std::exception& failure ) {
        tell( errors, failure.what() );
    }
    return EXIT_FAILED;
}

} // namespace Qv::Cache
