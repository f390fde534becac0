// A main loop that sleeps in poll until something is to be done: events of a group of workers, what
// an event puts off as a request, and whatever else has a descriptor.

#include <base/events/evQueueEventManager.h>
#include <base/events/evRequestEvent.h>
#include <base/failure/exSysError.h>
#include <base/failure/qvHere.h>
#include <base/init/inInitGuard.h>
#include <base/text/printable.h>
#include <pluginAPI/pxRequestMgr.h>
#include <resmgt/osal/osWakeUp.h>
#include <resmgt/threadExtensions/mtGroup.h>
#include <resmgt/threadExtensions/mtTask.h>

#include <poll.h>

#include <cerrno>
#include <cstdio>
#include <deque>
#include <exception>
#include <functional>
#include <queue>
#include <utility>

namespace {

constexpr int NB_RESULTS = 5;

// The application's requests: what the main thread has put off until it has nothing better to do.
class Requests : public Qv::PxRequestMgr {
public:
    Requests() { initialize( this ); }
    ~Requests() override { finalize(); }

    void add( std::function<void()> request ) { _pending.push_back( std::move( request ) ); }
    void drain() override {
        while( !_pending.empty() ) {
            const std::function<void()> request = std::move( _pending.front() );
            _pending.pop_front();
            request();
        }
    }

private:
    std::deque<std::function<void()>> _pending;
};

// What a worker has found, on its way to the main thread.
class ResultEvent : public Qv::EvRequestEvent {
public:
    ResultEvent( int number, std::function<void( int )> use )
        : _number( number )
        , _use( std::move( use ) ) {}

    Qv::OPtrRet<Qv::EvEvent> clone() const override {
        return Qv::OPtr<Qv::EvEvent>( new ResultEvent( *this ) );
    }
    const char* getClassName() const override { return "ResultEvent"; }
    void execute() override { _use( _number ); }

private:
    const int _number;
    const std::function<void( int )> _use;
};

// What a worker does: it finds a result and posts it. What leaves it would end the process.
class Search : public Qv::MtTaskImp {
public:
    Search( Qv::EvQueueEventManager& events, ResultEvent result )
        : _events( events )
        , _result( std::move( result ) ) {}

private:
    void perform() override { _events.post( _result.clone() ); }

    Qv::EvQueueEventManager& _events;
    const ResultEvent _result;
};

// Sleeps until the loop is woken.
void wait( Qv::OsWakeUp& wakeUp ) {
    // The application's other descriptors stand beside it: a display, a socket, a pipe.
    pollfd waited[] = { { wakeUp.getDescriptor(), POLLIN, 0 } };
    while( ::poll( waited, 1, -1 ) < 0 ) {
        if( errno != EINTR ) {
            throw Qv::ExSysErrorWindows( QV_HERE, "mainLoop", "poll" );
        }
    }
    // Before the look at the work: what comes after that wakes the loop anew.
    wakeUp.drain();
}

int run( int argc, const char* const* argv ) {
    const Qv::InInitGuard packages( argc, argv );
    Qv::OsWakeUp wakeUp;
    Qv::EvQueueEventManager events( [&wakeUp] { wakeUp.wakeUp(); } );
    Requests requests;

    int nbShown = 0;
    const auto use = [&requests, &nbShown]( int number ) {
        std::printf( "event: result %d is here\n", number );
        requests.add( [&nbShown, number] {
            std::printf( "request: shows result %d\n", number );
            ++nbShown;
        } );
    };
    Qv::MtGroup<std::queue<Qv::MtTask>> workers( "search", 1 );
    const Qv::MtRequestTag tag = workers.registerProducer();
    for( int number = 1; number <= NB_RESULTS; ++number ) {
        const ResultEvent result( number * number, use );
        workers.push(
            Qv::MtTask( tag, Qv::RCShdPtr<Qv::MtTaskImp>( new Search( events, result ) ) ) );
    }

    while( nbShown < NB_RESULTS ) {
        wait( wakeUp );
        events.drain();
        Qv::PxRequestMgr::getInstance().drain();
    }
    workers.waitRequestCountZero( tag );
    workers.endProducer( tag );
    std::printf( "all %d results are shown\n", nbShown );
    return 0;
}

} // namespace

int main( int argc, char** argv ) {
    try {
        return run( argc, argv );
    } catch( const std::exception& failure ) {
        std::fprintf( stderr, "mainLoop: %s\n", Qv::Printable::makeText( failure.what() ).c_str() );
        return 1;
    }
}
