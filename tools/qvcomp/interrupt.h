#pragma once

namespace Qv::Comp {

/// As long as it lives SIGINT, SIGTERM and SIGHUP only leave a note, which the work looks for
/// between tiles; one that was ignored before stays so. SIGXFSZ and SIGPIPE are ignored, so that a
/// file beyond the limit and a pipe without a reader are errors of the write.
///
/// Threads: one object at a time. Any thread may ask.
class InterruptNote {
public:
    InterruptNote();
    InterruptNote( const InterruptNote& ) = delete;
    InterruptNote& operator=( const InterruptNote& ) = delete;
    ~InterruptNote();

    /// Errors: Failure when one of the signals has come.
    static void check();
};

} // namespace Qv::Comp
