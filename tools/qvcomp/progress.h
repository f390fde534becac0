#pragma once

#include <atomic>
#include <cstddef>
#include <mutex>
#include <ostream>
#include <string>

namespace Qv::Comp {

/// A line at the terminal that tells how far the work is.
///
/// Threads: `begin` while nobody steps, `step` from any thread.
class Progress {
public:
    /// `stream` is null when nobody looks; else it must outlive this object.
    Progress( std::ostream* stream, int phases );
    Progress( const Progress& ) = delete;
    Progress& operator=( const Progress& ) = delete;
    /// Takes the line away, so that what follows starts on an empty one.
    ~Progress();

    /// The next phase, which takes `steps` steps.
    void begin( const std::string& phase, std::size_t steps );
    void step( std::size_t steps = 1 );

private:
    void draw( int percent );

    std::ostream* _stream;
    int _phases;
    int _phase = 0;
    std::string _name;
    std::size_t _steps = 1;
    // Counted by the computing threads; hands nothing over, so relaxed order is enough.
    std::atomic<std::size_t> _done = 0;
    std::mutex _lock;
    int _shownPercent = -1;
};

} // namespace Qv::Comp
