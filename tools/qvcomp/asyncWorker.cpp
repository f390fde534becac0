#include <tools/qvcomp/asyncWorker.h>
#include <tools/qvcomp/startThread.h>

#include <utility>

namespace Qv::Comp {

AsyncWorker::AsyncWorker( std::size_t maxPending )
    : _maxPending( maxPending )
    , _lock( "AsyncWorker" )
    , _posted( "AsyncWorker posted" )
    , _thread( startThread<std::thread>( [this] { run(); } ) ) {}

AsyncWorker::~AsyncWorker() {
    {
        const LkGuard<const LkLock> guard( _lock );
        _mustEnd = true;
    }
    _posted.signal();
    _thread.join();
}

bool AsyncWorker::tryPost( Operation operation ) {
    {
        const LkGuard<const LkLock> guard( _lock );
        if( _pending.size() >= _maxPending ) {
            return false;
        }
        _pending.push_back( std::move( operation ) );
    }
    _posted.signal();
    return true;
}

void AsyncWorker::run() {
    while( const Operation* operation = waitForOperation() ) {
        ( *operation )();
        const LkGuard<const LkLock> guard( _lock );
        _pending.pop_front();
    }
}

const AsyncWorker::Operation* AsyncWorker::waitForOperation() {
    const LkGuard<const LkLock> guard( _lock );
    while( _pending.empty() && !_mustEnd ) {
        _posted.wait( guard );
    }
    return _pending.empty() ? nullptr : &_pending.front();
}

} // namespace Qv::Comp
