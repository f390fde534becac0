#pragma once

#include <base/events/evRequestEvent.h>

#include <cstdint>

namespace Qv {

/// Lets the main thread know that the monitor's thread has taken up a request for a pass.
class ThreadWokeUpForIteratingAsapRequestEvent final : public EvRequestEvent {
public:
    /// `monitor` numbers the monitor; without that one this does nothing.
    explicit ThreadWokeUpForIteratingAsapRequestEvent( std::uint64_t monitor )
        : _monitor( monitor ) {}
    ~ThreadWokeUpForIteratingAsapRequestEvent() override;

    OPtrRet<EvEvent> clone() const override;
    const char* getClassName() const override;
    /// The class name and the monitor's number.
    void dump( std::ostream& stream ) const override;
    void read( std::istream& stream ) override;
    void execute() override;

private:
    std::uint64_t _monitor;
};

} // namespace Qv
