#include <base/ownership/rcShdEngPtr.h>
#include <resmgt/locks/lkSingleton.h>
#include <resmgt/memoryBuffers/mbBufferImpFactory.h>
#include <resmgt/memoryBuffers/mbEx.h>
#include <resmgt/memoryBuffers/src/mbStateMachineImp.h>
#include <resmgt/memoryBuffers/src/mbTypeName.h>
#include <resmgt/memoryBuffers/test/mbRecorder.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <map>
#include <sstream>
#include <tests/support/testThread.h>

namespace Qv {

namespace {

using testing::HasSubstr;

// The tables, as they are written for the maintainer, state by state. A cell tells what an event
// does: "none", "count" (one lock more, nothing else), "illegal", "wait", "defer B", or a
// transition: the calls to manager and protocol in order, "target X" where the state to end in
// after a failure changes, and "to X". The calls of entering and leaving Loaded and Synched are
// left out. "cleanLock", "dirtyRead", "dirtyWrite" and "asyncSyncState" depend on the policy and
// the environment.

struct Column {
    const char* state;
    std::vector<const char*> cells;
};

const std::vector<const char*> EVENTS = {
    "rdlock",        "wrlock",  "wrdup",  "wr2rd", "prefetch", "asyncSync",
    "sync",          "unlock",  "unload", "free",  "destroy",  "asyncOpSucceeded",
    "asyncOpFailed", "release", "grab",
};

const std::vector<Column> TABLE = {
    { "Freed",
      { "M.allocateRegion, P.load, to cleanLock, count+1",
        "M.allocateRegion, P.load, P.markDirty, to dirtyWrite, count+1", "illegal", "illegal",
        "M.allocateRegion, P.asyncLoad, to WaitAsyncLoaded", "none", "none", "illegal", "none",
        "none", "to Destroyed", "illegal", "illegal",
        "M.allocateRegion, P.load, target Synched, P.free, to Freed",
        "target Freed, P.grab, to Loaded" } },
    { "Unloaded",
      { "M.allocateRegion, P.reload, to cleanLock, count+1",
        "M.allocateRegion, P.reload, P.markDirty, to dirtyWrite, count+1", "illegal", "illegal",
        "M.allocateRegion, P.asyncReload, to WaitAsyncReloaded", "none", "none", "illegal", "none",
        "to Freed", "to Destroyed", "illegal", "illegal",
        "M.allocateRegion, P.reload, target Synched, P.free, to Freed",
        "target Freed, P.grab, to Loaded" } },
    { "Synched",
      { "to cleanLock, count+1", "P.markDirty, to dirtyWrite, count+1", "illegal", "illegal",
        "refresh", "none", "none", "illegal", "P.unload, M.deallocateRegion, to Unloaded",
        "P.free, M.deallocateRegion, to Freed", "M.deallocateRegion, to Destroyed", "illegal",
        "illegal", "P.free, to Freed",
        "P.free, M.deallocateRegion, target Freed, P.grab, to Loaded" } },
    { "Loaded",
      { "to dirtyRead, count+1", "to dirtyWrite, count+1", "illegal", "illegal", "refresh",
        "P.asyncSync, to asyncSyncState", "P.sync, to Synched", "illegal",
        "P.unload, M.deallocateRegion, to Unloaded", "P.free, M.deallocateRegion, to Freed",
        "target Destroyed, P.destroy, M.deallocateRegion, to Destroyed", "illegal", "illegal",
        "P.free, to Freed", "P.free, M.deallocateRegion, target Freed, P.grab, to Loaded" } },
    { "Destroyed",
      { "illegal", "illegal", "illegal", "illegal", "illegal", "illegal", "illegal", "illegal",
        "none", "illegal", "illegal", "illegal", "illegal", "illegal", "illegal" } },

    { "Locked",
      { "count", "P.markDirty, to LockedDirty, count+1", "illegal", "illegal", "none", "none",
        "none", "P.unlocked, to Synched", "none", "to LockedFreed", "illegal", "illegal", "illegal",
        "wait", "wait" } },
    { "LockedDirty",
      { "count", "count", "count", "none", "none", "defer 32", "wait", "P.unlocked, to Loaded",
        "none", "to LockedFreedDirty", "illegal", "illegal", "illegal", "wait", "wait" } },
    { "LockedFreed",
      { "count", "P.markDirty, to LockedFreedDirty, count+1", "illegal", "illegal", "none", "none",
        "none", "target Freed, P.free, M.deallocateRegion, to Freed", "none", "none", "illegal",
        "illegal", "illegal", "wait", "wait" } },
    { "LockedFreedDirty",
      { "count", "count", "count", "none", "none", "none", "none",
        "target Freed, P.free, M.deallocateRegion, to Freed", "none", "none", "illegal", "illegal",
        "illegal", "wait", "wait" } },

    { "RdLocked",
      { "count", "wait", "illegal", "illegal", "none", "none", "none", "P.unlocked, to Synched",
        "none", "to RdLockedFreed", "illegal", "illegal", "illegal", "wait", "wait" } },
    { "RdLockedDirty",
      { "count", "wait", "illegal", "illegal", "none", "defer 32", "wait", "P.unlocked, to Loaded",
        "none", "to RdLockedFreed", "illegal", "illegal", "illegal", "wait", "wait" } },
    { "RdLockedFreed",
      { "count", "wait", "illegal", "illegal", "none", "none", "none",
        "target Freed, P.free, M.deallocateRegion, to Freed", "none", "none", "illegal", "illegal",
        "illegal", "wait", "wait" } },
    { "WrLocked",
      { "wait", "wait", "count", "to RdLockedDirty", "none", "defer 32", "wait",
        "P.unlocked, to Loaded", "none", "to WrLockedFreed", "illegal", "illegal", "illegal",
        "wait", "wait" } },
    { "WrLockedFreed",
      { "wait", "wait", "count", "to RdLockedFreed", "none", "none", "none",
        "target Freed, P.free, M.deallocateRegion, to Freed", "none", "none", "illegal", "illegal",
        "illegal", "wait", "wait" } },

    { "TransientState",
      { "wait", "wait", "illegal", "illegal", "defer 16", "defer 32", "wait", "wait", "none",
        "wait", "wait", "defer 2048", "defer 4096", "wait", "wait" } },
    { "WaitAsyncLoaded",
      { "wait", "wait", "illegal", "illegal", "defer 16", "defer 32", "wait", "wait", "none",
        "wait", "wait", "P.asyncLoadSucceeded, to Synched",
        "M.deallocateRegion, P.asyncLoadFailed, to Freed", "wait", "wait" } },
    { "WaitAsyncReloaded",
      { "wait", "wait", "illegal", "illegal", "defer 16", "defer 32", "wait", "wait", "none",
        "wait", "wait", "P.asyncReloadSucceeded, to Synched",
        "M.deallocateRegion, P.asyncReloadFailed, to Unloaded", "wait", "wait" } },
    { "WaitAsyncSynched",
      { "wait", "wait", "illegal", "illegal", "defer 16", "defer 32", "wait", "wait", "none",
        "wait", "wait", "P.asyncSyncSucceeded, to Synched", "P.asyncSyncFailed, to Loaded", "wait",
        "wait" } },
    { "WaitAsyncSynchedLoaded",
      { "to WaitAsyncSynchedRdLocked, count+1", "wait", "illegal", "illegal", "none", "none",
        "wait", "illegal", "none", "wait", "wait", "P.asyncSyncSucceeded, to Synched",
        "P.asyncSyncFailed, to Loaded", "wait", "wait" } },
    { "WaitAsyncSynchedRdLocked",
      { "count", "wait", "illegal", "illegal", "none", "none", "wait",
        "P.unlocked, to WaitAsyncSynchedLoaded", "none", "wait", "wait",
        "P.asyncSyncSucceeded, to RdLocked", "P.asyncSyncFailed, to RdLockedDirty", "wait",
        "wait" } },
};

/// Protocol calls whose exception has the manager called before the transition ends in the state
/// that it left, or in the target set by then.
struct Failure {
    const char* states;
    const char* event;
    const char* call;
};

const std::vector<Failure> GIVE_MEMORY_BACK = {
    { "Freed", "rdlock wrlock release", "P.load" },
    { "Freed Unloaded", "wrlock", "P.markDirty" },
    { "Freed", "prefetch", "P.asyncLoad" },
    { "Unloaded", "rdlock wrlock release", "P.reload" },
    { "Unloaded", "prefetch", "P.asyncReload" },
    { "Freed Unloaded Synched Loaded", "grab", "P.grab" },
    { "Loaded", "destroy", "P.destroy" },
    { "LockedFreed LockedFreedDirty RdLockedFreed WrLockedFreed", "unlock", "P.free" },
};

bool hasWord( const char* words, const std::string& word ) {
    std::istringstream stream( words );
    for( std::string w; stream >> w; ) {
        if( w == word ) {
            return true;
        }
    }
    return false;
}

bool isListed( const std::string& state ) {
    return state == "Loaded" || state == "Synched";
}

bool hasMemory( const std::string& state ) {
    return state != "Freed" && state != "Unloaded" && state != "Destroyed";
}

bool isLockedState( const std::string& state ) {
    return state.find( "Locked" ) != std::string::npos;
}

/// What an event should leave behind.
struct Outcome {
    CallLog calls;
    std::string state;
    std::uint32_t lockCount = 0;
    std::uint32_t pendingEvents = 0;
    bool isBroadcast = false;

    bool operator==( const Outcome& ) const = default;
};

std::ostream& operator<<( std::ostream& stream, const Outcome& outcome ) {
    for( const std::string& call : outcome.calls ) {
        stream << call << ", ";
    }
    return stream << "state " << outcome.state << ", locks " << outcome.lockCount << ", pending "
                  << outcome.pendingEvents << ( outcome.isBroadcast ? ", broadcast" : "" );
}

template <bool UNTRACED, bool RELAXED>
const MbStates::StateTable& statesOf() {
    return static_cast<const MbStateMachineImp<UNTRACED, RELAXED>&>(
               MbStateMachine::getInstance(
                   UNTRACED ? MbStateMachine::UNTRACED : MbStateMachine::TRACED,
                   RELAXED ? MbStateMachine::RELAXED : MbStateMachine::STRICT ) )
        .getStates();
}

std::string nameOf( const MbState* state ) {
    const std::string name = mbTypeName( typeid( *state ) );
    const std::size_t begin = name.rfind( "::" ) + 2;
    return name.substr( begin, name.find( '<' ) - begin );
}

/// One machine, and a buffer that can be put into any of its states.
class MbStateTable : public testing::TestWithParam<int> {
protected:
    MbStateTable()
        : _isRelaxed( ( GetParam() & 1 ) != 0 )
        , _states( GetParam() == 0   ? statesOf<false, false>()
                   : GetParam() == 1 ? statesOf<false, true>()
                   : GetParam() == 2 ? statesOf<true, false>()
                                     : statesOf<true, true>() )
        , _manager( new RecordingManager( _log ) )
        , _protocol( new RecordingProtocol( _log ) )
        , _engine( MbBufferImpFactory::create(
              "table", _states[MbStates::FREED], RCShdPtr<MbManager>( _manager ),
              OPtr<MbProtocol>( _protocol ), RecordingManager::BLOCK_SIZE,
              MbAlignment( 127, 0, 0 ) ) )
        , _b( *_engine ) {
        _protocol->buffer = &_b;
        // The events under test may destroy the buffer.
        _b.pin();
        _b.pin();
    }
    ~MbStateTable() override {
        put( "Freed" );
        _b.unpin();
        _engine.reset();
        EXPECT_EQ( MbTestAccess::pins( _b ), 1 );
        _b.unpin();
    }

    const MbState* stateNamed( const std::string& name ) const {
        for( const MbState* state : _states ) {
            if( nameOf( state ) == name ) {
                return state;
            }
        }
        ADD_FAILURE() << "no state " << name;
        return nullptr;
    }
    std::string resolve( const std::string& name ) const {
        if( name == "cleanLock" ) {
            return _isRelaxed ? "Locked" : "RdLocked";
        }
        if( name == "dirtyRead" ) {
            return _isRelaxed ? "LockedDirty" : "RdLockedDirty";
        }
        if( name == "dirtyWrite" ) {
            return _isRelaxed ? "LockedDirty" : "WrLocked";
        }
        if( name == "asyncSyncState" ) {
            const char* const value = std::getenv( "QV_READ_WHILE_ASYNC_SYNC" );
            return value != nullptr && std::atoi( value ) == 0 ? "WaitAsyncSynched"
                                                               : "WaitAsyncSynchedLoaded";
        }
        return name;
    }

    void put( const std::string& state, std::uint32_t lockCount = 0 ) {
        const LkGuard<const LkLock> guard( _b.getLock() );
        MbTestAccess::state( _b ) = stateNamed( state );
        MbTestAccess::lockCount( _b ) = lockCount;
        MbTestAccess::pendingEvents( _b ) = 0;
        MbTestAccess::owner( _b ).reset();
        MbTestAccess::region( _b ) = hasMemory( state ) ? _manager->makeRegion() : MbRegion();
        _protocol->faultyCall.clear();
        _log.clear();
        _formerState = state;
    }

    void send( const std::string& event ) {
        static const std::map<std::string, void ( MbBufferImp::* )()> operations = {
            { "rdlock", &MbBufferImp::rdlock },
            { "wrlock", &MbBufferImp::wrlock },
            { "wrdup", &MbBufferImp::wrdup },
            { "wr2rd", &MbBufferImp::wr2rd },
            { "prefetch", &MbBufferImp::prefetch },
            { "asyncSync", &MbBufferImp::asyncSync },
            { "sync", &MbBufferImp::sync },
            { "unlock", &MbBufferImp::unlock },
            { "unload", &MbBufferImp::unload },
            { "free", &MbBufferImp::free },
            { "destroy", &MbBufferImp::destroy },
            { "asyncOpSucceeded", &MbBufferImp::asyncSucceeded },
            { "asyncOpFailed", &MbBufferImp::asyncFailed },
        };
        if( event == "release" || event == "grab" ) {
            sendMove( event );
        } else {
            ( _b.*operations.at( event ) )();
        }
    }

    /// `release` and `grab` have no event of their own on a single buffer.
    void sendMove( const std::string& event ) {
        const LkGuard<const LkLock> guard( _b.getLock() );
        const MbState* const state = MbTestAccess::state( _b );
        try {
            if( event == "grab" ) {
                state->grab( &_b, _manager->makeRegion( 1 ) );
                EXPECT_EQ( MbTestAccess::words( _b.getRegion() ),
                           MbTestAccess::words( _manager->makeRegion( 1 ) ) );
            } else {
                EXPECT_EQ( MbTestAccess::words( state->release( &_b ) ),
                           MbTestAccess::words( _manager->makeRegion() ) );
            }
        } catch( ... ) {
            clearFailureMark();
            throw;
        }
    }
    void clearFailureMark() { MbTestAccess::pendingEvents( _b ) &= 0x7fffffffu; }

    Outcome observe( bool isBroadcast ) {
        const std::string state = nameOf( MbTestAccess::state( _b ) );
        const bool isEmpty =
            MbTestAccess::words( MbTestAccess::region( _b ) ) == MbTestAccess::Words();
        // A failed load has given it back before the protocol raises.
        const bool isLost = state.starts_with( "WaitAsync" ) &&
                            std::count( _log.begin(), _log.end(), "M.deallocateRegion" ) != 0;
        EXPECT_EQ( isEmpty, isLost || !hasMemory( state ) ) << "memory in state " << state;
        EXPECT_EQ( MbTestAccess::owner( _b ).getNum(), 0u );
        // The handles' pin goes with the event that ends in the destruction, and with no other.
        const bool isDestroyedNow = state == "Destroyed" && _formerState != "Destroyed";
        EXPECT_EQ( MbTestAccess::pins( _b ), isDestroyedNow ? 2 : 3 );
        if( isDestroyedNow ) {
            _b.pin();
        }
        return { _log, state, MbTestAccess::lockCount( _b ), MbTestAccess::pendingEvents( _b ),
                 isBroadcast };
    }

    /// Sends `event`, which should raise an `Exception` unless that is void.
    template <class Exception>
    Outcome run( const std::string& event ) {
        BroadcastProbe probe( MbTestAccess::stateChanged( _b ) );
        if constexpr( std::is_void_v<Exception> ) {
            EXPECT_NO_THROW( send( event ) );
        } else {
            EXPECT_THROW( send( event ), Exception );
        }
        return observe( probe.wasBroadcast() );
    }

    void checkTransition( const std::string& state, const std::string& event,
                          const std::string& cell );
    void checkFailure( const std::string& state, const std::string& event, Outcome expected );
    void checkWait( const std::string& state, const std::string& event );
    void checkIllegal( const std::string& state, const std::string& event );
    void checkCell( const std::string& state, const std::string& event, const std::string& cell );

    /// Moves are broadcast by what calls the state.
    static bool isMove( const std::string& event ) { return event == "release" || event == "grab"; }
    static std::uint32_t locksIn( const std::string& state ) { return isLockedState( state ); }

    CallLog _log;
    std::string _formerState;
    const bool _isRelaxed;
    const MbStates::StateTable& _states;
    RecordingManager* const _manager;
    RecordingProtocol* const _protocol;
    RCShdEngPtr<MbBufferImp> _engine;
    MbBufferImp& _b;
};

void MbStateTable::checkTransition( const std::string& state, const std::string& event,
                                    const std::string& cell ) {
    Outcome expected{
        {}, state, locksIn( state ) - ( event == "unlock" ? 1 : 0 ), 0, !isMove( event ) };
    std::vector<Outcome> failures;
    if( isListed( state ) ) {
        expected.calls.push_back( "M.bufferNotUnloadable" );
    }
    std::istringstream stream( cell );
    for( std::string step; std::getline( stream >> std::ws, step, ',' ); ) {
        if( step == "count+1" ) {
            ++expected.lockCount;
        } else if( step.starts_with( "target " ) ) {
            expected.state = resolve( step.substr( 7 ) );
        } else if( step.starts_with( "to " ) ) {
            expected.state = resolve( step.substr( 3 ) );
        } else {
            expected.calls.push_back( step );
            if( step.starts_with( "P." ) ) {
                failures.push_back( expected );
            }
        }
    }
    if( isListed( expected.state ) ) {
        expected.calls.push_back( "M.bufferUnloadable" );
    }
    put( state, locksIn( state ) );
    EXPECT_EQ( run<void>( event ), expected );
    for( const Outcome& failure : failures ) {
        checkFailure( state, event, failure );
    }
}

void MbStateTable::checkFailure( const std::string& state, const std::string& event,
                                 Outcome expected ) {
    const std::string call = expected.calls.back();
    SCOPED_TRACE( call + " raises" );
    for( const Failure& failure : GIVE_MEMORY_BACK ) {
        if( hasWord( failure.states, state ) && hasWord( failure.event, event ) &&
            call == failure.call ) {
            expected.calls.push_back( "M.deallocateRegion" );
        }
    }
    if( isListed( expected.state ) ) {
        expected.calls.push_back( "M.bufferUnloadable" );
    }
    if( event == "grab" && call == "P.free" ) {
        expected.calls.push_back( "M.deallocateRegion( region )" );
    }
    put( state, locksIn( state ) );
    _protocol->faultyCall = call;
    EXPECT_EQ( run<ProtocolFault>( event ), expected );
}

void MbStateTable::checkWait( const std::string& state, const std::string& event ) {
    put( state, locksIn( state ) );
    {
        TestThread sender( [&] {
            try {
                send( event );
                ADD_FAILURE() << "didn't reach Destroyed";
            } catch( const MbEx::ExIllegalTransition& exception ) {
                EXPECT_THAT( exception.getReason(), HasSubstr( event + "() from state" ) );
                EXPECT_THAT( exception.getReason(), HasSubstr( "::Destroyed<" ) );
            }
        } );
        sender.waitUntilBlocked();
        EXPECT_EQ( observe( false ), ( Outcome{ {}, state, locksIn( state ), 0, false } ) );
        put( "Destroyed" );
        MbTestAccess::stateChanged( _b ).broadcast();
    }
    // The thread in the middle of a transition would wait for itself.
    if( state == "TransientState" && event != "free" && event != "destroy" ) {
        put( state );
        MbTestAccess::owner( _b ).setCurrentThread();
        try {
            send( event );
            ADD_FAILURE() << "waits for itself";
        } catch( const ExBase& exception ) {
            EXPECT_THAT( exception.getReason(),
                         HasSubstr( "! _transientStateOwner.isCurrentThread()" ) );
        }
    }
}

void MbStateTable::checkIllegal( const std::string& state, const std::string& event ) {
    put( state, locksIn( state ) );
    const Outcome before{ {}, state, locksIn( state ), 0, false };
    EXPECT_EQ( run<MbEx::ExIllegalTransition>( event ), before );
    try {
        send( event );
    } catch( const MbEx::ExIllegalTransition& exception ) {
        EXPECT_THAT( exception.getReason(),
                     HasSubstr( "Illegal transition: buffer table received event " + event +
                                "() from state " ) );
        EXPECT_THAT( exception.getReason(), HasSubstr( "::" + state + "<" ) );
    }
    EXPECT_EQ( observe( false ), before );
}

void MbStateTable::checkCell( const std::string& state, const std::string& event,
                              const std::string& cell ) {
    SCOPED_TRACE( event + " in " + state );
    Outcome expected{ {}, state, locksIn( state ), 0, false };
    if( cell == "illegal" ) {
        checkIllegal( state, event );
    } else if( cell == "wait" ) {
        checkWait( state, event );
    } else if( cell.find( "to " ) != std::string::npos ) {
        checkTransition( state, event, cell );
    } else {
        if( cell == "count" ) {
            ++expected.lockCount;
        } else if( cell == "refresh" ) {
            expected.calls = { "M.bufferNotUnloadable", "M.bufferUnloadable" };
        } else if( cell.starts_with( "defer " ) ) {
            expected.pendingEvents = static_cast<std::uint32_t>( std::stoul( cell.substr( 6 ) ) );
        } else {
            EXPECT_EQ( cell, "none" );
        }
        put( state, locksIn( state ) );
        EXPECT_EQ( run<void>( event ), expected );
    }
    if( event == "unlock" && isLockedState( state ) ) {
        put( state, 2 );
        expected.lockCount = 1;
        EXPECT_EQ( run<void>( event ), expected ) << "with two locks";
    }
}

TEST_P( MbStateTable, EveryEventDoesInEveryStateWhatItsCellSays ) {
    ASSERT_EQ( TABLE.size(), std::size_t{ MbStates::NB_STATES } );
    for( const Column& column : TABLE ) {
        ASSERT_EQ( column.cells.size(), EVENTS.size() ) << column.state;
        for( std::size_t i = 0; i < EVENTS.size(); ++i ) {
            checkCell( column.state, EVENTS[i], column.cells[i] );
        }
    }
}

TEST_P( MbStateTable, ARefusedUnloadLeavesTheBufferWhereItWasButListedAnew ) {
    _protocol->unloadAnswer = false;
    for( const char* const state : { "Synched", "Loaded" } ) {
        put( state );
        EXPECT_EQ( run<void>( "unload" ),
                   ( Outcome{ { "M.bufferNotUnloadable", "P.unload", "M.bufferUnloadable" },
                              state,
                              0,
                              0,
                              true } ) );
    }
}

TEST_P( MbStateTable, WithoutMemoryALockIsNotTakenAndNothingIsGivenBack ) {
    _manager->refusesMemory = true;
    for( const char* const state : { "Freed", "Unloaded" } ) {
        for( const char* const event : { "rdlock", "wrlock", "prefetch", "release" } ) {
            put( state );
            EXPECT_EQ( run<MbEx::ExNotEnoughMemory>( event ),
                       ( Outcome{ { "M.allocateRegion" }, state, 0, 0, !isMove( event ) } ) );
        }
    }
}

TEST_P( MbStateTable, TellsWhichStatesAreLoaded ) {
    for( const MbState* const state : _states ) {
        const std::string name = nameOf( state );
        put( name );
        EXPECT_EQ( _b.isLoaded(), isListed( name ) || isLockedState( name ) ) << name;
        EXPECT_EQ( state->isDestroyed(), name == "Destroyed" );
    }
}

INSTANTIATE_TEST_SUITE_P( AllMachines, MbStateTable, testing::Range( 0, 4 ) );

} // namespace

} // namespace Qv
