#pragma once

#include <condition_variable>
#include <functional>
#include <mutex>

namespace Qv {

/// The order of steps that several threads take, numbered from 1 without a gap over all of them:
///
///     Script script( "writer overtakes" );
///     reader: script.step( 1, [&] { lock.read(); } );    writer: script.step( 2, [&] { ... } );
///
/// Errors: a step whose turn doesn't come before its deadline fails the process, with the script's
///         name and all stacks. A step that throws counts as done.
class Script {
public:
    /// `name` is kept, not copied.
    explicit Script( const char* name );

    /// Waits until all steps before `number` are done, and does this one.
    void step( int number, const std::function<void()>& body );
    /// Waits until the step `number` is done.
    void waitFor( int number );

private:
    const char* const _name;
    std::mutex _mutex;
    std::condition_variable _stepDone;
    int _nbDone = 0;
};

} // namespace Qv
