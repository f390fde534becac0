#pragma once

#include <base/events/evQueueEventManager.h>
#include <resmgt/observers/obChangeManagerImp.h>
#include <resmgt/observers/obMainThreadDelivery.h>
#include <resmgt/observers/obObserverAny.h>
#include <resmgt/observers/obSubjectAny.h>

#include <cstddef>
#include <mutex>
#include <optional>
#include <string>
#include <thread>
#include <vector>

namespace Qv::Comp {

/// What was done of one kind of work.
struct PassRecord {
    std::string name;
    std::size_t nbSteps;
    /// Those of all threads, divided by the number of threads.
    double seconds;
};

/// What wants to know how far the work is. All calls come on the main thread.
class PassObserver : public ObObserverAny {
public:
    virtual void passBegun( const std::string& name );
    /// `part` of the pass was done: all of them together are 1, but for rounding.
    virtual void passStepped( double part );
    virtual void passDone( const std::vector<PassRecord>& records );
};

/// The passes over a picture, one after another: a subject. In a pass several kinds of work go on
/// side by side. Any thread makes steps; observers hear of them on the main thread, as soon as that
/// makes a step of its own or ends the pass.
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
    /// The next pass, which does work of these `kinds`.
    void begin( const std::string& name, const std::vector<std::string>& kinds );
    /// A step of the kind with this index is done, `part` of the pass. It took `seconds` of a
    /// thread, divided by the number of threads.
    void step( std::size_t kind, double part, double seconds );
    /// REQUIRES: nobody steps. A pass that fails has no end.
    void end();

private:
    void deliver( const ObHints& hints );

    const std::thread::id _mainThread = std::this_thread::get_id();
    std::optional<EvQueueEventManager> _ownEvents;
    EvQueueEventManager& _events;
    ObChangeManagerImp _manager;
    ObMainThreadDelivery _delivery{ _manager };
    std::mutex _lock;
    std::vector<PassRecord> _records;
};

/// Logs each kind of work of a pass.
class PassLog final : public PassObserver {
public:
    void passDone( const std::vector<PassRecord>& records ) override;
};

/// Keeps the records of all passes, for the report.
class PassRecords final : public PassObserver {
public:
    void passDone( const std::vector<PassRecord>& records ) override {
        _records.insert( _records.end(), records.begin(), records.end() );
    }
    const std::vector<PassRecord>& getAll() const noexcept { return _records; }

private:
    std::vector<PassRecord> _records;
};

} // namespace Qv::Comp
