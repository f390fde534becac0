#include <resmgt/observers/obMainThreadDelivery.h>

#include <base/events/evEventManager.h>
#include <base/events/evRequestEvent.h>
#include <base/failure/qvHere.h>
#include <base/trace/trace.h>

#include <atomic>
#include <utility>

namespace Qv {

/// What the delivery and its events share.
class ObMainThreadDelivery::Link : public std::enable_shared_from_this<Link> {
public:
    explicit Link( ObChangeManagerImp& manager ) noexcept
        : _manager( &manager ) {}

    /// Sees to it that an event is pending.
    void post();
    /// On the main thread.
    void dispatch();
    void end() noexcept { _manager = nullptr; }

    ObChangeManagerImp* getManager() const noexcept { return _manager; }

private:
    void postRest() noexcept;

    /// Written by the main thread at the end alone, when nobody else looks.
    ObChangeManagerImp* _manager;
    // Acquire and release: an event that resets it sees the changes queued before it was found set.
    std::atomic<bool> _isPending{ false };
};

class ObMainThreadDelivery::DispatchEvent final : public EvRequestEvent {
public:
    explicit DispatchEvent( std::shared_ptr<Link> link ) noexcept
        : _link( std::move( link ) ) {}

    OPtrRet<EvEvent> clone() const override { return OPtr<EvEvent>( new DispatchEvent( *this ) ); }
    const char* getClassName() const override { return "ObMainThreadDelivery::DispatchEvent"; }
    void execute() override { _link->dispatch(); }

private:
    std::shared_ptr<Link> _link;
};

void ObMainThreadDelivery::Link::post() {
    if( _isPending.exchange( true, std::memory_order_acq_rel ) ) {
        return;
    }
    try {
        EvEventManager::getInstance().post(
            OPtr<EvEvent>( new DispatchEvent( shared_from_this() ) ) );
    } catch( ... ) {
        _isPending.store( false, std::memory_order_release );
        throw;
    }
}

void ObMainThreadDelivery::Link::dispatch() {
    if( _manager == nullptr ) {
        return;
    }
    _isPending.exchange( false, std::memory_order_acq_rel );
    try {
        _manager->dispatch();
    } catch( ... ) {
        postRest();
        throw;
    }
}

void ObMainThreadDelivery::Link::postRest() noexcept {
    try {
        post();
    } catch( ... ) {
        // The observer's exception is the one that goes on. The rest comes with the next change.
        Trace::printCurrentException( "posting the rest of the changes", QV_HERE );
    }
}

ObMainThreadDelivery::ObMainThreadDelivery( ObChangeManagerImp& manager )
    : _link( std::make_shared<Link>( manager ) ) {}

ObMainThreadDelivery::~ObMainThreadDelivery() {
    _link->end();
}

void ObMainThreadDelivery::notify( ObSubjectAny* subject, const ObHints& hints ) {
    _link->getManager()->notifyNoDispatch( subject, hints );
    _link->post();
}

} // namespace Qv
