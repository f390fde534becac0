#include <tools/qvcomp/progress.h>

#include <algorithm>
#include <iomanip>

namespace Qv::Comp {

namespace {

constexpr int BAR_WIDTH = 30;
/// Returns to the line's start and clears it.
constexpr const char* CLEAR_LINE = "\r\033[K";

} // namespace

Progress::Progress( std::ostream* stream, int phases )
    : _stream( stream )
    , _phases( phases ) {}

Progress::~Progress() {
    if( _stream != nullptr ) {
        *_stream << CLEAR_LINE << std::flush;
    }
}

void Progress::begin( const std::string& phase, std::size_t steps ) {
    ++_phase;
    _name = phase;
    _steps = std::max<std::size_t>( steps, 1 );
    _done.store( 0, std::memory_order_relaxed );
    _shownPercent = -1;
    step( 0 );
}

void Progress::step( std::size_t steps ) {
    const std::size_t done = _done.fetch_add( steps, std::memory_order_relaxed ) + steps;
    if( _stream == nullptr ) {
        return;
    }
    const int percent = static_cast<int>( std::min( done, _steps ) * 100 / _steps );
    const std::lock_guard guard( _lock );
    if( percent > _shownPercent ) {
        _shownPercent = percent;
        draw( percent );
    }
}

void Progress::draw( int percent ) {
    const auto full = static_cast<std::size_t>( percent * BAR_WIDTH / 100 );
    std::string bar( full, '#' );
    bar.resize( BAR_WIDTH, '.' );
    *_stream << CLEAR_LINE << std::setw( 2 ) << _phase << '/' << _phases << " [" << bar << "] "
             << std::setw( 3 ) << percent << "% " << _name << std::flush;
}

} // namespace Qv::Comp
