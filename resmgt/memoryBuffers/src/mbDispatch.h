#pragma once

#include <resmgt/memoryBuffers/mbBufferImp.h>
#include <resmgt/memoryBuffers/src/mbState.h>

#include <exception>
#include <utility>

namespace Qv {

/// Sends events to a buffer's state.
///
/// A class of its own so that nothing of it is exported, and the compiler can make one function of
/// the path from a guard to the state.
class MbDispatch {
public:
    /// How an event ended, for what is left to do without the lock.
    struct Outcome {
        bool isChanged = false;
        bool isDestroyed = false;
        std::exception_ptr failure;
    };

    /// Until the buffer has a state that doesn't make the caller wait.
    template <unsigned EVENT>
    static int dispatch( MbBufferImp* b ) QV_REQUIRES( b->getLock() ) {
        return dispatch( b, EVENT );
    }
    static int dispatch( MbBufferImp* b, unsigned event ) QV_REQUIRES( b->getLock() ) {
        int result;
        do {
            result = ( b->_state->*MB_EVENTS[event].operation )( b );
        } while( result == MbState::AGAIN );
        return result;
    }
    /// Whether the exception that was caught comes from a transition.
    static bool takeFailureMark( MbBufferImp* b ) QV_REQUIRES( b->getLock() ) {
        const std::uint32_t events = b->_pendingEvents;
        b->_pendingEvents = events & ~MbBufferImp::TRANSITION_FAILED;
        return ( events & MbBufferImp::TRANSITION_FAILED ) != 0;
    }
    /// Runs `operation`, which answers whether it has changed the state.
    template <class Operation>
    static Outcome attempt( MbBufferImp* b, Operation operation ) QV_REQUIRES( b->getLock() ) {
        Outcome outcome;
        try {
            outcome.isChanged = operation();
        } catch( ... ) {
            outcome.failure = std::current_exception();
            outcome.isChanged = takeFailureMark( b );
        }
        outcome.isDestroyed = outcome.isChanged && b->_state->isDestroyed();
        return outcome;
    }
    /// Gives the handles' pin back after the destruction, and raises what the event has raised.
    static void end( MbBufferImp* b, const Outcome& outcome ) {
        if( outcome.isDestroyed ) {
            b->unpin();
        }
        if( outcome.failure ) {
            std::rethrow_exception( outcome.failure );
        }
    }

    template <unsigned EVENT>
    static void send( MbBufferImp* b ) {
        const Outcome outcome = attemptLocked<EVENT>( b, []( bool ) {} );
        if( outcome.isChanged ) {
            b->_stateChanged.broadcast();
        }
        end( b, outcome );
    }
    template <unsigned EVENT>
    static void sendCompletion( MbBufferImp* b ) {
        // Whoever waits may destroy the buffer as soon as it has the lock.
        const Outcome outcome = attemptLocked<EVENT>( b, [b]( bool isChanged ) {
            if( isChanged ) {
                b->_stateChanged.broadcast();
            }
        } );
        end( b, outcome );
    }

private:
    /// Dispatches the event, and runs `finish` before the lock is given back.
    template <unsigned EVENT, class Finish>
    static Outcome attemptLocked( MbBufferImp* b, Finish finish ) {
        const LkGuard<const LkLock> guard( b->_lock );
        Outcome outcome = attempt( b, [b] {
            b->assumeLocked();
            return dispatch<EVENT>( b ) != MbState::UNCHANGED;
        } );
        finish( outcome.isChanged );
        return outcome;
    }
};

} // namespace Qv
