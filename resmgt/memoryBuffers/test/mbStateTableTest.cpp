#include <base/text/typeName.h>
#include <resmgt/locks/lkSingleton.h>
#include <resmgt/memoryBuffers/src/mbStateMachineImp.h>
#include <resmgt/memoryBuffers/test/mbRecorder.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <iterator>
#include <map>
#include <sstream>
#include <tests/support/deadline.h>
#include <tests/support/testThread.h>
#include <tuple>

namespace Qv {

namespace {

using testing::HasSubstr;

// The tables, as they are written for the maintainer: what some events do in some states. A row
// with one cell holds for all of its table's states, and "-" is the cell on the left. A cell says
// "none", "count" (one lock more, nothing else), "illegal", "wait", the pending bits that are set,
// or what a transition does: the calls to manager and protocol in order, without those of entering
// and leaving Loaded and Synched; ">X" is the state to end in, "@X" the one to end in from there on
// where a call raises. A call with "!" gives the memory back when it raises. "+1" is one lock more.
// "cleanLock", "dirtyRead", "dirtyWrite" and "asyncSyncState" depend on the policy and the
// environment.
const char* const TABLES[] = { R"(
          | Freed | Unloaded | Synched | Loaded | Destroyed
rdlock    | allocate load! >cleanLock +1 | allocate reload! >cleanLock +1
          | >cleanLock +1 | >dirtyRead +1 | illegal
wrlock    | allocate load! markDirty! >dirtyWrite +1 | allocate reload! markDirty! >dirtyWrite +1
          | markDirty >dirtyWrite +1 | >dirtyWrite +1 | illegal
prefetch  | allocate asyncLoad! >WaitAsyncLoaded | allocate asyncReload! >WaitAsyncReloaded
          | refresh | - | illegal
asyncSync | none | - | - | asyncSync >asyncSyncState | illegal
sync      | none | - | - | sync >Synched | illegal
unload    | none | - | unload deallocate >Unloaded | - | none
refused   | none | - | unload >Synched | unload >Loaded | none
free      | none | >Freed | free deallocate >Freed | - | illegal
destroy   | >Destroyed | - | deallocate >Destroyed
          | @Destroyed destroy! deallocate >Destroyed | illegal
release   | allocate load! @Synched free >Freed | allocate reload! @Synched free >Freed
          | free >Freed | - | illegal
grab      | @Freed grab! >Loaded | - | free deallocate @Freed grab! >Loaded | - | illegal
wrdup wr2rd unlock asyncOpSucceeded asyncOpFailed | illegal)",
                               R"(
          | Locked | LockedDirty | LockedFreed | LockedFreedDirty
rdlock    | count
wrlock    | markDirty >LockedDirty +1 | count | markDirty >LockedFreedDirty +1 | count
wrdup     | illegal | count | illegal | count
wr2rd     | illegal | none | illegal | none
asyncSync | none | 32 | none | -
sync      | none | wait | none | -
unlock    | >Synched unlocked | >Loaded unlocked | @Freed free! deallocate >Freed | -
free      | >LockedFreed | >LockedFreedDirty | none | -
prefetch unload refused                | none
destroy asyncOpSucceeded asyncOpFailed | illegal
release grab                           | wait)",
                               R"(
          | RdLocked | RdLockedDirty | RdLockedFreed | WrLocked | WrLockedFreed
rdlock    | count | - | - | wait | -
wrlock    | wait
wrdup     | illegal | - | - | count | -
wr2rd     | illegal | - | - | >RdLockedDirty | >RdLockedFreed
asyncSync | none | 32 | none | 32 | none
sync      | none | wait | none | wait | none
unlock    | >Synched unlocked | >Loaded unlocked | @Freed free! deallocate >Freed
          | >Loaded unlocked | @Freed free! deallocate >Freed
free      | >RdLockedFreed | - | none | >WrLockedFreed | none
prefetch unload refused                | none
destroy asyncOpSucceeded asyncOpFailed | illegal
release grab                           | wait)",
                               R"(
          | TransientState | WaitAsyncLoaded | WaitAsyncReloaded
          | WaitAsyncSynched | WaitAsyncSynchedLoaded | WaitAsyncSynchedRdLocked
rdlock    | wait | - | - | - | >WaitAsyncSynchedRdLocked +1 | count
prefetch  | 16 | - | - | - | none | -
asyncSync | 32 | - | - | - | none | -
unlock    | wait | - | - | - | illegal | >WaitAsyncSynchedLoaded unlocked
asyncOpSucceeded
          | 2048 | asyncLoadSucceeded >Synched | asyncReloadSucceeded >Synched
          | asyncSyncSucceeded >Synched | - | asyncSyncSucceeded >RdLocked
asyncOpFailed
          | 4096 | deallocate asyncLoadFailed >Freed | deallocate asyncReloadFailed >Unloaded
          | asyncSyncFailed >Loaded | - | asyncSyncFailed >RdLockedDirty
wrlock sync free destroy release grab | wait
unload refused                        | none
wrdup wr2rd                           | illegal)" };

constexpr std::size_t NB_EVENTS_IN_TABLES = NB_EVENTS + 3; // release, grab, a refused unload

std::vector<std::string> split( const std::string& words ) {
    std::istringstream stream( words );
    return { std::istream_iterator<std::string>( stream ), {} };
}

/// The rows of a table: the states, then of each row the events and the cells.
std::vector<std::vector<std::string>> parse( const char* table ) {
    std::vector<std::vector<std::string>> rows;
    std::istringstream lines( table );
    for( std::string line; std::getline( lines, line ); ) {
        // An indented line goes on with its row.
        if( line[0] != ' ' ) {
            rows.emplace_back();
        }
        std::istringstream cells( line );
        for( std::string cell; std::getline( cells, cell, '|' ); ) {
            const std::size_t begin = cell.find_first_not_of( ' ' );
            if( begin != std::string::npos ) {
                cell = cell.substr( begin, cell.find_last_not_of( ' ' ) - begin + 1 );
                rows.back().push_back( cell == "-" ? rows.back().back() : cell );
            }
        }
    }
    return rows;
}

bool isListed( const std::string& state ) {
    return state == "Loaded" || state == "Synched";
}

bool hasMemory( const std::string& state ) {
    return state != "Freed" && state != "Unloaded" && state != "Destroyed";
}

bool isLocked( const std::string& state ) {
    return state.find( "Locked" ) != std::string::npos;
}

/// Moves are broadcast by what calls the state.
bool isMove( const std::string& event ) {
    return event == "release" || event == "grab";
}

/// What an event leaves behind: calls, state, locks, pending events, whether it has been broadcast,
/// and what was raised.
using Outcome =
    std::tuple<std::string, std::string, std::uint32_t, std::uint32_t, bool, std::string>;

/// One machine, and a buffer that can be put into any of its states.
class MbStateTableTest : public RecordedBuffers, public testing::WithParamInterface<int> {
protected:
    MbStateTableTest() {
        const auto& machine = static_cast<const MbStateSetMachine&>( MbStateMachine::getInstance(
            ( GetParam() & 2 ) != 0 ? MbStateMachine::UNTRACED : MbStateMachine::TRACED,
            ( GetParam() & 1 ) != 0 ? MbStateMachine::RELAXED : MbStateMachine::STRICT ) );
        for( unsigned id = 0; id < MbStates::NB_STATES; ++id ) {
            const MbState* const state = machine.getState( static_cast<MbStates::StateId>( id ) );
            _states[nameOf( state )] = state;
        }
        buffer = make();
        // The events under test may destroy the buffer.
        imp->pin();
        imp->pin();
    }
    ~MbStateTableTest() override {
        put( "Freed" );
        imp->unpin();
        buffer = MbBuffer();
        EXPECT_EQ( MbTestAccess::pins( *imp ), 1 );
        imp->unpin();
    }

    std::string resolve( const std::string& name ) const {
        const bool isRelaxed = ( GetParam() & 1 ) != 0;
        const char* const wait = std::getenv( "QV_READ_WHILE_ASYNC_SYNC" );
        const bool isWaiting = wait != nullptr && std::atoi( wait ) == 0;
        const std::map<std::string, const char*> names = {
            { "cleanLock", isRelaxed ? "Locked" : "RdLocked" },
            { "dirtyRead", isRelaxed ? "LockedDirty" : "RdLockedDirty" },
            { "dirtyWrite", isRelaxed ? "LockedDirty" : "WrLocked" },
            { "asyncSyncState", isWaiting ? "WaitAsyncSynched" : "WaitAsyncSynchedLoaded" },
        };
        const auto found = names.find( name );
        return found == names.end() ? name : found->second;
    }

    void put( const std::string& state, std::uint32_t lockCount = 0 ) {
        {
            const LkGuard<const LkLock> guard( imp->getLock() );
            MbTestAccess::state( *imp ) = _states.at( state );
            MbTestAccess::lockCount( *imp ) = lockCount;
            MbTestAccess::pendingEvents( *imp ) = 0;
            MbTestAccess::isListed( *imp ) = isListed( state );
            MbTestAccess::owner( *imp ).reset();
            imp->setRegion( hasMemory( state ) ? recordingManager().makeRegion() : MbRegion() );
        }
        EXPECT_EQ( imp->isLoaded(), isListed( state ) || isLocked( state ) ) << state;
        recorder.unloadAnswer = true;
        recorder.take();
    }
    RecordingManager& recordingManager() { return static_cast<RecordingManager&>( *manager ); }

    void sendAny( const std::string& event ) {
        if( isMove( event ) ) {
            move( event );
        } else {
            send( event );
        }
    }
    /// `release` and `grab` have no event of their own on a single buffer.
    void move( const std::string& event ) {
        const LkGuard<const LkLock> guard( imp->getLock() );
        const MbState* const state = MbTestAccess::state( *imp );
        try {
            if( event == "grab" ) {
                state->grab( imp, recordingManager().makeRegion( 1 ) );
                EXPECT_EQ( MbTestAccess::words( *imp ),
                           MbTestAccess::words( recordingManager().makeRegion( 1 ) ) );
            } else {
                EXPECT_EQ( MbTestAccess::words( state->release( imp ) ),
                           MbTestAccess::words( recordingManager().makeRegion() ) );
            }
        } catch( ... ) {
            // As whoever catches it does.
            MbTestAccess::pendingEvents( *imp ) &= 0x7fffffffu;
            throw;
        }
    }

    Outcome observe( bool isBroadcast = false, const std::string& raised = "" ) {
        EXPECT_EQ( MbTestAccess::owner( *imp ).getNum(), 0u );
        return { recorder.take(),
                 nameOf( MbTestAccess::state( *imp ) ),
                 MbTestAccess::lockCount( *imp ),
                 MbTestAccess::pendingEvents( *imp ),
                 isBroadcast,
                 raised };
    }
    /// Sends `event` to the buffer in `state`, and returns what it has done.
    Outcome run( const std::string& state, const std::string& event, std::uint32_t lockCount,
                 const std::string& faultyCall = "" ) {
        put( state, lockCount );
        recorder.faultyCall = faultyCall;
        BroadcastProbe probe( MbTestAccess::stateChanged( *imp ) );
        const std::string raised = raisedBy( [&] { sendAny( event ); } );
        const Outcome outcome = observe( probe.wasBroadcast(), raised );
        const std::string& target = std::get<1>( outcome );
        // A failed load has given its memory back before the protocol raises.
        const bool isLost = target.starts_with( "WaitAsync" ) &&
                            std::get<0>( outcome ).find( "deallocate" ) != std::string::npos;
        EXPECT_EQ( MbTestAccess::words( *imp ) == MbTestAccess::Words(),
                   isLost || !hasMemory( target ) );
        // The handles' pin goes with the event that ends in the destruction, and with no other.
        const bool isDestroyedNow = target == "Destroyed" && state != target;
        EXPECT_EQ( MbTestAccess::pins( *imp ), isDestroyedNow ? 2 : 3 );
        if( isDestroyedNow ) {
            imp->pin();
        }
        return outcome;
    }

    void checkTransition( const std::string& state, const std::string& event,
                          const std::string& cell );
    void checkWait( const std::string& state, const std::string& event );
    void checkCell( const std::string& state, const std::string& event, const std::string& cell );
    std::ptrdiff_t stackOf( const std::string& event, int nbWaits );

    std::map<std::string, const MbState*> _states;
};

void MbStateTableTest::checkTransition( const std::string& state, const std::string& event,
                                        const std::string& cell ) {
    std::string calls;
    std::string target = state;
    std::uint32_t lockCount = isLocked( state ) && event != "unlock";
    std::map<std::string, Outcome> failures;
    const auto addCall = [&]( const std::string& call, const char* callOnFailure = "" ) {
        calls += ( calls.empty() ? "" : " " ) + call;
        // A buffer whose removal fails is listed still.
        const bool mustList = isListed( target ) && call != "unlist";
        std::string all = calls + callOnFailure + ( mustList ? " list" : "" );
        // The region that it hasn't yet taken.
        all += event == "grab" && call != "grab" ? " giveBack" : "";
        failures[call] = { all, target, lockCount, 0, !isMove( event ), "fault on demand" };
    };
    if( isListed( state ) ) {
        addCall( "unlist" );
    }
    for( const std::string& step : split( cell ) ) {
        if( step == "+1" ) {
            ++lockCount;
        } else if( step[0] == '>' || step[0] == '@' ) {
            target = resolve( step.substr( 1 ) );
        } else if( step.back() == '!' ) {
            addCall( step.substr( 0, step.size() - 1 ), " deallocate" );
        } else {
            addCall( step );
        }
    }
    calls += isListed( target ) ? " list" : "";
    failures.erase( "deallocate" );
    EXPECT_EQ( run( state, event, isLocked( state ) ),
               Outcome( calls, target, lockCount, 0, !isMove( event ), "" ) );
    for( const auto& [call, outcome] : failures ) {
        EXPECT_EQ( run( state, event, isLocked( state ), call ), outcome ) << call << " raises";
    }
}

void MbStateTableTest::checkWait( const std::string& state, const std::string& event ) {
    put( state, isLocked( state ) );
    TestThread sender( [&] {
        EXPECT_THAT( raisedBy( [&] { sendAny( event ); } ),
                     HasSubstr( event + "() from state Qv::MbStates::Destroyed" ) );
    } );
    sender.waitUntilBlocked();
    EXPECT_EQ( observe(), Outcome( "", state, isLocked( state ), 0, false, "" ) );
    put( "Destroyed" );
    MbTestAccess::stateChanged( *imp ).broadcast();
    sender.join();
    // The thread in the middle of a transition would wait for itself.
    if( state == "TransientState" ) {
        put( state );
        MbTestAccess::owner( *imp ).setCurrentThread();
        const bool isDeferred = event == "free" || event == "destroy";
        EXPECT_THAT( raisedBy( [&] { sendAny( event ); } ),
                     HasSubstr( isDeferred ? "" : "! _transientStateOwner.isCurrentThread()" ) );
        const std::uint32_t bit = event == "free" ? 512 : 1024;
        EXPECT_EQ( MbTestAccess::pendingEvents( *imp ), isDeferred ? bit : 0 );
    }
}

void MbStateTableTest::checkCell( const std::string& state, const std::string& event,
                                  const std::string& cell ) {
    SCOPED_TRACE( event + " in " + state );
    if( event == "unlock" && isLocked( state ) ) {
        EXPECT_EQ( run( state, event, 2 ), Outcome( "", state, 1, 0, false, "" ) );
    }
    if( cell == "wait" ) {
        return checkWait( state, event );
    }
    if( cell.find( '>' ) != std::string::npos ) {
        return checkTransition( state, event, cell );
    }
    const bool isNumber = cell.find_first_not_of( "0123456789" ) == std::string::npos;
    const MbState& current = *_states.at( state );
    const std::string illegal = "Illegal transition: buffer buffer received event " + event +
                                "() from state " + TypeName::get( typeid( current ) ) + ".";
    EXPECT_EQ( run( state, event, isLocked( state ) ),
               Outcome( cell == "refresh" ? "unlist list" : "", state,
                        isLocked( state ) + ( cell == "count" ), isNumber ? std::stoul( cell ) : 0,
                        false, cell == "illegal" ? illegal : "" ) );
}

TEST_P( MbStateTableTest, EveryEventDoesInEveryStateWhatItsCellSays ) {
    std::size_t nbCells = 0;
    for( const char* const table : TABLES ) {
        const auto rows = parse( table );
        const std::vector<std::string>& states = rows[0];
        for( std::size_t row = 1; row < rows.size(); ++row ) {
            const std::size_t nbStates = rows[row].size() - 1;
            ASSERT_TRUE( nbStates == 1 || nbStates == states.size() ) << rows[row][0];
            for( const std::string& event : split( rows[row][0] ) ) {
                for( std::size_t i = 0; i < states.size(); ++i, ++nbCells ) {
                    checkCell( states[i], event, rows[row][std::min( i + 1, nbStates )] );
                }
            }
        }
    }
    EXPECT_EQ( nbCells, NB_EVENTS_IN_TABLES * MbStates::NB_STATES );
}

/// How much of the stack lies between the sender of `event` and the protocol's call, after the
/// event has waited.
std::ptrdiff_t MbStateTableTest::stackOf( const std::string& event, int nbWaits ) {
    const char* inCall = nullptr;
    std::ptrdiff_t depth = 0;
    recorder.hook = [&]( const std::string& ) {
        inCall = static_cast<const char*>( __builtin_frame_address( 0 ) );
    };
    put( "Locked" );
    TestThread mover( [&] {
        sendAny( event );
        depth = static_cast<const char*>( __builtin_frame_address( 0 ) ) - inCall;
    } );
    const LkCondVar& changed = MbTestAccess::stateChanged( *imp );
    for( int i = 1; i <= nbWaits; ++i ) {
        waitUntil( [&] { return !waitersOf( changed ).isEmpty(); }, "the next wait" );
        put( i == nbWaits ? "Loaded" : i % 2 == 0 ? "Locked" : "TransientState" );
        changed.broadcast();
    }
    mover.join();
    recorder.hook = nullptr;
    return depth;
}

TEST_P( MbStateTableTest, AMoveThatWaitsAgainAndAgainNeedsNoMoreStackThanOneThatWaitsOnce ) {
    for( const char* const event : { "release", "grab" } ) {
        EXPECT_EQ( stackOf( event, 50 ), stackOf( event, 1 ) ) << event;
    }
}

INSTANTIATE_TEST_SUITE_P( AllMachines, MbStateTableTest, testing::Range( 0, 4 ) );

} // namespace

} // namespace Qv
