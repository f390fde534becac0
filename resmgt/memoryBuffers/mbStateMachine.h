#pragma once

#include <resmgt/resmgtApi.h>

namespace Qv {

class MbState;

/// The states that buffers can have, in one of four variants: with and without trace lines, under
/// one of two lock policies. docs/buffer-states.md has the tables.
///
/// Lifetime: a variant is built when it is first asked for, and lives until the process ends.
/// Environment: QV_READ_WHILE_ASYNC_SYNC, read when a variant is built: with 0, readers wait for
///           the end of an asynchronous write; otherwise they may enter.
/// Threads:  any.
class QV_RESMGT_API MbStateMachine {
public:
    /// TRACED writes a line under the trace level "MbStateMachine" for every event.
    enum Trace_e { TRACED = 0, UNTRACED = 1 };
    /// STRICT: any number of readers, or one writer and its copies. RELAXED: any number of readers
    /// and writers together; the application keeps them apart.
    enum LockPolicy_e { STRICT = 0, RELAXED = 1 };

    static MbStateMachine& getInstance( Trace_e trace, LockPolicy_e policy );

    MbStateMachine( const MbStateMachine& ) = delete;
    MbStateMachine& operator=( const MbStateMachine& ) = delete;

    /// The state of a new buffer: without content and memory.
    virtual const MbState* getInitialState() const = 0;
    virtual ~MbStateMachine();

protected:
    MbStateMachine() = default;
};

} // namespace Qv
