#include <tools/qvcomp/progress.h>

#include <base/text/printable.h>

#include <algorithm>
#include <cstdio>
#include <numeric>

#include <sys/ioctl.h>
#include <unistd.h>

namespace Qv::Comp {

namespace {

constexpr int DEFAULT_COLUMNS = 80;
constexpr int MAX_BAR = 30;
/// A shorter bar or phase says nothing.
constexpr int MIN_BAR = 5;
constexpr int MIN_PHASE = 8;
/// The time that is left is a guess until so many seconds are over and so much is done.
constexpr double LEAST_SECONDS = 1.0;
constexpr double LEAST_DONE = 0.01;
/// The line is drawn anew after so long also when the percentage is the same.
constexpr std::chrono::seconds REDRAW_TIME( 1 );
/// Returns to the line's start and clears it.
constexpr const char* CLEAR_LINE = "\r\033[K";

std::string formatTimeLeft( const ProgressState& state ) {
    if( state.seconds < LEAST_SECONDS || state.done < LEAST_DONE ) {
        return "";
    }
    const auto left = static_cast<long>( state.seconds * ( 1.0 - state.done ) / state.done + 0.5 );
    char text[48];
    if( left < 3600 ) {
        std::snprintf( text, sizeof text, "  %ld:%02ld left", left / 60, left % 60 );
    } else {
        std::snprintf( text, sizeof text, "  %ld:%02ld:%02ld left", left / 3600, left / 60 % 60,
                       left % 60 );
    }
    return text;
}

/// As much of `text` as fits so many columns, of which a character beyond ASCII may take two.
std::string cut( const std::string& text, int columns ) {
    std::size_t end = 0;
    for( ; end < text.size(); ++end ) {
        const auto byte = static_cast<unsigned char>( text[end] );
        const bool goesOn = ( byte & 0xC0U ) == 0x80U;
        columns -= goesOn ? 0 : byte < 0x80U ? 1 : 2;
        if( columns < 0 ) {
            break;
        }
    }
    return text.substr( 0, end );
}

std::string formatBar( double done, int width ) {
    std::string bar( static_cast<std::size_t>( done * width ), '#' );
    bar.resize( static_cast<std::size_t>( width ), '.' );
    return '[' + bar + "] ";
}

int toPercent( double done ) noexcept {
    return static_cast<int>( done * 100.0 );
}

} // namespace

std::string formatProgress( const ProgressState& state, int columns ) {
    char percent[8];
    std::snprintf( percent, sizeof percent, "%3d%%", toPercent( state.done ) );
    std::string line = percent;
    const auto getRoom = [&] { return columns - 1 - static_cast<int>( line.size() ); };
    const std::string time = formatTimeLeft( state );
    if( static_cast<int>( time.size() ) <= getRoom() ) {
        line += time;
    }
    const int bar = std::min( getRoom() - 3, MAX_BAR );
    if( bar >= MIN_BAR ) {
        line.insert( 0, formatBar( state.done, bar ) );
    }
    if( getRoom() < 0 ) {
        return "";
    }
    if( getRoom() - 2 >= MIN_PHASE ) {
        // Text from outside, whose bytes aren't its columns.
        line += "  " + cut( state.phase, getRoom() - 2 );
    }
    return line;
}

int getTerminalColumns() {
    winsize size{};
    const bool isTold = ::ioctl( STDERR_FILENO, TIOCGWINSZ, &size ) == 0 && size.ws_col > 0;
    return isTold ? size.ws_col : DEFAULT_COLUMNS;
}

Progress::Progress( std::ostream* stream, std::vector<double> weights,
                    std::function<int()> getColumns, ProgressPart part )
    : _stream( stream )
    , _weights( std::move( weights ) )
    , _getColumns( std::move( getColumns ) )
    , _total( std::accumulate( _weights.begin(), _weights.end(), 0.0 ) )
    , _part( std::move( part ) ) {}

Progress::~Progress() {
    if( _stream != nullptr ) {
        *_stream << CLEAR_LINE << std::flush;
    }
}

void Progress::passBegun( const std::string& name ) {
    _before += _weight;
    _weight = _next < _weights.size() ? _weights[_next] : 0.0;
    ++_next;
    _phase = _part.label + Printable::makeLine( name );
    _done = 0.0;
    _shownPercent = -1;
    passStepped( 0.0 );
}

void Progress::passStepped( double part ) {
    _done += part;
    if( _stream == nullptr ) {
        return;
    }
    const double done =
        ( _part.index + std::min( ( _before + _done * _weight ) / _total, 1.0 ) ) / _part.count;
    const Clock::time_point now = Clock::now();
    if( toPercent( done ) > _shownPercent || now - _shown >= REDRAW_TIME ) {
        draw( done, now );
    }
}

void Progress::draw( double done, Clock::time_point now ) {
    _shownPercent = toPercent( done );
    _shown = now;
    const double seconds = std::chrono::duration<double>( now - _part.begin ).count();
    *_stream << CLEAR_LINE << formatProgress( { done, seconds, _phase }, _getColumns() )
             << std::flush;
}

} // namespace Qv::Comp
