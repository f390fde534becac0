#pragma once

#include <base/trace/trace.h>

#include <memory>

namespace Qv {

class MbBufferImp;
class MbState;

/// Trace output of the state machine, under the level "MbStateMachine".
namespace MbStateTrace {

// Null until this package's statics are built.
extern TraceLevel* const level;

inline bool isEnabled() noexcept {
    return level != nullptr && Trace::isEnabled( *level );
}

/// One line: the buffer, its lock count, the state, and `suffix` behind it.
/// REQUIRES: the caller holds the buffer's lock.
void logLine( const MbState& state, const MbBufferImp& buffer, const char* suffix ) noexcept;

/// A line, and entering and leaving the operation `state`::`operation`.
class Scope {
public:
    Scope( bool isTraced, const MbState& state, const MbBufferImp& buffer,
           const char* operation ) noexcept {
        if( isTraced && isEnabled() ) {
            open( state, buffer, operation );
        }
    }

private:
    struct Entry {
        Entry( const MbState& state, const char* operation );

        const std::string name;
        const Trace::Entry entry;
    };

    void open( const MbState& state, const MbBufferImp& buffer, const char* operation ) noexcept;

    std::unique_ptr<Entry> _entry;
};

} // namespace MbStateTrace

} // namespace Qv
