#include <base/failure/assertions.h>
#include <resmgt/locks/lkCondVar.h>
#include <resmgt/locks/lkTimedCondVar.h>
#include <resmgt/locks/src/lkWaitList.h>
#include <resmgt/locks/test/futexWaitHook.h>
#include <resmgt/locks/test/scriptedWord.h>
#include <tests/support/deadline.h>
#include <tests/support/gate.h>
#include <tests/support/testThread.h>

#include <gmock/gmock.h>

#include <atomic>
#include <cerrno>
#include <list>
#include <vector>

namespace Qv {
namespace {

using ::testing::ElementsAre;
using Guard = LkGuard<const LkLock>;

/// What both condition variables promise.
template <class CondVar>
class AnyCondVarTest : public ::testing::Test {
protected:
    /// A thread that waits until its number is called, and then tells it.
    void startWaiter( int number ) {
        _threads.emplace_back( [this, number] {
            const Guard guard( _lock );
            ++_nbWaiting;
            _condVar.wait( guard );
            EXPECT_EQ( _lock.getImp().getHolder(), ThreadNumber::get() );
            _woken.push_back( number );
        } );
        // The entry is queued before the lock is given up.
        waitUntil( [this, number] { return locked( _nbWaiting ) == number; }, "waiter is queued" );
    }
    template <class Value>
    Value locked( const Value& value ) const {
        const Guard guard( _lock );
        return value;
    }
    // The analysis takes for faults what these two try.
    void waitUnderTwoGuards() QV_NO_THREAD_SAFETY_ANALYSIS {
        const Guard outer( _lock );
        const Guard inner( _lock );
        ++_nbWaiting;
        _condVar.wait( inner );
        EXPECT_EQ( _lock.getImp().getHolder(), ThreadNumber::get() );
    }
    void waitWithoutLock() QV_NO_THREAD_SAFETY_ANALYSIS {
        static_cast<const LkWaitable&>( _condVar ).wait( _lock );
    }
    std::vector<int> wakeOneByOne( int nbWaiters ) {
        for( std::size_t i = 1; i <= static_cast<std::size_t>( nbWaiters ); ++i ) {
            _condVar.signal();
            waitUntil( [this, i] { return locked( _woken ).size() == i; }, "waiter is woken" );
        }
        return locked( _woken );
    }

    const LkLock _lock{ "lock" };
    CondVar _condVar{ "condVar" };
    int _nbWaiting = 0;
    std::vector<int> _woken;
    std::list<TestThread> _threads;
};

using CondVars = ::testing::Types<LkCondVar, LkTimedCondVar>;
TYPED_TEST_SUITE( AnyCondVarTest, CondVars );

TYPED_TEST( AnyCondVarTest, SignalsWakeOneEachInTheOrderOfTheClass ) {
    for( int number = 1; number <= 3; ++number ) {
        this->startWaiter( number );
    }
    if( std::is_same_v<TypeParam, LkCondVar> ) {
        EXPECT_THAT( this->wakeOneByOne( 3 ), ElementsAre( 3, 2, 1 ) );
    } else {
        EXPECT_THAT( this->wakeOneByOne( 3 ), ElementsAre( 1, 2, 3 ) );
    }
}

TYPED_TEST( AnyCondVarTest, SignalsThatFindNobodyAreLostAndAWaitWithoutTheLockQueuesNothing ) {
    this->_condVar.signal();
    this->_condVar.broadcast();
    EXPECT_THROW( this->waitWithoutLock(), ExAssertionFailed );
    this->startWaiter( 1 );
    this->_threads.back().waitUntilBlocked();
    EXPECT_THAT( this->locked( this->_woken ), ElementsAre() );
    EXPECT_THAT( this->wakeOneByOne( 1 ), ElementsAre( 1 ) );
}

TYPED_TEST( AnyCondVarTest, BroadcastWakesAllWithAndWithoutTheLock ) {
    for( const bool isLocked : { false, true } ) {
        for( int i = 0; i < 3; ++i ) {
            this->startWaiter( this->_nbWaiting + 1 );
        }
        if( isLocked ) {
            const Guard guard( this->_lock );
            this->_condVar.broadcast();
        } else {
            this->_condVar.broadcast();
        }
        this->_threads.clear();
    }
    EXPECT_EQ( this->_woken.size(), 6u );
}

TYPED_TEST( AnyCondVarTest, WaitUnderNestedGuardsGivesTheLockUpWhole ) {
    TestThread waiter( [this] { this->waitUnderTwoGuards(); } );
    waitUntil( [this] { return this->locked( this->_nbWaiting ) == 1; }, "waiter is queued" );
    this->_condVar.signal();
    waiter.join();
    EXPECT_EQ( this->_lock.getImp().getHolder(), 0u );
    EXPECT_EQ( ::testing::PrintToString( this->_condVar ), "condVar" );
}

TYPED_TEST( AnyCondVarTest, WaitThatRaisesIsOffTheQueueAndCostsNobodyASignal ) {
    const LkLock& lock = this->_lock;
    const TypeParam& condVar = this->_condVar;
    bool isOver = false;
    int nbWaiting = 0;
    const auto waitAndFail = [&]( int nbTimes ) {
        TestThread( [&] {
            const FutexWaitHook hook( [] { return EPERM; } );
            const Guard guard( lock );
            for( int i = 0; i < nbTimes; ++i ) {
                EXPECT_THROW( condVar.wait( guard ), ExAssertionFailed );
                EXPECT_EQ( lock.getImp().getHolder(), ThreadNumber::get() );
            }
        } ).join();
    };
    waitAndFail( 2 );
    TestThread waiter( [&] {
        const Guard guard( lock );
        ++nbWaiting;
        while( !isOver ) {
            condVar.wait( guard );
        }
    } );
    waitUntil(
        [&] {
            const Guard guard( lock );
            return nbWaiting == 1;
        },
        "the waiter is queued" );
    waitAndFail( 2 );
    {
        const Guard guard( lock );
        isOver = true;
        condVar.signal();
    }
    waiter.join();
}

TYPED_TEST( AnyCondVarTest, SignalToAWaitThatRaisesGoesToAnother ) {
    const LkLock& lock = this->_lock;
    const TypeParam& condVar = this->_condVar;
    bool isOver = false;
    std::atomic<int> nbWaiting = 0;
    HoldPoint sleep( "the sleep fails" );
    const auto wait = [&] {
        const Guard guard( lock );
        ++nbWaiting;
        while( !isOver ) {
            condVar.wait( guard );
        }
    };
    // Whichever the signal is for: it gets it while its sleep is about to fail.
    std::list<TestThread>& threads = this->_threads;
    for( const bool isFirst : { true, false } ) {
        if( isFirst == std::is_same_v<TypeParam, LkTimedCondVar> ) {
            threads.emplace_back( [&] {
                const FutexWaitHook hook( sleep, EPERM );
                EXPECT_THROW( wait(), ExAssertionFailed );
            } );
        } else {
            threads.emplace_back( wait );
        }
        waitUntil( [&] { return nbWaiting == ( isFirst ? 1 : 2 ); }, "a waiter comes" );
        const Guard guard( lock );
    }
    for( TestThread& thread : threads ) {
        thread.waitUntilBlocked();
    }
    {
        const Guard guard( lock );
        isOver = true;
        condVar.signal();
    }
    sleep.release();
    for( TestThread& thread : threads ) {
        thread.join();
    }
}

/// A thread in the queue of a scripted list.
class ListWaiter {
public:
    explicit ListWaiter( LkSListOf<ScriptedWord>& list, int nbWaits = 1 )
        : _thread( [this, &list, nbWaits] {
            for( int i = 0; i < nbWaits; ++i ) {
                LkWaitEntry& entry = LkWaitEntry::getEntry();
                LkWaitList::push( list, entry );
                _queued.open();
                entry.wait();
                ++_nbWakes;
            }
        } ) {
        _queued.wait();
    }

    Gate _queued{ "queued" };
    std::atomic<int> _nbWakes{ 0 };
    TestThread _thread;
};

TEST( LkWaitListTest, BroadcastWhoseSwapFailsWakesAllTheSame ) {
    LkSListOf<ScriptedWord> list;
    ListWaiter first( list );
    std::list<ListWaiter> later;
    ScriptedWord::beforeSwap = [&] {
        later.emplace_back( list );
        ScriptedWord::beforeSwap = [&] { later.emplace_back( list ); };
    };
    LkWaitList::wakeAll( list );
    first._thread.join();
    for( ListWaiter& waiter : later ) {
        waiter._thread.join();
    }
    EXPECT_EQ( later.size(), 2u );
    EXPECT_TRUE( list.isEmpty() );
    // One that another forestalls ends.
    ListWaiter last( list );
    ScriptedWord::beforeSwap = [&] { LkWaitList::wakeAll( list ); };
    LkWaitList::wakeAll( list );
    last._thread.join();
}

TEST( LkWaitListTest, SignalIsntDeceivedByAnEntryThatComesBack ) {
    LkSListOf<ScriptedWord> list;
    ListWaiter lower( list );
    ListWaiter upper( list, 2 );
    // Between a signaller's look at the newest entry and its swap another takes both, and the
    // newest waits again: the head would look as before.
    ScriptedWord::beforeSwap = [&] {
        LkWaitList::popNewest( list )->signal();
        LkWaitList::popNewest( list )->signal();
        lower._thread.join();
        waitUntil( [&] { return upper._nbWakes == 1; }, "upper is woken" );
        upper._thread.waitUntilBlocked();
    };
    if( LkWaitEntry* const entry = LkWaitList::popNewest( list ) ) {
        entry->signal();
    }
    waitUntil(
        [&] {
            LkWaitList::wakeNewest( list );
            return upper._thread.isDone();
        },
        "upper's second wait ends" );
    EXPECT_TRUE( list.isEmpty() ) << "an entry is queued whose thread doesn't wait";
}

TEST( LkWaitListTest, SignallerMayBeLateForAnEntryWhoseThreadHasEnded ) {
    LkSListOf<ScriptedWord> list;
    ListWaiter gone( list );
    ScriptedWord::beforeSwap = [&] {
        LkWaitList::popNewest( list )->signal();
        gone._thread.join();
    };
    EXPECT_EQ( LkWaitList::popNewest( list ), nullptr );
    // The same entry: it must be whole, and without a pin that nobody takes away.
    ListWaiter later( list );
    LkWaitList::wakeNewest( list );
    later._thread.join();
}

} // namespace
} // namespace Qv
