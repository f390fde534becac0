// Workers change a model; a view on the main thread shows what has changed.

#include <base/events/evQueueEventManager.h>
#include <base/init/inInitGuard.h>
#include <base/text/printable.h>
#include <resmgt/locks/lkSema.h>
#include <resmgt/observers/obMainThreadDelivery.h>
#include <resmgt/observers/obObserverAny.h>
#include <resmgt/observers/obObserverGuard.h>
#include <resmgt/observers/obSubjectAny.h>
#include <resmgt/threadExtensions/mtGroup.h>
#include <resmgt/threadExtensions/mtTask.h>

#include <array>
#include <atomic>
#include <cstddef>
#include <cstdio>
#include <exception>
#include <queue>
#include <thread>

namespace {

constexpr std::size_t NB_ROWS = 40;

// What has changed: its type says that it is a row, its data which one.
class RowHint : public Qv::ObValueHint {
public:
    explicit RowHint( std::size_t row )
        : _row( row ) {}
    const std::size_t _row;
};

struct Model : Qv::ObSubjectAny {
    std::array<std::atomic<int>, NB_ROWS> _rows{};
};

// What this application's observers have in common.
class Observer : public Qv::ObObserverAny {
public:
    virtual void update( const Qv::ObHints& hints ) = 0;
};

class Notifier final : public Qv::ObNotifierAny {
    void notifyObserver( Qv::ObObserverAny* observer, const Qv::ObHints& hints ) override {
        static_cast<Observer*>( observer )->update( hints );
    }
    void relationRemovedFromSubject( Qv::ObObserverAny*, Qv::ObSubjectAny* ) override {}
    void relationRemoved( Qv::ObObserverAny*, Qv::ObSubjectAny* ) override {}
};

class View final : public Observer {
public:
    View( Qv::ObChangeManagerImp& manager, Model& model )
        : _model( model )
        , _subscriptions( manager, this ) {
        _subscriptions.subscribe( &model );
    }
    void update( const Qv::ObHints& hints ) override {
        if( const RowHint* const changed = hints.find<RowHint>() ) {
            _sum += _model._rows.at( changed->_row );
            ++_nbShown;
            _isOnMainThread = _isOnMainThread && std::this_thread::get_id() == _mainThread;
        }
    }

    std::size_t _nbShown = 0;
    int _sum = 0;
    bool _isOnMainThread = true;

private:
    Model& _model;
    const std::thread::id _mainThread = std::this_thread::get_id();
    // The last member: no call comes once the others end.
    Qv::ObObserverGuard _subscriptions;
};

class Change : public Qv::MtTaskImp {
public:
    Change( Model& model, Qv::ObMainThreadDelivery& delivery, std::size_t row )
        : _model( model )
        , _delivery( delivery )
        , _row( row ) {}

private:
    void perform() override {
        _model._rows.at( _row ) = static_cast<int>( _row );
        _delivery.notify( &_model, Qv::ObHints().add<RowHint>( _row ) );
    }

    Model& _model;
    Qv::ObMainThreadDelivery& _delivery;
    const std::size_t _row;
};

int run( int argc, const char* const* argv ) {
    const Qv::InInitGuard packages( argc, argv );
    Qv::LkSema work( "observers: work", 0 );
    Qv::EvQueueEventManager events( [&work] { work.post(); } );
    Qv::ObChangeManagerImp manager{ Qv::OPtr<Qv::ObNotifierAny>( new Notifier ) };
    Qv::ObMainThreadDelivery delivery( manager );
    Model model;
    View view( manager, model );

    Qv::MtGroup<std::queue<Qv::MtTask>> workers( "changes", 2 );
    const Qv::MtRequestTag tag = workers.registerProducer();
    for( std::size_t row = 0; row < NB_ROWS; ++row ) {
        workers.push(
            Qv::MtTask( tag, Qv::RCShdPtr<Qv::MtTaskImp>( new Change( model, delivery, row ) ) ) );
    }
    int nbEvents = 0;
    while( view._nbShown < NB_ROWS ) {
        work.wait();
        nbEvents += events.drain();
    }
    workers.waitRequestCountZero( tag );
    workers.endProducer( tag );
    std::printf( "%zu of %zu rows shown by %s, sum %d, events %s\n", view._nbShown, NB_ROWS,
                 view._isOnMainThread ? "the main thread" : "a worker", view._sum,
                 nbEvents <= static_cast<int>( NB_ROWS ) ? "at most one a row" : "too many" );
    return 0;
}

} // namespace

int main( int argc, char** argv ) {
    try {
        return run( argc, argv );
    } catch( const std::exception& failure ) {
        std::fprintf( stderr, "observers: %s\n",
                      Qv::Printable::makeText( failure.what() ).c_str() );
        return 1;
    }
}
