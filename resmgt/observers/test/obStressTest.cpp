#include <resmgt/observers/obChangeManagerImp.h>

#include <base/failure/assertions.h>
#include <base/locks/lkSleepersPosix.h>
#include <resmgt/observers/obObserverAny.h>
#include <resmgt/observers/obObserverGuard.h>
#include <resmgt/observers/obSubjectAny.h>
#include <tests/support/testSettings.h>
#include <tests/support/testThread.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <chrono>
#include <deque>
#include <memory>
#include <random>
#include <vector>

namespace Qv {

namespace {

class Subject : public ObSubjectAny {};
class Observer : public ObObserverAny {};

/// Random operations, most of them from within calls, on a manager and on plain lists that say what
/// it should do: each pass has a list of its own, from which removed observers vanish, and each
/// call must be of the observer at the front of the innermost list.
class RandomSteps : public ObNotifierAny {
public:
    explicit RandomSteps( long nbSteps )
        : _nbLeft( nbSteps ) {}

    void run( ObChangeManagerImp& manager ) {
        _manager = &manager;
        while( _nbLeft > 0 && !testing::Test::HasFailure() ) {
            step();
        }
        EXPECT_EQ( _pending, ( std::array<bool, NB_OBSERVERS>{} ) );
    }

private:
    static constexpr std::size_t NB_SUBJECTS = 4;
    static constexpr std::size_t NB_OBSERVERS = 9;
    static constexpr std::size_t MAX_DEPTH = 7;
    static constexpr std::size_t NO_SUBJECT = NB_SUBJECTS;
    using List = std::deque<std::size_t>;
    class Raised {};

    std::size_t pick( std::size_t below ) { return static_cast<std::size_t>( _random() ) % below; }
    std::size_t indexOf( const ObObserverAny* observer ) const {
        return static_cast<std::size_t>( static_cast<const Observer*>( observer ) -
                                         _observers.data() );
    }
    bool isCalled( std::size_t observer ) const {
        return std::find( _calls.begin(), _calls.end(), observer ) != _calls.end();
    }

    void notifyObserver( ObObserverAny* called, const ObHints& ) override {
        const std::size_t observer = indexOf( called );
        ASSERT_FALSE( _passes.empty() );
        if( _dispatchDepth == _passes.size() ) {
            beginQueuedPass();
        }
        List& pass = *_passes.back();
        ASSERT_FALSE( pass.empty() );
        ASSERT_EQ( pass.front(), observer );
        pass.pop_front();
        _calls.push_back( observer );
        for( std::size_t nb = pick( 4 ); nb > 0; --nb ) {
            step();
        }
        _calls.pop_back();
        if( pick( 64 ) == 0 ) {
            throw Raised();
        }
    }
    void relationRemovedFromSubject( ObObserverAny* observer, ObSubjectAny* ) override {
        _told.push_back( NB_OBSERVERS + indexOf( observer ) );
    }
    void relationRemoved( ObObserverAny* observer, ObSubjectAny* ) override {
        _told.push_back( indexOf( observer ) );
    }

    void step() {
        if( --_nbLeft < 0 ) {
            return;
        }
        const std::size_t subject = pick( NB_SUBJECTS );
        const std::size_t observer = pick( NB_OBSERVERS );
        const std::size_t kind = pick( 20 );
        if( kind < 8 ) {
            if( !_pending[observer] ) {
                subscribe( subject, observer );
            }
        } else if( kind < 10 ) {
            unsubscribe( subject, observer );
        } else if( kind < 11 ) {
            removeSubject( subject );
        } else if( kind < 13 ) {
            removeObserver( observer );
        } else if( kind < 14 ) {
            removeObserverLater( observer );
        } else if( kind < 17 ) {
            _manager->notifyNoDispatch( &_subjects[subject], {} );
            _queue.push_back( subject );
        } else if( _passes.size() < MAX_DEPTH ) {
            kind == 17 ? dispatch() : notify( subject );
        }
    }
    void subscribe( std::size_t subject, std::size_t observer ) {
        List& list = _lists[subject];
        const bool isNew = std::find( list.begin(), list.end(), observer ) == list.end();
        ASSERT_EQ( _manager->subscribeRelation( &_subjects[subject], &_observers[observer] ),
                   isNew );
        if( isNew ) {
            list.push_back( observer );
        }
    }
    void unsubscribe( std::size_t subject, std::size_t observer ) {
        List& list = _lists[subject];
        const bool isThere = std::erase( list, observer ) != 0;
        ASSERT_EQ( _manager->unsubscribeRelation( &_subjects[subject], &_observers[observer] ),
                   isThere );
        List expected;
        if( isThere && list.empty() ) {
            expected.push_back( NB_OBSERVERS + observer );
        }
        if( isThere ) {
            expected.push_back( observer );
        }
        ASSERT_EQ( std::exchange( _told, {} ), expected );
    }
    void removeSubject( std::size_t subject ) {
        std::replace( _queue.begin(), _queue.end(), subject, NO_SUBJECT );
        _manager->removeSubject( &_subjects[subject] );
        ASSERT_EQ( std::exchange( _told, {} ), std::exchange( _lists[subject], {} ) );
    }
    void forget( std::size_t observer ) {
        for( List& list : _lists ) {
            std::erase( list, observer );
        }
        for( List* const pass : _passes ) {
            std::erase( *pass, observer );
        }
    }
    void removeObserver( std::size_t observer ) {
        if( isCalled( observer ) ) {
            ASSERT_THROW( _manager->removeObserver( &_observers[observer] ), ExAssertionFailed );
            return;
        }
        _manager->removeObserver( &_observers[observer] );
        forget( observer );
    }
    void removeObserverLater( std::size_t observer ) {
        if( _pending[observer] ) {
            return;
        }
        _pending[observer] = true;
        forget( observer );
        const bool isCalledNow = isCalled( observer );
        _manager->removeObserverLater( &_observers[observer], [this, observer] {
            EXPECT_FALSE( isCalled( observer ) );
            _pending[observer] = false;
        } );
        ASSERT_EQ( _pending[observer], isCalledNow );
    }
    void notify( std::size_t subject ) {
        List pass = _lists[subject];
        _passes.push_back( &pass );
        bool isWhole = true;
        try {
            _manager->notify( &_subjects[subject], {} );
        } catch( const Raised& ) {
            isWhole = false;
        }
        _passes.pop_back();
        ASSERT_TRUE( pass.empty() || !isWhole );
    }
    /// The next queued pass begins as the one before has come to its end.
    void beginQueuedPass() {
        while( _passes.back()->empty() && !_queue.empty() ) {
            const std::size_t subject = _queue.front();
            _queue.pop_front();
            if( subject != NO_SUBJECT ) {
                *_passes.back() = _lists[subject];
            }
        }
    }
    void dispatch() {
        if( _dispatchDepth != 0 ) {
            _manager->dispatch();
            return;
        }
        List pass;
        _passes.push_back( &pass );
        _dispatchDepth = _passes.size();
        try {
            _manager->dispatch();
            beginQueuedPass();
            EXPECT_TRUE( pass.empty() && _queue.empty() );
        } catch( const Raised& ) {}
        _passes.pop_back();
        _dispatchDepth = 0;
    }

    std::mt19937_64 _random{ testSeed() };
    long _nbLeft;
    ObChangeManagerImp* _manager = nullptr;
    std::array<Subject, NB_SUBJECTS> _subjects;
    std::array<Observer, NB_OBSERVERS> _observers;
    std::array<List, NB_SUBJECTS> _lists;
    std::vector<List*> _passes;
    List _calls;
    List _queue;
    List _told;
    /// The number of passes within that of `dispatch`, this one included; 0 when none runs.
    std::size_t _dispatchDepth = 0;
    std::array<bool, NB_OBSERVERS> _pending{};
};

TEST( ObStressTest, RandomStepsAgreeWithPlainLists ) {
    auto* const steps = new RandomSteps( scaledCount( 1'000'000 ) );
    ObChangeManagerImp manager{ OPtr<ObNotifierAny>( steps ) };
    steps->run( manager );
}

/// Is poisoned when it dies.
class MortalObserver : public ObObserverAny {
public:
    ~MortalObserver() override {
        EXPECT_EQ( _nbInside, 0 );
        _poison = DEAD;
    }

    static constexpr unsigned ALIVE = 0xA11FE;
    static constexpr unsigned DEAD = 0xDEAD;
    std::atomic<unsigned> _poison{ ALIVE };
    std::atomic<int> _nbInside{ 0 };
};

class Churn : public ObNotifierAny {
public:
    std::atomic<long> _nbCalls = 0;

private:
    void notifyObserver( ObObserverAny* observer, const ObHints& ) override {
        auto& mortal = *static_cast<MortalObserver*>( observer );
        ++mortal._nbInside;
        ASSERT_EQ( mortal._poison, MortalObserver::ALIVE );
        ++_nbCalls;
        ASSERT_EQ( mortal._poison, MortalObserver::ALIVE );
        --mortal._nbInside;
    }
    void relationRemovedFromSubject( ObObserverAny*, ObSubjectAny* ) override {}
    void relationRemoved( ObObserverAny*, ObSubjectAny* ) override {}
};

void churnObservers() {
    constexpr int NB_CHURNERS = 2;
    constexpr std::size_t NB_SUBJECTS = 2;
    const auto deadline = std::chrono::seconds( 10 ) * testSlowdown();
    auto* const churn = new Churn;
    ObChangeManagerImp manager{ OPtr<ObNotifierAny>( churn ) };
    std::array<Subject, NB_SUBJECTS> subjects;
    std::array<MortalObserver, 3> residents;
    for( MortalObserver& resident : residents ) {
        manager.subscribeRelation( &subjects[0], &resident );
    }
    std::atomic<int> nbChurning = NB_CHURNERS;
    std::atomic<long> nbPending = 0;
    const auto notifyAll = [&]( std::size_t first ) {
        while( nbChurning != 0 ) {
            manager.notify( &subjects[first], {} );
            manager.notify( &subjects[1 - first], {} );
        }
    };
    const auto churnThrough = [&]( std::uint64_t seed ) {
        std::mt19937_64 random( seed );
        for( long round = scaledCount( 20'000 ); round > 0; --round ) {
            auto mortal = std::make_unique<MortalObserver>();
            ObObserverGuard guard( manager, mortal.get() );
            guard.subscribe( &subjects[random() % NB_SUBJECTS] );
            guard.subscribe( &subjects[0] );
            if( random() % 4 == 0 ) {
                manager.unsubscribeRelation( &subjects[0], mortal.get() );
            }
            if( random() % 4 == 0 ) {
                ++nbPending;
                MortalObserver* const left = mortal.release();
                manager.removeObserverLater( left, [left, &nbPending] {
                    const std::unique_ptr<MortalObserver> end( left );
                    --nbPending;
                } );
            }
            const auto start = std::chrono::steady_clock::now();
            guard.remove();
            ASSERT_LT( std::chrono::steady_clock::now() - start, deadline );
        }
    };
    TestThreads notifiers( 2, notifyAll );
    TestThreads( NB_CHURNERS, [&]( std::uint64_t number ) {
        churnThrough( testSeed() + number );
        --nbChurning;
    } ).join();
    notifiers.join();
    EXPECT_EQ( nbPending, 0 );
    EXPECT_GT( churn->_nbCalls, 0 );
}

TEST( ObStressTest, NoCallComesAfterARemovalAndNoRemovalComesLate ) {
    churnObservers();
}

TEST( ObStressTest, NorWhereTheSystemHasNoBarrierForAllThreads ) {
    // Locks, too, pay for barriers of their own then, and find all who sleep.
    LkSleepers::isWithoutBarrier.store( true, std::memory_order_relaxed );
    churnObservers();
    LkSleepers::isWithoutBarrier.store( false, std::memory_order_relaxed );
}

} // namespace

} // namespace Qv
