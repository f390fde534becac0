#include <base/events/evQueueEventManager.h>
#include <base/failure/assertions.h>

namespace Qv {

EvQueueEventManager::EvQueueEventManager( WakeUp wakeUp )
    : _wakeUp( wakeUp ) {
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
    if( _wakeUp != nullptr ) {
        _wakeUp();
    }
}

std::size_t EvQueueEventManager::beginDrain() {
    const LkGuard<const LkLock> guard( _lock );
    _isWoken = false;
    return _queue.size();
}

std::unique_ptr<EvEvent> EvQueueEventManager::takeFirst() {
    const LkGuard<const LkLock> guard( _lock );
    if( _queue.empty() ) {
        return nullptr;
    }
    std::unique_ptr<EvEvent> event = std::move( _queue.front() );
    _queue.pop_front();
    return event;
}

int EvQueueEventManager::drain() {
    int nbExecuted = 0;
    for( std::size_t nbToExecute = beginDrain(); nbToExecute > 0; --nbToExecute ) {
        const std::unique_ptr<EvEvent> event = takeFirst();
        if( event == nullptr ) {
            // An event has drained the queue itself.
            break;
        }
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
