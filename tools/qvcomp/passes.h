#pragma once

#include <base/events/evQueueEventManager.h>
#include <resmgt/observers/obChangeManagerImp.h>
#include <resmgt/observers/obMainThreadDelivery.h>
#include <resmgt/observers/obObserverAny.h>
#include <resmgt/observers/obSubjectAny.h>

#include <chrono>
#include <cstddef>
#include <optional>
#include <string>
#include <thread>
#include <vector>

namespace Qv::Comp {

/// A pass of the work that has come to its end.
struct PassRecord {
    std::string name;
    std::size_t nbSteps;
    double seconds;
};

/// What wants to know how far the work is. All calls come on the main thread.
class PassObserver : public ObObserverAny {
public:
    virtual void passBegun( const std::string& name, std::size_t nbSteps );
    virtual void passStepped( std::size_t nbSteps );
    virtual void passDone( const PassRecord& record );
};

/// The passes of a run, one after another: a subject. Any thread makes steps; observers hear of
/// them on the main thread, as soon as that makes a step of its own or ends the pass.
///
/// Threads:  made, destroyed and all but `step` on the main thread.
/// Events:   the application's queue of events is drained; without one it has its own.
/// Lifetime: observers outlive it.
class Passes : public ObSubjectAny {
public:
    Passes();
    Passes( const Passes& ) = delete;
    Passes& operator=( const Passes& ) = delete;
    ~Passes() override;

    void add( PassObserver& observer );
    /// The next pass, which takes `nbSteps` steps.
    void begin( const std::string& name, std::size_t nbSteps );
    void step( std::size_t nbSteps = 1 );
    /// REQUIRES: nobody steps. A pass that fails has no end.
    void end();

private:
    using Clock = std::chrono::steady_clock;

    void deliver( const ObHints& hints );

    const std::thread::id _mainThread = std::this_thread::get_id();
    std::optional<EvQueueEventManager> _ownEvents;
    EvQueueEventManager& _events;
    ObChangeManagerImp _manager;
    ObMainThreadDelivery _delivery{ _manager };
    std::string _name;
    std::size_t _nbSteps = 0;
    Clock::time_point _begin;
};

/// Logs each pass.
class PassLog final : public PassObserver {
public:
    void passDone( const PassRecord& record ) override;
};

/// Keeps all passes, for the report.
class PassRecords final : public PassObserver {
public:
    void passDone( const PassRecord& record ) override { _records.push_back( record ); }
    const std::vector<PassRecord>& getAll() const noexcept { return _records; }

private:
    std::vector<PassRecord> _records;
};

} // namespace Qv::Comp
