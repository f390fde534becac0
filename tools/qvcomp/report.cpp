#include <tools/qvcomp/report.h>

#include <tools/jsonText.h>

#include <base/text/printable.h>
#include <resmgt/osal/osFileReader.h>

#include <algorithm>
#include <cstdio>
#include <string>
#include <string_view>

namespace Qv::Comp {

namespace {

std::string format( const char* form, double value ) {
    char text[64];
    std::snprintf( text, sizeof text, form, value );
    return text;
}

std::string toMebibytes( std::uint64_t bytes ) {
    return format( "%.1f MiB", static_cast<double>( bytes ) / ( 1024.0 * 1024.0 ) );
}

std::string toTasks( const MtPoolSnapshot& workers ) {
    return std::to_string( workers.nbDone ) + " tasks of workers, at most " +
           std::to_string( workers.mostQueued ) + " waiting";
}

std::string toPasses( const std::vector<PassRecord>& passes ) {
    const auto longest = std::max_element(
        passes.begin(), passes.end(),
        []( const PassRecord& a, const PassRecord& b ) { return a.seconds < b.seconds; } );
    std::string text = std::to_string( passes.size() );
    if( longest != passes.end() ) {
        text += ", the longest " + format( "%.2f s: ", longest->seconds ) +
                Printable::makeLine( longest->name );
    }
    return text;
}

std::string toJson( const std::vector<PassRecord>& passes ) {
    std::string text;
    for( const PassRecord& pass : passes ) {
        text += ( text.empty() ? "\n    { \"name\": " : ",\n    { \"name\": " ) +
                quoteJson( pass.name ) + ", \"steps\": " + std::to_string( pass.nbSteps ) +
                ", \"seconds\": " + format( "%.3f", pass.seconds ) + " }";
    }
    return text;
}

void writeText( std::ostream& stream, const Report& report ) {
    const Options& options = report.options;
    const std::string limit = options.memory ? toMebibytes( *options.memory ) : "none";
    if( options.frame ) {
        stream << "Frame           " << *options.frame << '\n';
    }
    stream << "Picture         " << Printable::makeLine( options.output.toString() ) << ", "
           << options.width << " x " << options.height << ", " << options.layers.size()
           << ( options.layers.size() == 1 ? " layer\n" : " layers\n" ) << "Tiles           "
           << report.tiles << " of " << options.tileSide * options.tileSide << " pixels\n"
           << "Evictions       " << report.evictions << '\n'
           << "Reloads         " << report.reloads << ", " << report.prefetches
           << " of them ahead of need\n"
           << "Written         " << toMebibytes( report.bytesWritten ) << '\n'
           << "Read            " << toMebibytes( report.bytesRead ) << '\n'
           << "Working set     " << toMebibytes( report.workingSet ) << '\n'
           << "Memory limit    " << limit << '\n'
           << "Peak of tiles   " << toMebibytes( report.peakTiles ) << '\n'
           << "Peak of process " << toMebibytes( report.peakProcess ) << '\n'
           << "Computing       " << toTasks( report.computing ) << '\n'
           << "Transfers       " << toTasks( report.transfers ) << '\n'
           << "Passes          " << toPasses( report.passes ) << '\n'
           << "Time            " << format( "%.2f s", report.seconds ) << '\n'
           << "Log             "
           << ( report.logFile.empty() ? "none" : Printable::makeLine( report.logFile ) ) << '\n';
    if( options.mustVerify ) {
        stream << "Verified        identical to the picture made in plain memory\n";
    }
}

void writeJson( std::ostream& stream, const Report& report ) {
    const Options& options = report.options;
    stream << "{\n"
           << "  \"output\": " << quoteJson( options.output.toString() ) << ",\n"
           << "  \"frame\": " << ( options.frame ? std::to_string( *options.frame ) : "null" )
           << ",\n"
           << "  \"width\": " << options.width << ",\n"
           << "  \"height\": " << options.height << ",\n"
           << "  \"layers\": " << options.layers.size() << ",\n"
           << "  \"tileSide\": " << options.tileSide << ",\n"
           << "  \"threads\": " << options.threads << ",\n"
           << "  \"strategy\": \"" << toText( options.strategy ) << "\",\n"
           << "  \"policy\": \"" << toText( options.policy ) << "\",\n"
           << "  \"manager\": \"" << toText( options.manager ) << "\",\n"
           << "  \"tiles\": " << report.tiles << ",\n"
           << "  \"evictions\": " << report.evictions << ",\n"
           << "  \"reloads\": " << report.reloads << ",\n"
           << "  \"prefetches\": " << report.prefetches << ",\n"
           << "  \"bytesWritten\": " << report.bytesWritten << ",\n"
           << "  \"bytesRead\": " << report.bytesRead << ",\n"
           << "  \"workingSetBytes\": " << report.workingSet << ",\n"
           << "  \"limitBytes\": "
           << ( options.memory ? std::to_string( *options.memory ) : "null" ) << ",\n"
           << "  \"peakTileBytes\": " << report.peakTiles << ",\n"
           << "  \"peakProcessBytes\": " << report.peakProcess << ",\n"
           << "  \"computeTasks\": " << report.computing.nbDone << ",\n"
           << "  \"computeMostQueued\": " << report.computing.mostQueued << ",\n"
           << "  \"transferTasks\": " << report.transfers.nbDone << ",\n"
           << "  \"transferMostQueued\": " << report.transfers.mostQueued << ",\n"
           << "  \"passes\": [" << toJson( report.passes ) << "],\n"
           << "  \"log\": " << ( report.logFile.empty() ? "null" : quoteJson( report.logFile ) )
           << ",\n"
           << "  \"seconds\": " << format( "%.3f", report.seconds ) << ",\n"
           << "  \"verified\": " << ( options.mustVerify ? "true" : "null" ) << "\n"
           << "}\n";
}

} // namespace

void writeReport( std::ostream& stream, const Report& report ) {
    if( report.options.report == ReportForm::JSON ) {
        writeJson( stream, report );
    } else {
        writeText( stream, report );
    }
}

std::uint64_t getPeakProcessMemory() {
    // The high-water mark of this program alone; the kernel's resource usage also counts what the
    // process was before it became this program.
    OsFileReader status( OsFilePath( "/proc/self/status" ), false );
    std::string text( 16384, '\0' );
    text.resize( status.read( text.data(), text.size() ) );
    constexpr std::string_view PEAK = "\nVmHWM:";
    const std::size_t place = text.find( PEAK );
    return place == std::string::npos ? 0
                                      : std::stoull( text.substr( place + PEAK.size() ) ) * 1024;
}

} // namespace Qv::Comp
