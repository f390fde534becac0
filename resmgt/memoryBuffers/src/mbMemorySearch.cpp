#include <resmgt/memoryBuffers/mbPoolManager.h>

#include <base/failure/qvHere.h>
#include <resmgt/memoryBuffers/mbEx.h>
#include <resmgt/memoryBuffers/src/mbAskers.h>
#include <resmgt/memoryBuffers/src/mbEviction.h>
#include <resmgt/memoryBuffers/src/mbResidents.h>
#include <resmgt/memoryBuffers/src/mbStallReport.h>

#include <algorithm>
#include <chrono>
#include <string>
#include <utility>
#include <vector>

namespace Qv {

namespace {

/// How long a sleeper sleeps before it looks around by itself, in seconds: for buffers that have
/// refused and may have changed their minds, and for threads that wait for one another.
constexpr double LOOK_AROUND = 0.1;
/// The same for one that lets a large request go first: it may itself hold what that waits for.
constexpr double PATIENCE = 0.01;
/// So often it does so before all go on, in case that it isn't known who holds what, or that what
/// the large one waits for never comes. While nothing is returned at all it loses patience sooner.
constexpr int MOST_PATIENCE = 1000;
constexpr int QUIET_PATIENCE = 10;

/// Keeps a victim alive.
class Pin {
public:
    explicit Pin( MbBufferImp* buffer ) noexcept
        : _buffer( buffer ) {}
    Pin( const Pin& ) = delete;
    Pin& operator=( const Pin& ) = delete;
    ~Pin() { _buffer->unpin(); }

private:
    MbBufferImp* const _buffer;
};

} // namespace

/// One thread's search for memory for one buffer.
///
/// It goes in rounds: each buffer that is evictable when a round begins is asked once. A round
/// without success is followed by another one if something was returned meanwhile, else by a sleep.
/// Only a search that stands in the queue of askers is woken by a return, so it begins another
/// round once it has entered.
class MbPoolManager::Search {
public:
    Search( MbPoolManager& manager, MbBufferImp& buffer )
        : _manager( manager )
        , _buffer( buffer )
        , _asker( buffer ) {}
    Search( const Search& ) = delete;
    Search& operator=( const Search& ) = delete;
    ~Search();

    void run();

private:
    using Clock = std::chrono::steady_clock;
    enum Step { SERVED, EVICT, SLEEP };

    Step look() QV_REQUIRES( _manager._lock );
    bool tryAllocate() QV_REQUIRES( _manager._lock );
    MbBufferImp* pickVictim() QV_REQUIRES( _manager._lock );
    void evict();
    void beginRound() QV_REQUIRES( _manager._lock );

    bool isOfUse( const MbBufferImp& buffer ) const QV_REQUIRES( _manager._lock );
    void passOn() QV_REQUIRES( _manager._lock );
    void leave() QV_REQUIRES( _manager._lock );
    bool endEviction() QV_REQUIRES( _manager._lock );
    void wakeNext();

    void sleep();
    void letOthersOvertake( bool isQuiet ) QV_REQUIRES( _manager._lock );
    void letHoldersOvertake() QV_REQUIRES( _manager._lock );
    void raiseWhereDeadlocked() QV_REQUIRES( _manager._lock );
    bool isDeadlocked() const QV_REQUIRES( _manager._lock );
    std::vector<unsigned long> getWaiting() const QV_REQUIRES( _manager._lock );
    std::string describeStall() const noexcept QV_REQUIRES( _manager._lock );
    [[noreturn]] void raise( const char* reason ) const QV_REQUIRES( _manager._lock );

    MbPoolManager& _manager;
    MbBufferImp& _buffer;
    MbAskers::Asker _asker;
    MbStallReport _stall;
    /// The buffer to evict next, pinned; not null until what it has left was looked at.
    MbBufferImp* _victim = nullptr;
    /// Whom to wake once the lock is given back.
    MbAskers::Asker* _woken = nullptr;

    // The present round. Asked are buffers with tickets before this, or so many of the strategy's.
    std::uint64_t _bound = 0;
    std::size_t _nbLeft = 0;
    std::uint64_t _nbReturnsSeen = 0;

    bool _hasBegun = false;
    bool _isServed = false;
    /// It was woken, or has evicted, and may leave something for others.
    bool _wasWoken = false;
    bool _hasEvicted = false;
    /// It lets a large request go first; how long it has slept for that.
    bool _isPolite = false;
    int _nbPatient = 0;
};

void MbPoolManager::allocateRegion( MbBufferImp* buffer ) {
    Search( *this, *buffer ).run();
}

void MbPoolManager::Search::run() {
    while( !_isServed ) {
        Step step = SLEEP;
        {
            const LkGuard<const LkLock> guard( _manager._lock );
            step = look();
        }
        wakeNext();
        if( step == EVICT ) {
            evict();
        } else if( step == SLEEP ) {
            sleep();
        }
    }
}

MbPoolManager::Search::~Search() {
    if( !_isServed ) {
        // Before the lock is taken: somebody who has it may be waiting for this.
        wakeNext();
        {
            const LkGuard<const LkLock> guard( _manager._lock );
            if( endEviction() ) {
                // The victim has raised. It may have given memory back before, or be evictable
                // anew, and somebody hasn't seen it meanwhile.
                _hasEvicted = true;
                _manager._regionFreed->countReturn();
            }
            leave();
        }
        wakeNext();
    }
}

// One look around.

MbPoolManager::Search::Step MbPoolManager::Search::look() {
    static_cast<void>( endEviction() );
    if( !std::exchange( _hasBegun, true ) ) {
        beginRound();
    }
    for( ;; ) {
        _isPolite = _manager._regionFreed->mustWait( _asker );
        if( !_isPolite && tryAllocate() ) {
            return SERVED;
        }
        if( _buffer.isAskingByTheWay() ) {
            raise( "a hint doesn't wait for memory" );
        }
        if( !_isPolite ) {
            _manager._evicting.reserve( _manager._evicting.size() + 1 );
            _victim = pickVictim();
            if( _victim != nullptr ) {
                _manager._evicting.push_back( this );
                return EVICT;
            }
            if( _manager._nbAllocatedRegion == 0 ) {
                raise( "no piece of the manager's memory is large enough" );
            }
        }
        if( !_asker.isIn() ) {
            _manager._regionFreed->enter( _asker );
        } else if( _nbReturnsSeen == _manager._regionFreed->getNbReturns() ) {
            passOn();
            _asker.fallAsleep();
            return SLEEP;
        }
        beginRound();
    }
}

bool MbPoolManager::Search::tryAllocate() {
    _manager._residents->reserve( _manager._nbAllocatedRegion + std::size_t( 1 ) );
    if( !_manager.tryAllocateRegion( &_buffer ) ) {
        return false;
    }
    ++_manager._nbAllocatedRegion;
    _manager.addResident( _buffer );
    _isServed = true;
    _manager._regionFreed->countServed( _asker );
    leave();
    return true;
}

MbBufferImp* MbPoolManager::Search::pickVictim() {
    if( _manager._isOrderKeptHere ) {
        return _manager._residents->pickOldest( _bound );
    }
    if( _nbLeft == 0 || _manager._strategy->isEmpty() ) {
        return nullptr;
    }
    --_nbLeft;
    MbBufferImp* const victim = _manager._strategy->selectVictim();
    // A member of the strategy can't leave it, nor end, while the manager's lock is held.
    victim->pin();
    return victim;
}

void MbPoolManager::Search::evict() {
    // All of this runs without the manager's lock: a victim's end runs its protocol's destructor,
    // which may drop handles of other buffers, and a buffer's lock comes before a manager's.
    const Pin pin( _victim );
    {
        const MbEviction eviction( *_victim );
        _victim->unload();
    }
    const LkGuard<const LkLock> guard( _manager._lock );
    _hasEvicted = _hasEvicted || !_victim->_isResident;
}

/// Answers whether there was one.
bool MbPoolManager::Search::endEviction() {
    std::erase( _manager._evicting, this );
    return std::exchange( _victim, nullptr ) != nullptr;
}

void MbPoolManager::Search::beginRound() {
    _bound = _manager._residents->getNow();
    _nbLeft = _manager._nbUnloadableBuffer;
    _nbReturnsSeen = _manager._regionFreed->getNbReturns();
}

// Handing over.

bool MbPoolManager::Search::isOfUse( const MbBufferImp& buffer ) const {
    const bool mayEvict = _manager._isOrderKeptHere ? _manager._residents->mayHaveEvictable()
                                                    : !_manager._strategy->isEmpty();
    return mayEvict ||
           _manager.getFreeSpaceImp() >= static_cast<unsigned long long>( buffer.getSize() );
}

/// Chooses who goes on with what this search leaves. Those before it in the queue were awake when
/// it was woken, and look by themselves.
void MbPoolManager::Search::passOn() {
    const bool hasEvicted = std::exchange( _hasEvicted, false );
    const bool wasWoken = std::exchange( _wasWoken, false );
    if( hasEvicted || wasWoken ) {
        const bool isOnlyBehind = !hasEvicted && _asker.isIn();
        _woken = _manager._regionFreed->takeNext( _asker, isOnlyBehind,
                                                  [this]( const MbBufferImp& buffer ) {
                                                      _manager.assumeLocked();
                                                      return isOfUse( buffer );
                                                  } );
    }
}

void MbPoolManager::Search::leave() {
    if( _asker.isIn() ) {
        _wasWoken = _asker.takeWakeUp() || _wasWoken;
        // Those that had to wait for it were passed over by what was returned meanwhile.
        _wasWoken = _manager._regionFreed->leave( _asker ) || _wasWoken;
    }
    passOn();
}

void MbPoolManager::Search::wakeNext() {
    if( MbAskers::Asker* const woken = std::exchange( _woken, nullptr ) ) {
        woken->wake();
    }
}

// Sleeping.

void MbPoolManager::Search::sleep() {
    _asker.sleep( _isPolite ? PATIENCE : LOOK_AROUND );
    std::string report;
    {
        const LkGuard<const LkLock> guard( _manager._lock );
        const bool isQuiet = _nbReturnsSeen == _manager._regionFreed->getNbReturns();
        if( _asker.takeWakeUp() ) {
            _wasWoken = true;
        } else if( _isPolite ) {
            letOthersOvertake( isQuiet );
        } else if( isQuiet ) {
            raiseWhereDeadlocked();
        }
        if( _stall.isDue() ) {
            report = describeStall();
        }
        beginRound();
    }
    if( !report.empty() ) {
        MbStallReport::print( report );
    }
}

void MbPoolManager::Search::letOthersOvertake( bool isQuiet ) {
    if( !_manager._regionFreed->mustWait( _asker ) ) {
        return;
    }
    _nbPatient += isQuiet ? QUIET_PATIENCE : 1;
    if( _nbPatient >= MOST_PATIENCE ) {
        _nbPatient = 0;
        _manager._regionFreed->letAllOvertake();
    } else {
        letHoldersOvertake();
    }
}

void MbPoolManager::Search::letHoldersOvertake() {
    // All askers profit from one look at all buffers; a tenth of the time is enough for that.
    const auto begin = Clock::now();
    if( begin < _manager._nextLookAtHolders ) {
        return;
    }
    _manager._residents->forEach( [this]( const MbBufferImp& buffer ) {
        _manager.assumeLocked();
        if( const unsigned long holder = getHolder( buffer ) ) {
            _manager._regionFreed->letOvertake( holder );
        }
    } );
    const auto end = Clock::now();
    _manager._nextLookAtHolders = end + 10 * ( end - begin );
}

/// One of those threads whose memory the others wait for; one is enough.
void MbPoolManager::Search::raiseWhereDeadlocked() {
    if( isDeadlocked() ) {
        // From now on it waits no more.
        leave();
        raise( "all that is in use is locked by threads that wait for memory themselves" );
    }
}

/// Threads that wait for memory here can't give back what they hold. Whether they hold all that is
/// in use, and this one a part of it: nobody would be helped if it went without holding anything.
bool MbPoolManager::Search::isDeadlocked() const {
    // A region that is on its way to another buffer is held by a thread that works.
    if( _manager._residents->getSize() != _manager._nbAllocatedRegion ) {
        return false;
    }
    const std::vector<unsigned long> waiting = getWaiting();
    const auto isWaiting = [&waiting]( unsigned long thread ) {
        return std::find( waiting.begin(), waiting.end(), thread ) != waiting.end();
    };
    // A search that works may find or leave something for one that sleeps.
    bool isStuck = std::all_of( _manager._evicting.begin(), _manager._evicting.end(),
                                [&isWaiting]( const Search* search ) {
                                    return isWaiting( search->_asker.getThread().getNum() );
                                } );
    _manager._regionFreed->forEach( [&]( const MbAskers::Asker& asker ) {
        isStuck = isStuck && ( asker.isAsleep() || isWaiting( asker.getThread().getNum() ) );
    } );
    bool isHolder = false;
    return isStuck && _manager._residents->areAll( [&]( const MbBufferImp& buffer ) {
        const unsigned long holder = getHolder( buffer );
        isHolder = isHolder || holder == _asker.getThread().getNum();
        return isWaiting( holder );
    } ) && isHolder;
}

/// The numbers of the threads that wait for memory, this one's among them, but for those that only
/// let a large request go first.
std::vector<unsigned long> MbPoolManager::Search::getWaiting() const {
    std::vector<unsigned long> waiting;
    _manager._regionFreed->forEach( [&waiting, this]( const MbAskers::Asker& asker ) {
        _manager.assumeLocked();
        if( ( asker.isAsleep() || &asker == &_asker ) &&
            !_manager._regionFreed->mustWait( asker ) ) {
            waiting.push_back( asker.getThread().getNum() );
        }
    } );
    return waiting;
}

/// Empty where there is no memory for it: the wait goes on without the report.
std::string MbPoolManager::Search::describeStall() const noexcept {
    try {
        return _manager.describeStall( _buffer );
    } catch( const std::exception& ) {
        return std::string();
    }
}

void MbPoolManager::Search::raise( const char* reason ) const {
    throw MbEx::ExNotEnoughMemory( QV_HERE,
                                   ( std::to_string( _buffer.getSize() ) + " bytes are wanted, " +
                                     std::to_string( _manager.getFreeSpaceImp() ) + " of " +
                                     std::to_string( _manager.getSizeImp() ) + " are free in " +
                                     _manager._managerName + ", and " + reason )
                                       .c_str() );
}

} // namespace Qv
