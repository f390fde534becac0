#include <tools/qvcache/report.h>

#include <tools/jsonText.h>

#include <base/text/printable.h>

#include <iomanip>

namespace Qv::Cache {

namespace {

const char* toText( CtCacheDirectory::State state ) {
    switch( state ) {
    case CtCacheDirectory::State::LIVING:
        return "living";
    case CtCacheDirectory::State::DEAD:
        return "dead";
    default:
        return "unknown";
    }
}

const char* toText( CtCacheEntry::Kind kind ) {
    switch( kind ) {
    case CtCacheEntry::BLOCK:
        return "block";
    case CtCacheEntry::PROBE:
        return "probe";
    case CtCacheEntry::INDEX:
        return "index";
    default:
        return "foreign";
    }
}

/// As "1 block", "2 blocks".
std::string count( std::uint64_t number, const std::string& one, const std::string& many ) {
    return std::to_string( number ) + ' ' + ( number == 1 ? one : many );
}

CtCacheDirectory::State getState( const Survey& survey, const CtCacheEntry& block ) {
    return survey.sessions.at( getSession( block.id ) ).state;
}

void writeSessions( std::ostream& stream, const Survey& survey ) {
    if( !survey.sessions.empty() ) {
        stream << "   Session  State    Blocks               Bytes\n";
    }
    for( const auto& [number, session] : survey.sessions ) {
        stream << std::setw( 10 ) << number << "  " << std::setw( 7 ) << std::left
               << toText( session.state ) << std::right << std::setw( 8 ) << session.nbBlocks
               << std::setw( 20 ) << session.nbBytes << '\n';
    }
}

void writeEntries( std::ostream& stream, const Survey& survey ) {
    for( const CtCacheEntry& entry : survey.entries ) {
        stream << std::setw( 7 ) << std::left << toText( entry.kind ) << std::right << "  ";
        if( entry.kind == CtCacheEntry::BLOCK ) {
            stream << std::setw( 7 ) << std::left << toText( getState( survey, entry ) )
                   << std::right << std::setw( 12 ) << entry.size << "  ";
        }
        stream << Printable::makeLine( entry.path ) << '\n';
    }
}

void writeText( std::ostream& stream, const Report& report ) {
    const Survey& survey = report.survey;
    stream << Printable::makeLine( report.options.directory.toString() ) << '\n';
    writeSessions( stream, survey );
    if( report.options.action == Action::LIST ) {
        writeEntries( stream, survey );
    }
    stream << count( survey.nbBlocks, "block", "blocks" ) << " of "
           << count( survey.nbBytes, "byte", "bytes" ) << ", "
           << count( survey.nbProbes, "probe", "probes" ) << ", "
           << count( survey.nbForeign, "foreign entry", "foreign entries" ) << '\n';
    if( report.faults ) {
        for( const Fault& fault : *report.faults ) {
            stream << Printable::makeLine( fault.path ) << ' ' << fault.text << '\n';
        }
        stream << count( report.faults->size(), "fault", "faults" ) << " found\n";
    }
    if( report.pruned ) {
        stream << ( report.options.isDryRun ? "Would remove " : "Removed " )
               << count( report.pruned->nbBlocks, "block", "blocks" ) << " of "
               << count( report.pruned->nbBytes, "byte", "bytes" ) << " and "
               << count( report.pruned->nbProbes, "probe", "probes" ) << '\n';
    }
}

/// Writes `items` as an array of objects, of which `write` writes the content.
template <class Items, class Write>
void writeArray( std::ostream& stream, const char* key, const Items& items, const Write& write ) {
    const char* separator = "";
    stream << ",\n  \"" << key << "\": [";
    for( const auto& item : items ) {
        stream << separator << "\n    { ";
        write( item );
        stream << " }";
        separator = ",";
    }
    stream << ( *separator == 0 ? "]" : "\n  ]" );
}

void writeEntry( std::ostream& stream, const Survey& survey, const CtCacheEntry& entry ) {
    stream << "\"path\": " << quoteJson( entry.path ) << ", \"kind\": \"" << toText( entry.kind )
           << '"';
    if( entry.kind == CtCacheEntry::BLOCK ) {
        stream << ", \"session\": " << getSession( entry.id ) << ", \"state\": \""
               << toText( getState( survey, entry ) ) << "\", \"bytes\": " << entry.size;
    }
}

void writeJson( std::ostream& stream, const Report& report ) {
    const Survey& survey = report.survey;
    stream << "{\n  \"directory\": " << quoteJson( report.options.directory.toString() );
    writeArray( stream, "sessions", survey.sessions, [&]( const auto& session ) {
        stream << "\"session\": " << session.first << ", \"state\": \""
               << toText( session.second.state ) << "\", \"blocks\": " << session.second.nbBlocks
               << ", \"bytes\": " << session.second.nbBytes;
    } );
    stream << ",\n  \"blocks\": " << survey.nbBlocks << ",\n  \"bytes\": " << survey.nbBytes
           << ",\n  \"probes\": " << survey.nbProbes << ",\n  \"foreign\": " << survey.nbForeign;
    if( report.options.action == Action::LIST ) {
        writeArray( stream, "entries", survey.entries,
                    [&]( const CtCacheEntry& entry ) { writeEntry( stream, survey, entry ); } );
    }
    if( report.faults ) {
        writeArray( stream, "faults", *report.faults, [&]( const Fault& fault ) {
            stream << "\"path\": " << quoteJson( fault.path )
                   << ", \"fault\": " << quoteJson( fault.text );
        } );
    }
    if( report.pruned ) {
        stream << ",\n  \"pruned\": { \"blocks\": " << report.pruned->nbBlocks
               << ", \"bytes\": " << report.pruned->nbBytes
               << ", \"probes\": " << report.pruned->nbProbes
               << ", \"dryRun\": " << ( report.options.isDryRun ? "true" : "false" ) << " }";
    }
    stream << "\n}\n";
}

} // namespace

void writeReport( std::ostream& stream, const Report& report ) {
    if( report.options.report == ReportForm::JSON ) {
        writeJson( stream, report );
    } else {
        writeText( stream, report );
    }
}

} // namespace Qv::Cache
