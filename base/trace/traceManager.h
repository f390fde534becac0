#pragma once

#include <base/trace/trace.h>

namespace Qv {

/// Gives each thread its Trace.
///
/// There is always a manager. A derived one takes the place of the former by its construction and
/// gives it back by its destruction; no other thread may trace while either runs.
class QV_BASE_API TraceManager {
public:
    /// The manager in force, from any thread and before `main`.
    static TraceManager& getInstance() noexcept;

    /// The calling thread's trace.
    virtual Trace& getTrace() = 0;

    TraceManager( const TraceManager& ) = delete;
    TraceManager& operator=( const TraceManager& ) = delete;
    virtual ~TraceManager();

protected:
    /// `priority` decides between managers that are alive together: the highest is in force, the
    /// newest among equals.
    explicit TraceManager( int priority );

private:
    friend class TraceManagerChain;

    const int _priority;
    TraceManager* _next = nullptr;
};

} // namespace Qv
