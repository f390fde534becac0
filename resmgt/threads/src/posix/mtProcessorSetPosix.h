#pragma once

#include <vector>

#include <sched.h>

namespace Qv {

/// A set of processors, of any number of them.
class MtProcessorSetPosix {
public:
    /// Those of `mask`, bit i for the processor i.
    explicit MtProcessorSetPosix( unsigned long long mask );

    /// Those that the thread may use.
    static MtProcessorSetPosix ofThread( pid_t thread );

    /// Gives them to the thread. False with errno if the system refuses.
    bool applyTo( pid_t thread ) const;
    /// The first 64.
    unsigned long long getMask() const noexcept { return _words.front(); }
    int getCount() const;

private:
    static_assert( sizeof( unsigned long ) == sizeof( unsigned long long ) );

    // In the system's form: a multiple of long words, least bit first.
    std::vector<unsigned long> _words;
};

} // namespace Qv
