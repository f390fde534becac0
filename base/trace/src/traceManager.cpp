#include <base/trace/traceManager.h>

#include <base/locks/lkLock.h>

#include <climits>
#include <new>

namespace Qv {

/// The managers that are alive, the one in force first.
class TraceManagerChain {
public:
    static TraceManager* first() noexcept {
        // Acquires what `insert` released: the manager's construction.
        return _first.load( std::memory_order_acquire );
    }
    static void insert( TraceManager& manager ) {
        const LkGuard<const LkLock> guard( _lock );
        TraceManager* previous = nullptr;
        TraceManager* next = first();
        while( next != nullptr && next->_priority > manager._priority ) {
            previous = next;
            next = next->_next;
        }
        manager._next = next;
        link( previous, &manager );
    }
    static void remove( TraceManager& manager ) {
        const LkGuard<const LkLock> guard( _lock );
        TraceManager* previous = nullptr;
        for( TraceManager* i = first(); i != &manager; i = i->_next ) {
            previous = i;
        }
        link( previous, manager._next );
    }

private:
    static void link( TraceManager* previous, TraceManager* next ) QV_REQUIRES( _lock ) {
        if( previous != nullptr ) {
            previous->_next = next;
        } else {
            _first.store( next, std::memory_order_release );
        }
    }

    static constinit LkLock _lock;
    static constinit std::atomic<TraceManager*> _first;
};

constinit LkLock TraceManagerChain::_lock( "TraceManagerChain" );
constinit std::atomic<TraceManager*> TraceManagerChain::_first{ nullptr };

namespace {

/// Gives each thread a plain Trace. Neither the manager nor a thread's Trace is ever destroyed, so
/// that destructors that run late may still report.
class DefaultTraceManager final : public TraceManager {
public:
    DefaultTraceManager()
        : TraceManager( INT_MIN ) {}

    Trace& getTrace() override {
        alignas( Trace ) thread_local constinit static std::byte memory[sizeof( Trace )] = {};
        thread_local constinit static Trace* trace = nullptr;
        if( trace == nullptr ) {
            trace = new( memory ) Trace;
        }
        return *trace;
    }
};

} // namespace

TraceManager::TraceManager( int priority )
    : _priority( priority ) {
    TraceManagerChain::insert( *this );
}

TraceManager::~TraceManager() {
    TraceManagerChain::remove( *this );
}

TraceManager& TraceManager::getInstance() noexcept {
    // In place, so that the first trace of a process needs no memory.
    alignas( DefaultTraceManager ) static std::byte memory[sizeof( DefaultTraceManager )];
    static TraceManager* const fallback = new( memory ) DefaultTraceManager;
    TraceManager* const manager = TraceManagerChain::first();
    return manager != nullptr ? *manager : *fallback;
}

} // namespace Qv
