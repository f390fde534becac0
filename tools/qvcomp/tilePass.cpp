#include <tools/qvcomp/tilePass.h>

#include <tools/qvcomp/interrupt.h>

#include <atomic>
#include <chrono>
#include <exception>
#include <mutex>

namespace Qv::Comp {

namespace {

/// The state that the threads of one step share.
class StepRun {
public:
    StepRun( const std::vector<Unit>& units, unsigned nbThreads, std::size_t prefetchDepth,
             Passes& passes )
        : _units( units )
        , _nbThreads( nbThreads )
        , _prefetchDepth( prefetchDepth )
        , _passes( passes ) {}

    /// Takes units until none is left or a thread has failed.
    void work() noexcept {
        try {
            while( !_hasFailed.load( std::memory_order_relaxed ) ) {
                const std::size_t i = _next.fetch_add( 1, std::memory_order_relaxed );
                if( i >= _units.size() ) {
                    return;
                }
                InterruptNote::check();
                prefetchInputs( i + _nbThreads );
                run( _units[i] );
            }
        } catch( ... ) {
            fail( std::current_exception() );
        }
    }

    /// To be called when no thread works any more.
    void raiseFailure() const {
        if( _failure ) {
            std::rethrow_exception( _failure );
        }
    }

    void fail( std::exception_ptr failure ) {
        const std::lock_guard guard( _lock );
        if( !_failure ) {
            _failure = std::move( failure );
        }
        _hasFailed.store( true, std::memory_order_relaxed );
    }

private:
    void run( const Unit& unit ) {
        using Clock = std::chrono::steady_clock;
        const Clock::time_point begin = Clock::now();
        unit.work();
        const std::chrono::duration<double> taken = Clock::now() - begin;
        _passes.step( unit.kind, unit.part, taken.count() / _nbThreads );
    }

    void prefetchInputs( std::size_t i ) {
        if( _prefetchDepth == 0 || i >= _units.size() || !_units[i].getInputs ) {
            return;
        }
        const std::vector<TileRef> inputs = _units[i].getInputs();
        const std::size_t count = std::min( inputs.size(), _prefetchDepth );
        for( std::size_t k = 0; k < count; ++k ) {
            inputs[k].plane->prefetch( inputs[k].pos );
        }
    }

    const std::vector<Unit>& _units;
    unsigned _nbThreads;
    std::size_t _prefetchDepth;
    Passes& _passes;
    // Both are only counters and hints between the threads, so relaxed order is enough: what a
    // thread hands over passes through the lock or the end of its task.
    std::atomic<std::size_t> _next = 0;
    std::atomic<bool> _hasFailed = false;
    std::mutex _lock;
    std::exception_ptr _failure;
};

} // namespace

PassRunner::PassRunner( Workers& workers, std::size_t prefetchDepth, Passes& passes )
    : _nbWorkers( workers.getNbThreads() )
    , _producer( workers )
    , _prefetchDepth( prefetchDepth )
    , _passes( passes ) {}

void PassRunner::run( const std::vector<Unit>& units ) {
    StepRun run( units, _nbWorkers + 1, _prefetchDepth, _passes );
    try {
        for( unsigned i = 0; i < _nbWorkers && i + 1 < units.size(); ++i ) {
            _producer.push( [&run] { run.work(); } );
        }
        run.work();
    } catch( ... ) {
        run.fail( std::current_exception() );
    }
    _producer.finish();
    run.raiseFailure();
}

} // namespace Qv::Comp
