#pragma once

#include <base/events/evEvent.h>

namespace Qv {

/// An event that asks the application to run something later: a derived class overrides `execute`,
/// `clone` and `getClassName`, and `dump` and `read` when it has state that can be written as text.
class QV_BASE_API EvRequestEvent : public EvEvent {
public:
    EvRequestEvent();
    EvRequestEvent( const EvRequestEvent& ) = default;
    EvRequestEvent& operator=( const EvRequestEvent& ) = default;
    ~EvRequestEvent() override;

    const char* getClassName() const override;
    /// The class name alone.
    void dump( std::ostream& stream ) const override;
    void read( std::istream& stream ) override;
};

} // namespace Qv
