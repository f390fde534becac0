#include <resmgt/locks/lkRwLockState.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <deque>
#include <functional>
#include <string>
#include <unordered_map>
#include <vector>

/// Visits every state that some readers and writers can bring an LkRwLock into. The steps between
/// which others may come are those of LkRwLock; what they decide is LkRwLockState's own.

namespace Qv {

/// A state of the whole: the lock's, and where each thread stands.
class LkRwLockModel {
public:
    using State = LkRwLockState;

    struct Thread {
        enum Place : char {
            OUTSIDE,        // between two operations
            WANTS_TO_ENTER, // the internal lock
            WANTS_TO_TRY,
            DECIDES, // has the internal lock, and froze the word
            TRIES,
            ASLEEP,
            RAISED,  // its wait has, and it wants the internal lock
            ENTERED, // has the internal lock still
            HOLDS,
            WANTS_TO_LEAVE,
            LEFT // has the internal lock still
        };
        State::Mode mode;
        int nbLeft;
        Place place = OUTSIDE;
        bool isWoken = false;
    };

    LkRwLockModel( int nbReaders, int nbWriters, int nbRounds )
        : _threads( static_cast<std::size_t>( nbReaders ), Thread{ State::READ, nbRounds } ) {
        _threads.resize( static_cast<std::size_t>( nbReaders + nbWriters ),
                         Thread{ State::WRITE, nbRounds } );
    }

    bool isOver() const {
        return std::all_of( _threads.begin(), _threads.end(), []( const Thread& thread ) {
            return thread.place == Thread::OUTSIDE && thread.nbLeft == 0;
        } );
    }
    /// All that can come next by itself, and by a wait that raises.
    std::vector<LkRwLockModel> getNext() const;
    std::vector<LkRwLockModel> getNextByRaise() const;
    /// What is wrong with this state; empty if nothing is.
    std::string getFault() const;
    std::string getText() const;

private:
    using Place = Thread::Place;

    bool isHeldBy( const Thread& thread ) const {
        return thread.place == Thread::HOLDS || thread.place == Thread::WANTS_TO_LEAVE ||
               thread.place == Thread::ENTERED;
    }
    bool hasInternalLock( const Thread& thread ) const {
        return thread.place == Thread::DECIDES || thread.place == Thread::TRIES ||
               thread.place == Thread::ENTERED || thread.place == Thread::LEFT;
    }
    void put( State& state ) const {
        state._word = _word;
        state._nbWriteWaiters = _nbWriteWaiters;
        state._nbReadWaiters = _nbReadWaiters;
        state._nbReaders = _nbReaders;
    }
    void take( const State& state ) {
        _word = state._word;
        _nbWriteWaiters = state._nbWriteWaiters;
        _nbReadWaiters = state._nbReadWaiters;
        // Otherwise it means nothing, and makes no other state.
        _nbReaders = ( _word & State::FROZEN ) != 0 ? state._nbReaders.load() : 0;
    }

    /// One step of a thread that needs no choice; false if it can't go on.
    template <State::Mode mode>
    bool step( std::size_t number, State& state );
    void begin( Thread& thread, Place place ) {
        thread.place = place;
        --thread.nbLeft;
    }
    template <State::Mode mode>
    void beginLock( Thread& thread, State& state ) {
        begin( thread, state.enter<mode>() ? Thread::HOLDS : Thread::WANTS_TO_ENTER );
    }
    template <State::Mode mode>
    void beginTry( Thread& thread, State& state ) {
        const State::Answer answer = state.tryEnter<mode>();
        begin( thread, answer == State::ENTERED   ? Thread::HOLDS
                       : answer == State::REFUSED ? Thread::OUTSIDE
                                                  : Thread::WANTS_TO_TRY );
    }
    template <State::Mode mode>
    bool decide( std::size_t number, State& state );
    void wake( State::Wake whom );
    void dequeue( std::size_t number ) {
        _queue.erase( std::remove( _queue.begin(), _queue.end(), number ), _queue.end() );
    }

    std::uint32_t _word = 0;
    unsigned int _nbWriteWaiters = 0;
    unsigned int _nbReadWaiters = 0;
    unsigned int _nbReaders = 0;
    std::vector<Thread> _threads;
    // Those asleep and not woken, the newest last.
    std::vector<std::size_t> _queue;
};

void LkRwLockModel::wake( State::Wake whom ) {
    const State::Mode mode = whom == State::ONE_WRITER ? State::WRITE : State::READ;
    for( std::size_t i = _queue.size(); whom != State::NOBODY && i-- > 0; ) {
        Thread& thread = _threads[_queue[i]];
        if( thread.mode == mode ) {
            thread.isWoken = true;
            dequeue( _queue[i] );
            whom = whom == State::ONE_WRITER ? State::NOBODY : whom;
        }
    }
}

template <LkRwLockState::Mode mode>
bool LkRwLockModel::decide( std::size_t number, State& state ) {
    Thread& thread = _threads[number];
    if( !state.mustWait<mode>() ) {
        if( thread.place == Thread::TRIES && mode == State::READ ) {
            state.addNewcomer();
        }
        state.enterFrozen<mode>();
        thread.place = Thread::ENTERED;
    } else if( thread.place == Thread::TRIES ) {
        state.thaw();
        thread.place = Thread::OUTSIDE;
    } else {
        state.beginWait<mode>();
        _queue.push_back( number );
        thread.place = Thread::ASLEEP;
    }
    return true;
}

template <LkRwLockState::Mode mode>
bool LkRwLockModel::step( std::size_t number, State& state ) {
    Thread& thread = _threads[number];
    const bool isLockFree =
        std::none_of( _threads.begin(), _threads.end(),
                      [this]( const Thread& other ) { return hasInternalLock( other ); } );
    const bool wantsLock = thread.place == Thread::WANTS_TO_ENTER ||
                           thread.place == Thread::WANTS_TO_TRY || thread.place == Thread::ASLEEP ||
                           thread.place == Thread::RAISED || thread.place == Thread::WANTS_TO_LEAVE;
    if( wantsLock && !isLockFree ) {
        return false;
    }
    switch( thread.place ) {
    case Thread::OUTSIDE:
        return false;
    case Thread::WANTS_TO_ENTER:
    case Thread::WANTS_TO_TRY:
        state.freeze();
        thread.place = thread.place == Thread::WANTS_TO_ENTER ? Thread::DECIDES : Thread::TRIES;
        return true;
    case Thread::DECIDES:
    case Thread::TRIES:
        return decide<mode>( number, state );
    case Thread::ASLEEP:
        if( !thread.isWoken ) {
            return false;
        }
        thread.isWoken = false;
        state.endWait<mode>();
        thread.place = Thread::DECIDES;
        return true;
    case Thread::RAISED:
        thread.isWoken = false;
        wake( state.giveUp<mode>() );
        thread.place = Thread::OUTSIDE;
        return true;
    case Thread::ENTERED:
        thread.place = Thread::HOLDS;
        return true;
    case Thread::HOLDS:
        thread.place = state.leave<mode>() ? Thread::OUTSIDE : Thread::WANTS_TO_LEAVE;
        return true;
    case Thread::WANTS_TO_LEAVE:
        if( state.beginLeave() ) {
            wake( state.leaveFrozen() );
            thread.place = Thread::LEFT;
        } else {
            thread.place = Thread::HOLDS;
        }
        return true;
    case Thread::LEFT:
        thread.place = Thread::OUTSIDE;
        return true;
    }
    return false;
}

std::vector<LkRwLockModel> LkRwLockModel::getNext() const {
    std::vector<LkRwLockModel> all;
    const auto add = [&]( const std::function<bool( LkRwLockModel&, State& )>& change ) {
        LkRwLockModel next( *this );
        State state;
        put( state );
        if( change( next, state ) ) {
            next.take( state );
            all.push_back( std::move( next ) );
        }
    };
    for( std::size_t i = 0; i < _threads.size(); ++i ) {
        const bool isReader = _threads[i].mode == State::READ;
        if( _threads[i].place == Thread::OUTSIDE && _threads[i].nbLeft > 0 ) {
            add( [=]( LkRwLockModel& next, State& state ) {
                isReader ? next.beginLock<State::READ>( next._threads[i], state )
                         : next.beginLock<State::WRITE>( next._threads[i], state );
                return true;
            } );
            add( [=]( LkRwLockModel& next, State& state ) {
                isReader ? next.beginTry<State::READ>( next._threads[i], state )
                         : next.beginTry<State::WRITE>( next._threads[i], state );
                return true;
            } );
        }
        add( [=]( LkRwLockModel& next, State& state ) {
            return isReader ? next.step<State::READ>( i, state )
                            : next.step<State::WRITE>( i, state );
        } );
    }
    return all;
}

std::vector<LkRwLockModel> LkRwLockModel::getNextByRaise() const {
    std::vector<LkRwLockModel> all;
    for( std::size_t i = 0; i < _threads.size(); ++i ) {
        if( _threads[i].place == Thread::ASLEEP ) {
            // It may have been woken already: the signal is lost with it.
            all.push_back( *this );
            all.back().dequeue( i );
            all.back()._threads[i].place = Thread::RAISED;
        }
    }
    return all;
}

std::string LkRwLockModel::getFault() const {
    int nbReaders = 0;
    int nbWriters = 0;
    bool isOneLeft = false;
    for( const Thread& thread : _threads ) {
        if( isHeldBy( thread ) ) {
            ++( thread.mode == State::READ ? nbReaders : nbWriters );
        }
        isOneLeft = isOneLeft || thread.place == Thread::LEFT;
    }
    State state;
    put( state );
    if( nbWriters > 1 || ( nbWriters == 1 && nbReaders > 0 ) ) {
        return "a writer isn't alone";
    }
    if( state.getHeld() != ( nbWriters == 1 ? -1 : nbReaders ) ) {
        return "the word doesn't count the holders";
    }
    if( isOver() && ( _word != 0 || _nbWriteWaiters != 0 || _nbReadWaiters != 0 ) ) {
        return "the lock isn't free when all is over";
    }
    if( nbWriters == 1 && isOneLeft ) {
        return "a writer may destroy the lock while one that left has its internal lock";
    }
    return "";
}

std::string LkRwLockModel::getText() const {
    std::string text = std::to_string( _word >> 30 ) + ':' + std::to_string( _word & 0xFFu ) + ' ' +
                       std::to_string( _nbReaders ) + ' ' + std::to_string( _nbWriteWaiters ) +
                       ' ' + std::to_string( _nbReadWaiters );
    for( const Thread& thread : _threads ) {
        text += thread.mode == State::READ ? " R" : " W";
        text += std::to_string( thread.nbLeft ) + static_cast<char>( 'a' + thread.place );
        text += thread.isWoken ? "!" : "";
    }
    for( const std::size_t number : _queue ) {
        text += ' ' + std::to_string( number );
    }
    return text;
}

namespace {

/// Every state once, and how it was come to first.
class Search {
public:
    /// Answers how many there are.
    std::size_t run( const LkRwLockModel& start ) {
        visit( start, "" );
        while( !_left.empty() && !::testing::Test::HasFailure() ) {
            const LkRwLockModel model = _left.front();
            _left.pop_front();
            const std::vector<LkRwLockModel> next = model.getNext();
            if( next.empty() && !model.isOver() ) {
                fail( model.getText(), "somebody waits for ever" );
            }
            for( const auto& all : { next, model.getNextByRaise() } ) {
                for( const LkRwLockModel& one : all ) {
                    visit( one, model.getText() );
                }
            }
        }
        return _from.size();
    }

private:
    void visit( const LkRwLockModel& model, const std::string& from ) {
        const std::string text = model.getText();
        if( !_from.emplace( text, from ).second ) {
            return;
        }
        _left.push_back( model );
        const std::string fault = model.getFault();
        if( !fault.empty() ) {
            fail( text, fault );
        }
    }
    void fail( std::string text, const std::string& fault ) {
        std::string way;
        for( ; !text.empty(); text = _from[text] ) {
            way = text + '\n' + way;
        }
        ADD_FAILURE() << fault << ":\n" << way;
    }

    std::unordered_map<std::string, std::string> _from;
    std::deque<LkRwLockModel> _left;
};

TEST( LkRwLockModelTest, WritersAreAloneAndNobodySleepsForEverInAnyStateOfReadersAndWriters ) {
    struct {
        int nbReaders;
        int nbWriters;
        int nbRounds;
    } const cases[] = { { 1, 1, 3 }, { 2, 2, 2 }, { 3, 2, 1 } };
    for( const auto& [nbReaders, nbWriters, nbRounds] : cases ) {
        const std::size_t nbStates =
            Search().run( LkRwLockModel( nbReaders, nbWriters, nbRounds ) );
        std::printf( "%d readers, %d writers: %zu states\n", nbReaders, nbWriters, nbStates );
        EXPECT_GT( nbStates, 500u );
    }
}

} // namespace
} // namespace Qv
