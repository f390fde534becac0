#include <base/events/evQueueEventManager.h>
#include <base/failure/assertions.h>

#include <utility>

namespace Qv {

EvQueueEventManager::EvQueueEventManager( WakeUp wakeUp )
    : _wakeUp( std::move( wakeUp ) ) {
    initialize( this );
}

EvQueueEventManager::~EvQueueEventManager() {
    finalize();
}

void EvQueueEventManager::post( OPtr<EvEvent> event ) {
    QV_ASSERT( !event.isNull() );
    std::unique_ptr<EvEvent> owned( event.release() );
    {
        const LkGuard<const LkLock> guard( _lock );
        _queue.push_back( std::move( owned ) );
    }
    wakeUpOnce();
}

void EvQueueEventManager::wakeUpOnce() {
    {
        const LkGuard<const LkLock> guard( _lock );
        if( _isWoken || _queue.empty() ) {
            return;
        }
        _isWoken = true;
    }
    if( _wakeUp ) {
        _wakeUp();
    }
}

unsigned long long EvQueueEventManager::beginDrain() {
    const LkGuard<const LkLock> guard( _lock );
    _isWoken = false;
    return _firstNb + _queue.size();
}

std::unique_ptr<EvEvent> EvQueueEventManager::takeFirst( unsigned long long end ) {
    const LkGuard<const LkLock> guard( _lock );
    // Events that drain the queue themselves may have gone further.
    if( _queue.empty() || _firstNb >= end ) {
        return nullptr;
    }
    std::unique_ptr<EvEvent> event = std::move( _queue.front() );
    _queue.pop_front();
    ++_firstNb;
    return event;
}

int EvQueueEventManager::drain() {
    int nbExecuted = 0;
    const unsigned long long end = beginDrain();
    while( const std::unique_ptr<EvEvent> event = takeFirst( end ) ) {
        ++nbExecuted;
        try {
            event->execute();
        } catch( ... ) {
            wakeUpOnce();
            throw;
        }
    }
    return nbExecuted;
}

} // namespace Qv
