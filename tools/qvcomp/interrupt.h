#pragma once

namespace Qv::Comp {

/// As long as it lives SIGINT and SIGTERM only leave a note, which the work looks for between
/// tiles, and SIGXFSZ is ignored, so that a file beyond the limit is an error of its write.
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
