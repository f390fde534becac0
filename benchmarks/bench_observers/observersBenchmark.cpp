#include <benchmarks/bench_observers/countingNotifier.h>

#include <resmgt/observers/obChangeManagerImp.h>
#include <resmgt/observers/obSubjectAny.h>

#include <benchmark/benchmark.h>

#include <algorithm>
#include <atomic>
#include <cstddef>
#include <memory>
#include <mutex>
#include <thread>
#include <unordered_map>
#include <utility>
#include <vector>

/// Names end in what is measured: "ours" is the change manager, "snapshot" a shared snapshot of a
/// subject's observers that is taken under a lock, which is what a user would write and promises
/// nothing of removals, "bare" the calls alone. The argument is the number of observers, or of
/// relations.
///
/// The process has had a second thread before: until then the C library's mutex and the standard
/// library's reference counts do without atomic operations, which no process is spared that needs a
/// lock.

namespace {

using namespace Qv;

class Subject : public ObSubjectAny {};
using Observer = CountingObserver;

const bool hadSecondThread = [] {
    std::thread( [] {} ).join();
    return true;
}();

/// A lock, a map, and snapshots.
class Snapshots {
public:
    using List = std::vector<ObObserverAny*>;

    explicit Snapshots( OPtr<ObNotifierAny> notifier )
        : _notifier( std::move( notifier ) ) {}
    void subscribe( ObSubjectAny* subject, ObObserverAny* observer ) {
        const std::lock_guard guard( _mutex );
        std::shared_ptr<const List>& list = _lists[subject];
        List copy = list ? *list : List();
        copy.push_back( observer );
        list = std::make_shared<const List>( std::move( copy ) );
    }
    void remove( ObObserverAny* observer ) {
        const std::lock_guard guard( _mutex );
        for( auto& [subject, list] : _lists ) {
            if( std::find( list->begin(), list->end(), observer ) != list->end() ) {
                List copy = *list;
                std::erase( copy, observer );
                list = std::make_shared<const List>( std::move( copy ) );
            }
        }
    }
    void notify( ObSubjectAny* subject, const ObHints& hints ) {
        std::shared_ptr<const List> list;
        {
            const std::lock_guard guard( _mutex );
            const auto found = _lists.find( subject );
            if( found == _lists.end() ) {
                return;
            }
            list = found->second;
        }
        for( ObObserverAny* const observer : *list ) {
            _notifier->notifyObserver( observer, hints );
        }
    }

private:
    const OPtr<ObNotifierAny> _notifier;
    std::mutex _mutex;
    std::unordered_map<ObSubjectAny*, std::shared_ptr<const List>> _lists;
};

struct Ours {
    ObChangeManagerImp _manager{ makeCountingNotifier() };

    void subscribe( ObSubjectAny* subject, ObObserverAny* observer ) {
        _manager.subscribeRelation( subject, observer );
    }
    void notify( ObSubjectAny* subject, const ObHints& hints ) {
        _manager.notify( subject, hints );
    }
    void remove( ObObserverAny* observer ) { _manager.removeObserver( observer ); }
};
struct Peer {
    Snapshots _snapshots{ makeCountingNotifier() };

    void subscribe( ObSubjectAny* subject, ObObserverAny* observer ) {
        _snapshots.subscribe( subject, observer );
    }
    void notify( ObSubjectAny* subject, const ObHints& hints ) {
        _snapshots.notify( subject, hints );
    }
    void remove( ObObserverAny* observer ) { _snapshots.remove( observer ); }
};

template <class Manager>
void notifyAll( benchmark::State& state ) {
    Manager manager;
    Subject subject;
    std::vector<Observer> observers( static_cast<std::size_t>( state.range( 0 ) ) );
    for( Observer& observer : observers ) {
        manager.subscribe( &subject, &observer );
    }
    const ObHints hints = ObHints().add<ObValueHint>();
    for( auto _ : state ) {
        manager.notify( &subject, hints );
    }
}
void notifyBare( benchmark::State& state ) {
    const OPtr<ObNotifierAny> notifier = makeCountingNotifier();
    std::vector<Observer> observers( static_cast<std::size_t>( state.range( 0 ) ) );
    std::vector<ObObserverAny*> list;
    for( Observer& observer : observers ) {
        list.push_back( &observer );
    }
    const ObHints hints = ObHints().add<ObValueHint>();
    for( auto _ : state ) {
        for( ObObserverAny* const observer : list ) {
            notifier->notifyObserver( observer, hints );
        }
    }
}
BENCHMARK( notifyAll<Ours> )->Name( "notify/ours" )->Arg( 0 )->Arg( 1 )->Arg( 10 )->Arg( 1000 );
BENCHMARK( notifyAll<Peer> )->Name( "notify/snapshot" )->Arg( 0 )->Arg( 1 )->Arg( 10 )->Arg( 1000 );
BENCHMARK( notifyBare )->Name( "notify/bare" )->Arg( 1 )->Arg( 10 )->Arg( 1000 );

/// Two threads notify subjects of their own, of one manager.
template <class Manager>
void notifyBeside( benchmark::State& state ) {
    static Manager manager;
    static Subject subjects[2];
    Observer observer;
    Subject& subject = subjects[state.thread_index()];
    manager.subscribe( &subject, &observer );
    for( auto _ : state ) {
        manager.notify( &subject, {} );
    }
    manager.remove( &observer );
}
BENCHMARK( notifyBeside<Ours> )->Name( "notifyBeside/ours" )->Threads( 2 )->UseRealTime();
BENCHMARK( notifyBeside<Peer> )->Name( "notifyBeside/snapshot" )->Threads( 2 )->UseRealTime();

/// One observer of two subjects comes and goes among that many relations of others: all of one
/// subject, or of as many.
template <bool HAS_ONE_SUBJECT>
void churn( benchmark::State& state ) {
    Ours manager;
    const auto nbOthers = static_cast<std::size_t>( state.range( 0 ) );
    std::vector<Subject> subjects( HAS_ONE_SUBJECT ? 2 : nbOthers + 2 );
    std::vector<Observer> observers( nbOthers );
    for( std::size_t index = 0; index < nbOthers; ++index ) {
        manager.subscribe( &subjects[HAS_ONE_SUBJECT ? 0 : index], &observers[index] );
    }
    Observer observer;
    for( auto _ : state ) {
        manager.subscribe( &subjects[0], &observer );
        manager.subscribe( &subjects[1], &observer );
        manager.remove( &observer );
    }
}
BENCHMARK( churn<true> )
    ->Name( "removal/oneSubject" )
    ->RangeMultiplier( 10 )
    ->Range( 100, 100'000 );
BENCHMARK( churn<false> )
    ->Name( "removal/manySubjects" )
    ->RangeMultiplier( 10 )
    ->Range( 100, 100'000 );

/// A removal from within a call, with a pass of another thread under way: one barrier.
void removeInPass( benchmark::State& state ) {
    static Ours manager;
    static Subject subject;
    Observer observer;
    manager.subscribe( &subject, &observer );
    Observer removed;
    for( auto _ : state ) {
        if( state.thread_index() == 0 ) {
            manager.subscribe( &subject, &removed );
            manager.remove( &removed );
        } else {
            manager.notify( &subject, {} );
        }
    }
    manager.remove( &observer );
}
BENCHMARK( removeInPass )->Name( "removal/whileNotifying" )->Threads( 2 )->UseRealTime();

} // namespace

BENCHMARK_MAIN();
