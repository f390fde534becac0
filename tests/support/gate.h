#pragma once

#include <condition_variable>
#include <mutex>

namespace Qv {

/// Closed at first; once open it stays open.
///
/// Threads: any thread opens it and any number wait.
/// Errors:  a wait that reaches its deadline fails the process, with the gate's name and all
///          stacks.
class Gate {
public:
    /// `name` is kept, not copied.
    explicit Gate( const char* name );

    void open();
    /// Returns once the gate is open.
    void wait();
    bool isOpen() const;

private:
    const char* const _name;
    mutable std::mutex _mutex;
    std::condition_variable _opened;
    bool _isOpen = false;
};

} // namespace Qv
