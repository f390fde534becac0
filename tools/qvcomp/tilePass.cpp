#include <tools/qvcomp/tilePass.h>

#include <tools/qvcomp/interrupt.h>

#include <atomic>
#include <exception>
#include <mutex>

namespace Qv::Comp {

namespace {

/// The state that the threads of one pass share.
class PassRun {
public:
    PassRun( const TilePass& pass, std::size_t lead, std::size_t prefetchDepth, Passes& passes )
        : _pass( pass )
        , _lead( lead )
        , _prefetchDepth( prefetchDepth )
        , _passes( passes ) {}

    /// Takes tiles until none is left or a thread has failed.
    void work() noexcept {
        try {
            while( !_hasFailed.load( std::memory_order_relaxed ) ) {
                const std::size_t i = _next.fetch_add( 1, std::memory_order_relaxed );
                if( i >= _pass.order.size() ) {
                    return;
                }
                InterruptNote::check();
                prefetchInputs( i + _lead );
                _pass.work( _pass.order[i] );
                _passes.step();
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
    void prefetchInputs( std::size_t i ) {
        if( _prefetchDepth == 0 || i >= _pass.order.size() ) {
            return;
        }
        const std::vector<TileRef> inputs = _pass.getInputs( _pass.order[i] );
        const std::size_t count = std::min( inputs.size(), _prefetchDepth );
        for( std::size_t k = 0; k < count; ++k ) {
            inputs[k].plane->prefetch( inputs[k].pos );
        }
    }

    const TilePass& _pass;
    std::size_t _lead;
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

void PassRunner::run( const TilePass& pass ) {
    _passes.begin( pass.name, pass.order.size() );
    PassRun run( pass, _nbWorkers + 1, _prefetchDepth, _passes );
    try {
        for( unsigned i = 0; i < _nbWorkers; ++i ) {
            _producer.push( [&run] { run.work(); } );
        }
        run.work();
    } catch( ... ) {
        run.fail( std::current_exception() );
    }
    _producer.finish();
    run.raiseFailure();
    _passes.end();
}

std::vector<TilePos> orderByRows( const TilePlane& plane ) {
    std::vector<TilePos> order;
    order.reserve( plane.getTileCount() );
    for( int row = 0; row < plane.getRows(); ++row ) {
        for( int column = 0; column < plane.getColumns(); ++column ) {
            order.push_back( { column, row } );
        }
    }
    return order;
}

std::vector<TilePos> orderByColumns( const TilePlane& plane ) {
    std::vector<TilePos> order;
    order.reserve( plane.getTileCount() );
    for( int column = 0; column < plane.getColumns(); ++column ) {
        for( int row = 0; row < plane.getRows(); ++row ) {
            order.push_back( { column, row } );
        }
    }
    return order;
}

} // namespace Qv::Comp
