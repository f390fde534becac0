#pragma once

#include <tools/qvcomp/passes.h>

#include <chrono>
#include <cstddef>
#include <functional>
#include <ostream>
#include <string>
#include <vector>

namespace Qv::Comp {

/// How far the work is.
struct ProgressState {
    /// Of all the work, from 0 to 1.
    double done;
    /// Since it began.
    double seconds;
    /// What is being done.
    std::string phase;
};

/// A line for a terminal of so many columns, the last of which stays free: a bar, percent, the
/// time that is left as far as it is known yet, and the phase. On a narrow one the phase is cut
/// or left out, then the bar, then the time.
std::string formatProgress( const ProgressState& state, int columns );

/// Of the terminal at standard error; 80 when it doesn't say.
int getTerminalColumns();

/// Which of several equal parts of the whole work is shown.
struct ProgressPart {
    int index = 0;
    int count = 1;
    /// Comes before the names of the phases.
    std::string label = {};
    /// Of the whole work.
    std::chrono::steady_clock::time_point begin = std::chrono::steady_clock::now();
};

/// A line at the terminal that shows how far the work is.
class Progress final : public PassObserver {
public:
    /// `stream` is null when nobody looks; else it must outlive this object. `weights` are the
    /// parts of the phases to come in the whole work, in any unit.
    Progress( std::ostream* stream, std::vector<double> weights,
              std::function<int()> getColumns = getTerminalColumns, ProgressPart part = {} );
    Progress( const Progress& ) = delete;
    Progress& operator=( const Progress& ) = delete;
    /// Takes the line away, so that what follows starts on an empty one.
    ~Progress() override;

    void passBegun( const std::string& name ) override;
    void passStepped( double part ) override;

private:
    using Clock = std::chrono::steady_clock;

    void draw( double done, Clock::time_point now );

    std::ostream* _stream;
    const std::vector<double> _weights;
    const std::function<int()> _getColumns;
    const double _total;
    const ProgressPart _part;
    /// The phase that comes next, and the weight of those before the current one.
    std::size_t _next = 0;
    double _before = 0.0;
    double _weight = 0.0;
    std::string _phase;
    double _done = 0.0;
    int _shownPercent = -1;
    Clock::time_point _shown;
};

} // namespace Qv::Comp
