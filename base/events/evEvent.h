#pragma once

#include <base/ownership/oPtr.h>
#include <base/qvBaseApi.h>

#include <iosfwd>

namespace Qv {

/// Something that is posted to the EvEventManager, from any thread, and executed on the
/// application's main thread.
class QV_BASE_API EvEvent {
public:
    virtual ~EvEvent();

    /// A new copy with this object's dynamic type.
    virtual OPtrRet<EvEvent> clone() const = 0;
    virtual const char* getClassName() const = 0;
    /// Writes the event as text, its class name first.
    virtual void dump( std::ostream& stream ) const = 0;
    /// Takes the state from what `dump` wrote. Text that isn't this class's sets the stream's
    /// failure bit, as an extraction does, and leaves the event.
    virtual void read( std::istream& stream ) = 0;
    /// Runs on the main thread when the event's turn comes.
    virtual void execute() = 0;

protected:
    EvEvent() = default;
    EvEvent( const EvEvent& ) = default;
    EvEvent& operator=( const EvEvent& ) = default;
};

} // namespace Qv
