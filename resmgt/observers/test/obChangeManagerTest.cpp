#include <resmgt/observers/obChangeManagerImp.h>

#include <base/events/evQueueEventManager.h>
#include <resmgt/observers/obMainThreadDelivery.h>
#include <resmgt/observers/obObserverGuard.h>
#include <resmgt/observers/test/obFixture.h>
#include <tests/support/failingNew.h>
#include <tests/support/gate.h>
#include <tests/support/holdPoint.h>
#include <tests/support/raisedBy.h>
#include <tests/support/testThread.h>

#include <gtest/gtest.h>

#include <memory>
#include <optional>
#include <stdexcept>
#include <utility>

namespace Qv {

namespace {

const char* const IDLE =
    "relations 0, subjects 0, queued 0, passes 0, observers being notified 0\n";

class ObChangeManagerTest : public testing::Test, protected ObFixture {
protected:
    /// All three observe `_s`.
    void subscribeAll() {
        for( TestObserver* observer : { &_a, &_b, &_c } ) {
            ASSERT_TRUE( _manager.subscribeRelation( &_s, observer ) );
        }
    }
    std::string raisedByRemoval( TestObserver& observer ) {
        return raisedBy<ExAssertionFailed>( [&] { _manager.removeObserver( &observer ); } );
    }
};

TEST_F( ObChangeManagerTest, ObserversAreCalledOnceInTheOrderOfSubscription ) {
    subscribeAll();
    EXPECT_FALSE( _manager.subscribeRelation( &_s, &_b ) );
    EXPECT_EQ( notify( _s ), "a b c" );
    EXPECT_EQ( notify( _t ), "" );
    EXPECT_TRUE( _manager.unsubscribeRelation( &_s, &_a ) );
    EXPECT_TRUE( _manager.subscribeRelation( &_s, &_a ) );
    EXPECT_EQ( notify( _s ), "-a@s b c a" );
}

TEST_F( ObChangeManagerTest, TheNotifierHearsOfEndedRelations ) {
    EXPECT_FALSE( _manager.unsubscribeRelation( &_s, &_a ) );
    EXPECT_EQ( dump(), IDLE );
    subscribeAll();
    EXPECT_FALSE( _manager.unsubscribeRelation( &_t, &_a ) );
    _manager.unsubscribeRelation( &_s, &_b );
    _manager.removeObserver( &_c );
    EXPECT_EQ( _notifier->takeLog(), "-b@s" );
    _manager.unsubscribeRelation( &_s, &_a );
    EXPECT_EQ( _notifier->takeLog(), "!a@s -a@s" );
    subscribeAll();
    _manager.removeSubject( &_s );
    _manager.removeSubject( &_s );
    EXPECT_EQ( _notifier->takeLog(), "-a@s -b@s -c@s" );
    EXPECT_EQ( dump(), IDLE );
}

TEST_F( ObChangeManagerTest, RaisingCallBacksLeaveNobodyOutAndTheFirstExceptionGoesOn ) {
    int nbTold = 0;
    _notifier->_whenTold = [&] { throw std::runtime_error( std::to_string( ++nbTold ) ); };
    subscribeAll();
    EXPECT_EQ( raisedBy( [&] { _manager.removeSubject( &_s ); } ), "1" );
    _manager.subscribeRelation( &_t, &_a );
    EXPECT_EQ( raisedBy( [&] { _manager.unsubscribeRelation( &_t, &_a ); } ), "4" );
    EXPECT_EQ( _notifier->takeLog(), "-a@s -b@s -c@s !a@t -a@t" );
    EXPECT_EQ( dump(), IDLE );
}

TEST_F( ObChangeManagerTest, ChangesDuringAPassReachItOnlyAsRemovals ) {
    const struct {
        const char* what;
        std::function<void()> act;
        const char* thisPass;
        const char* nextPass;
    } cases[] = {
        { "subscribe", [&] { _manager.subscribeRelation( &_s, &_c ); }, "a b", "a b c" },
        { "unsubscribe", [&] { _manager.unsubscribeRelation( &_s, &_b ); }, "a -b@s b", "a" },
        { "removeSubject", [&] { _manager.removeSubject( &_s ); }, "a -a@s -b@s b", "" },
        { "remove", [&] { _manager.removeObserver( &_b ); }, "a", "a" },
        { "removeLater", [&] { _manager.removeObserverLater( &_b, nullptr ); }, "a", "a" },
        { "unsubscribe, then remove",
          [&] {
              _manager.unsubscribeRelation( &_s, &_b );
              _manager.removeObserver( &_b );
          },
          "a -b@s", "a" },
        { "remove the subject, then the observer",
          [&] {
              _manager.removeSubject( &_s );
              _manager.removeObserver( &_b );
          },
          "a -a@s -b@s", "" },
        { "remove and subscribe anew",
          [&] {
              _manager.removeObserver( &_b );
              _manager.subscribeRelation( &_s, &_b );
          },
          "a", "a b" },
        { "many come, one goes",
          [&] {
              TestObserver others[] = { TestObserver( "1" ), TestObserver( "2" ),
                                        TestObserver( "3" ), TestObserver( "4" ) };
              for( TestObserver& other : others ) {
                  _manager.subscribeRelation( &_s, &other );
              }
              _manager.removeObserver( &_b );
              for( TestObserver& other : others ) {
                  _manager.removeObserver( &other );
              }
          },
          "a", "a" },
    };
    for( const auto& test : cases ) {
        SCOPED_TRACE( test.what );
        _manager.subscribeRelation( &_s, &_a );
        _manager.subscribeRelation( &_s, &_b );
        _a._act = [&]( const ObHints& ) { test.act(); };
        EXPECT_EQ( notify( _s ), test.thisPass );
        _a._act = nullptr;
        EXPECT_EQ( notify( _s ), test.nextPass );
        for( TestObserver* observer : { &_a, &_b, &_c } ) {
            _manager.removeObserver( observer );
        }
        EXPECT_EQ( dump(), IDLE );
    }
}

TEST_F( ObChangeManagerTest, ANestedPassEndsFirst ) {
    subscribeAll();
    _a._act = [&]( const ObHints& hints ) {
        if( !hints.isEmpty() ) {
            _manager.notify( &_s, {} );
        }
    };
    _manager.notify( &_s, ObHints().add<ObValueHint>() );
    EXPECT_EQ( _notifier->takeLog(), "a a b c b c" );
}

TEST_F( ObChangeManagerTest, AnExceptionEndsThePassAndLeavesNothingBehind ) {
    subscribeAll();
    _b._act = []( const ObHints& ) { throw std::runtime_error( "b" ); };
    EXPECT_EQ( raisedBy( [&] { _manager.notify( &_s, {} ); } ), "b" );
    EXPECT_EQ( _notifier->takeLog(), "a b" );
    EXPECT_EQ( dump(),
               "relations 3, subjects 1, queued 0, passes 0, observers being notified 0\n" );
    _manager.removeObserver( &_b );
    EXPECT_EQ( notify( _s ), "a c" );
}

TEST_F( ObChangeManagerTest, QueuedChangesComeInOrderEachWithItsHints ) {
    std::string sizes;
    _a._act = [&]( const ObHints& hints ) {
        sizes += std::to_string( hints.getAll().size() );
        if( hints.getAll().size() == 2 ) {
            _manager.notifyNoDispatch( &_t, ObHints() );
            _manager.dispatch();
            sizes += "|";
        }
    };
    _manager.notifyNoDispatch( &_s, ObHints().add<ObHint>() );
    ObHints two = ObHints().add<ObHint>().add<ObHint>();
    _manager.notifyNoDispatch( &_s, two );
    two.clear();
    _manager.subscribeRelation( &_s, &_a );
    _manager.subscribeRelation( &_t, &_a );
    _manager.dispatch();
    EXPECT_EQ( sizes, "12|0" );
}

TEST_F( ObChangeManagerTest, AfterAnExceptionTheQueuesRestWaits ) {
    _manager.subscribeRelation( &_s, &_a );
    _manager.subscribeRelation( &_t, &_b );
    _a._act = []( const ObHints& ) { throw std::runtime_error( "a" ); };
    _manager.notifyNoDispatch( &_s, {} );
    _manager.notifyNoDispatch( &_t, {} );
    EXPECT_EQ( raisedBy( [&] { _manager.dispatch(); } ), "a" );
    EXPECT_EQ( _notifier->takeLog(), "a" );
    _manager.dispatch();
    EXPECT_EQ( _notifier->takeLog(), "b" );
}

TEST_F( ObChangeManagerTest, AQueuedHintEndsWithoutTheLock ) {
    class EnteringHint : public ObHint {
    public:
        explicit EnteringHint( std::function<void()> enter )
            : _enter( std::move( enter ) ) {}
        ~EnteringHint() override { TestThread( _enter ).join(); }

    private:
        const std::function<void()> _enter;
    };
    int nbEntered = 0;
    for( const bool isRaising : { false, true } ) {
        _manager.subscribeRelation( &_s, &_a );
        _a._act = [isRaising]( const ObHints& ) {
            if( isRaising ) {
                throw std::runtime_error( "a" );
            }
        };
        _manager.notifyNoDispatch( &_s, ObHints().add<EnteringHint>( [&] {
            dump();
            ++nbEntered;
        } ) );
        EXPECT_EQ( raisedBy( [&] { _manager.dispatch(); } ), isRaising ? "a" : "" );
    }
    EXPECT_EQ( nbEntered, 2 );
}

TEST_F( ObChangeManagerTest, ANewSubjectAtAnOldAddressGetsNoQueuedChange ) {
    _manager.notifyNoDispatch( &_s, {} );
    _manager.notifyNoDispatch( &_t, {} );
    _manager.removeSubject( &_s );
    _manager.subscribeRelation( &_s, &_a );
    _manager.subscribeRelation( &_t, &_b );
    _manager.dispatch();
    EXPECT_EQ( _notifier->takeLog(), "b" );
}

TEST_F( ObChangeManagerTest, MisuseIsAnAssertionAndChangesNothing ) {
    subscribeAll();
    ObObserverAny* const nobody = nullptr;
    ObSubjectAny* const nothing = nullptr;
    const std::pair<const char*, std::function<void()>> cases[] = {
        { "notifier", [] { ObChangeManagerImp none{ OPtr<ObNotifierAny>() }; } },
        { "observer != 0", [&] { _manager.subscribeRelation( &_s, nobody ); } },
        { "subject != 0", [&] { _manager.subscribeRelation( nothing, &_a ); } },
        { "observer != 0", [&] { _manager.unsubscribeRelation( &_s, nobody ); } },
        { "subject != 0", [&] { _manager.unsubscribeRelation( nothing, &_a ); } },
        { "subject != 0", [&] { _manager.removeSubject( nothing ); } },
        { "observer != 0", [&] { _manager.removeObserver( nobody ); } },
        { "observer != 0", [&] { _manager.removeObserverLater( nobody, nullptr ); } },
        { "subject != 0", [&] { _manager.notify( nothing, {} ); } },
        { "subject != 0", [&] { _manager.notifyNoDispatch( nothing, {} ); } },
        { "observer != 0", [&] { ObObserverGuard guard( _manager, nobody ); } },
    };
    for( const auto& [text, misuse] : cases ) {
        EXPECT_NE( raisedBy<ExAssertionFailed>( misuse ).find( text ), std::string::npos ) << text;
    }
    EXPECT_EQ( notify( _s ), "a b c" );
}

TEST_F( ObChangeManagerTest, ACallBackUnderTheLockMustNotEnter ) {
    const std::function<void()> entries[] = {
        [&] { _manager.subscribeRelation( &_s, &_a ); },
        [&] { _manager.unsubscribeRelation( &_s, &_b ); },
        [&] { _manager.removeSubject( &_s ); },
        [&] { _manager.removeObserver( &_b ); },
        [&] { _manager.removeObserverLater( &_b, nullptr ); },
        [&] { _manager.dispatch(); },
        [&] { _manager.notify( &_s, {} ); },
        [&] { _manager.notifyNoDispatch( &_s, {} ); },
        [&] { dump(); },
    };
    for( const std::function<void()>& entry : entries ) {
        subscribeAll();
        _notifier->_whenTold = entry;
        EXPECT_NE( raisedBy<ExAssertionFailed>( [&] {
                       _manager.unsubscribeRelation( &_s, &_a );
                   } ).find( "!_isTelling" ),
                   std::string::npos );
        _notifier->_whenTold = nullptr;
        _notifier->takeLog();
        EXPECT_EQ( notify( _s ), "b c" );
        _manager.removeSubject( &_s );
    }
}

TEST_F( ObChangeManagerTest, RemovalWaitsForTheRunningCallAndNoOtherBegins ) {
    subscribeAll();
    HoldPoint inA( "in a's call" );
    _a._act = [&]( const ObHints& ) { inA.pass(); };
    TestThread notifying( [&] { _manager.notify( &_s, {} ); } );
    inA.waitUntilReached();
    TestThread removing( [&] { _manager.removeObserver( &_a ); } );
    removing.waitUntilBlocked();
    // The relations have gone at once; who subscribes it meanwhile isn't believed.
    EXPECT_TRUE( _manager.subscribeRelation( &_s, &_a ) );
    EXPECT_TRUE( _manager.subscribeRelation( &_t, &_a ) );
    _manager.removeObserver( &_c );
    _notifier->takeLog();
    EXPECT_EQ( notify( _s ), "b" );
    EXPECT_EQ( notify( _t ), "" );
    EXPECT_FALSE( removing.isDone() );
    inA.release();
    removing.join();
    notifying.join();
    EXPECT_EQ( _notifier->takeLog(), "b" );
    EXPECT_EQ( notify( _s ), "b" );
    EXPECT_EQ( notify( _t ), "" );
    // Nothing is left of the relations that were made meanwhile.
    EXPECT_TRUE( _manager.subscribeRelation( &_t, &_a ) );
    _a._act = nullptr;
    EXPECT_EQ( notify( _t ), "a" );
}

TEST_F( ObChangeManagerTest, ARemovalThatWouldWaitForItselfIsAnAssertion ) {
    subscribeAll();
    std::string raised;
    _b._act = [&]( const ObHints& hints ) {
        if( hints.isEmpty() ) {
            // Its own call, and then that of `a`, two passes further out.
            raised = raisedByRemoval( _b ) + raisedByRemoval( _a );
        }
    };
    _a._act = [&]( const ObHints& hints ) {
        if( !hints.isEmpty() ) {
            _manager.notify( &_t, {} );
        }
    };
    _manager.subscribeRelation( &_t, &_b );
    _manager.notify( &_s, ObHints().add<ObHint>() );
    EXPECT_NE( raised.find( "waitsForItself" ), raised.rfind( "waitsForItself" ) );
    EXPECT_EQ( notify( _s ), "a b b c a b c" );
}

TEST_F( ObChangeManagerTest, MutualRemovalIsAnAssertionForTheOneWhoClosesTheCircle ) {
    // Each thread is in the call of one observer, of a manager of its own, and removes the next.
    constexpr int NB_THREADS = 3;
    ObFixture fixtures[NB_THREADS];
    HoldPoint inCalls( "in the calls" );
    Gate removed( "all others wait" );
    std::optional<TestThread> removing[NB_THREADS];
    for( int index = 0; index < NB_THREADS; ++index ) {
        ObFixture& own = fixtures[index];
        ObFixture& other = fixtures[( index + 1 ) % NB_THREADS];
        const bool isLast = index == NB_THREADS - 1;
        own._manager.subscribeRelation( &own._s, &own._a );
        own._a._act = [&inCalls, &removed, &other, isLast]( const ObHints& ) {
            inCalls.pass();
            if( isLast ) {
                removed.wait();
                const std::string raised = raisedBy<ExAssertionFailed>(
                    [&] { other._manager.removeObserver( &other._a ); } );
                EXPECT_NE( raised.find( "waitsForItself" ), std::string::npos );
                EXPECT_FALSE( other._manager.subscribeRelation( &other._s, &other._a ) );
            } else {
                other._manager.removeObserver( &other._a );
            }
        };
        removing[index].emplace( [&own] { own._manager.notify( &own._s, {} ); } );
    }
    inCalls.waitUntilReached( NB_THREADS );
    inCalls.release();
    for( int index = 0; index < NB_THREADS - 1; ++index ) {
        removing[index]->waitUntilBlocked();
    }
    removed.open();
    for( std::optional<TestThread>& thread : removing ) {
        thread->join();
    }
    EXPECT_EQ( fixtures[0].notify( fixtures[0]._s ), "a a" );
    EXPECT_EQ( fixtures[1].notify( fixtures[1]._s ), "a" );
}

TEST_F( ObChangeManagerTest, ALateRemovalIsDoneWhenTheLastCallHasEnded ) {
    subscribeAll();
    HoldPoint inA( "in a's call" );
    int nbDone = 0;
    _a._act = [&]( const ObHints& hints ) {
        if( hints.isEmpty() ) {
            inA.pass();
            return;
        }
        _manager.removeObserverLater( &_a, [&] {
            ++nbDone;
            // It may remove the one that the pass comes to, and raise.
            _manager.removeObserver( &_b );
            throw std::runtime_error( "done" );
        } );
        EXPECT_EQ( nbDone, 0 );
    };
    TestThread notifying( [&] { _manager.notify( &_s, {} ); } );
    inA.waitUntilReached();
    _manager.notify( &_s, ObHints().add<ObHint>() );
    EXPECT_EQ( nbDone, 0 );
    // Whoever subscribes it before it is done isn't believed.
    _manager.subscribeRelation( &_t, &_a );
    _notifier->takeLog();
    EXPECT_EQ( notify( _t ), "" );
    inA.release();
    notifying.join();
    EXPECT_EQ( nbDone, 1 );
    EXPECT_EQ( _notifier->takeLog(), "c" );
    EXPECT_EQ( notify( _s ) + notify( _t ), "c" );
    _manager.removeObserverLater( &_c, [&] { ++nbDone; } );
    EXPECT_EQ( nbDone, 2 );
    EXPECT_EQ( dump(), IDLE );
}

TEST_F( ObChangeManagerTest, ALateRemovalIsDoneThoughThePassEndsWithAnException ) {
    subscribeAll();
    auto mortal = std::make_unique<TestObserver>( "mortal" );
    _manager.subscribeRelation( &_t, mortal.get() );
    mortal->_act = [&]( const ObHints& ) {
        _manager.removeObserverLater( mortal.get(), [&] { mortal.reset(); } );
        throw std::runtime_error( "mortal" );
    };
    EXPECT_EQ( raisedBy( [&] { _manager.notify( &_t, {} ); } ), "mortal" );
    EXPECT_EQ( mortal, nullptr );
}

TEST_F( ObChangeManagerTest, WithoutMemoryNothingHasChanged ) {
    TestSubject other( "other" );
    TestObserver more[] = { TestObserver( "1" ), TestObserver( "2" ), TestObserver( "3" ) };
    const ObHints hints = ObHints().add<ObHint>();
    const struct {
        const char* what;
        std::function<void()> act;
    } cases[] = {
        { "first of a subject and an observer",
          [&] { _manager.subscribeRelation( &other, &_b ); } },
        { "full", [&] { _manager.subscribeRelation( &_s, &_c ); } },
        { "unsubscribe during a pass", [&] { _manager.unsubscribeRelation( &_s, &more[0] ); } },
        { "queue", [&] { _manager.notifyNoDispatch( &_s, hints ); } },
        { "remove later", [&] { _manager.removeObserverLater( &more[0], nullptr ); } },
        { "remove", [&] { _manager.removeObserver( &more[0] ); } },
    };
    for( const auto& test : cases ) {
        SCOPED_TRACE( test.what );
        _manager.removeSubject( &_s );
        _manager.subscribeRelation( &_s, &_a );
        for( TestObserver& observer : more ) {
            _manager.subscribeRelation( &_s, &observer );
        }
        int nbFailed = 0;
        _a._act = [&]( const ObHints& ) {
            const std::string before = dump();
            nbFailed = forEachFailingNew( test.act, [&]( bool hasFailed ) {
                EXPECT_TRUE( !hasFailed || dump() == before );
            } );
            _a._act = nullptr;
        };
        _manager.notify( &_s, {} );
        EXPECT_GT( nbFailed, 0 );
        _notifier->takeLog();
    }
}

TEST_F( ObChangeManagerTest, AGuardRemovesAtItsEnd ) {
    {
        ObObserverGuard guard( _manager, &_a );
        EXPECT_TRUE( guard.subscribe( &_s ) );
        EXPECT_FALSE( guard.subscribe( &_s ) );
        EXPECT_EQ( notify( _s ), "a" );
        _a._act = [&]( const ObHints& ) { guard.remove(); };
        EXPECT_NE( raisedBy<ExAssertionFailed>( [&] { _manager.notify( &_s, {} ); } ), "" );
    }
    EXPECT_EQ( dump(), IDLE );
}

TEST_F( ObChangeManagerTest, AGuardThatEndsInItsObserversCallEndsTheProcess ) {
    auto guard = std::make_unique<ObObserverGuard>( _manager, &_a );
    guard->subscribe( &_s );
    _a._act = [&]( const ObHints& ) { guard.reset(); };
    // By std::terminate, whose handler is the logger's.
    EXPECT_EXIT( _manager.notify( &_s, {} ), testing::ExitedWithCode( 1 ), "" );
    _a._act = nullptr;
}

TEST_F( ObChangeManagerTest, ChangesOfAllThreadsReachTheMainThreadByOneEvent ) {
    int nbWakeUps = 0;
    EvQueueEventManager events( [&] { ++nbWakeUps; } );
    std::optional<ObMainThreadDelivery> delivery( _manager );
    _manager.subscribeRelation( &_s, &_a );
    TestThread( [&] {
        delivery->notify( &_s, {} );
        delivery->notify( &_s, {} );
    } ).join();
    delivery->notify( &_s, {} );
    EXPECT_EQ( _notifier->takeLog(), "" );
    _a._act = [&]( const ObHints& ) {
        // Comes in the same dispatch, though an event is posted too.
        _a._act = nullptr;
        delivery->notify( &_s, {} );
    };
    EXPECT_EQ( events.drain(), 1 );
    EXPECT_EQ( _notifier->takeLog(), "a a a a" );
    EXPECT_EQ( events.drain(), 1 );

    _a._act = [&]( const ObHints& ) { throw std::runtime_error( "a" ); };
    delivery->notify( &_s, {} );
    delivery->notify( &_s, {} );
    EXPECT_EQ( raisedBy( [&] { events.drain(); } ), "a" );
    _a._act = nullptr;
    EXPECT_EQ( events.drain(), 1 );
    EXPECT_EQ( _notifier->takeLog(), "a a" );

    delivery->notify( &_s, {} );
    delivery.reset();
    EXPECT_EQ( events.drain(), 1 );
    EXPECT_EQ( _notifier->takeLog(), "" );
}

} // namespace

} // namespace Qv
