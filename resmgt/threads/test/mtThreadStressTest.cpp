#include <resmgt/threads/mtExternalThread.h>
#include <resmgt/threads/mtPriorityMgr.h>
#include <resmgt/threads/mtThreadTimes.h>
#include <resmgt/threads/priorityRelation.h>
#include <resmgt/threads/rtPriorities.h>
#include <resmgt/threads/test/testProtocol.h>
#include <tests/support/processCounts.h>
#include <tests/support/scopedEnvironment.h>
#include <tests/support/testSettings.h>
#include <tests/support/testThread.h>

#include <gtest/gtest.h>

#include <array>
#include <atomic>
#include <memory>
#include <mutex>
#include <random>
#include <sstream>

namespace Qv {
namespace {

constexpr std::size_t NB_PLACES = 4;
constexpr std::uint64_t NB_ACTORS = 4;

/// Threads that several actors start, join, move, look at and replace at the same time.
class Crowd {
public:
    explicit Crowd( std::uint64_t seed )
        : _seed( seed ) {}

    void run( long nbSteps ) {
        TestThreads( NB_ACTORS, [this, nbSteps]( std::uint64_t i ) {
            const MtExternalThreadGuard guard( "actor" );
            std::mt19937_64 random( _seed + i );
            for( long step = 0; step < nbSteps; ++step ) {
                act( random );
            }
        } ).join();
        mgr().setRealTime( false );
        for( auto& place : _places ) {
            if( place ) {
                countRaised( [&] { place->join(); } );
            }
            place.reset();
        }
        EXPECT_EQ( _nbRaised, _nbThrown );
        EXPECT_EQ( mgr().getNbThreads(), _nbBefore );
    }

private:
    using Shared = std::shared_ptr<MtThread>;

    void act( std::mt19937_64& random ) {
        const Shared thread = take( random );
        switch( random() % 12 ) {
        case 0:
        case 1:
            startUnlessRunning( *thread );
            break;
        case 2:
            countRaised( [&] { thread->join(); } );
            break;
        case 3:
            countRaised( [&] { thread->timedJoin( 0.0 ); } );
            break;
        case 4:
            thread->setProcessorNb( -1 );
            thread->stop();
            break;
        case 5:
            mgr().setRealTime( random() % 2 == 0 );
            break;
        case 6:
            relate( *thread, random );
            break;
        case 7:
            place( random, nullptr );
            break;
        default:
            look( *thread );
        }
    }

    Shared take( std::mt19937_64& random ) {
        const std::size_t at = random() % NB_PLACES;
        {
            const std::lock_guard lock( _mutex );
            if( _places[at] ) {
                return _places[at];
            }
        }
        return place( random, make( random() % 3 == 0 ) );
    }

    /// The former one ends with its last user, without the lock.
    Shared place( std::mt19937_64& random, const Shared& thread ) {
        Shared former = thread;
        {
            const std::lock_guard lock( _mutex );
            _places[random() % NB_PLACES].swap( former );
        }
        return thread;
    }

    Shared make( bool throws ) {
        MtThread* const thread = makeThread( [this, throws]( MtThread& self ) {
                                     EXPECT_EQ( MtThreadMgr::findCurrentThread(), &self );
                                     if( throws ) {
                                         ++_nbThrown;
                                         throw ExInternalError( QV_HERE, "thrown" );
                                     }
                                 } ).release();
        return Shared( thread, [this]( MtThread* last ) { countRaised( [&] { delete last; } ); } );
    }

    void startUnlessRunning( MtThread& thread ) {
        const std::string failed = assertedBy( [&] { thread.start(); } );
        EXPECT_TRUE( failed.empty() || failed == "!isRunningNoLock()" ) << failed;
    }

    void countRaised( const std::function<void()>& ending ) {
        if( !raisedBy<ExRethrow<ExBase>>( ending ).empty() ) {
            ++_nbRaised;
        }
    }

    static void relate( MtThread& thread, std::mt19937_64& random ) {
        const PriorityRelation relation( "above", RtPriorities::getInstance().getBaseLinePriority(),
                                         random() % 2 == 0 ? PriorityRelation::LESS
                                                           : PriorityRelation::LESS_OR_EQUAL,
                                         thread.getPriority() );
        const PriorityRelation second( "above too",
                                       RtPriorities::getInstance().getRealTimePriority(),
                                       PriorityRelation::LESS, thread.getPriority() );
        EXPECT_GE( thread.getPriority().getPriority(), 2 );
    }

    static void look( MtThread& thread ) {
        std::ostringstream stream;
        stream << thread << mgr();
        mgr().findThread( thread.getId() );
        mgr().findThread( "test" );
        thread.getProcessorAffinity();
        MtThreadTimes::timeSplit( thread );
    }

    const std::uint64_t _seed;
    std::mutex _mutex;
    std::array<Shared, NB_PLACES> _places;
    std::atomic<long> _nbThrown = 0;
    const int _nbBefore = mgr().getNbThreads();
    std::atomic<long> _nbRaised = 0;
};

TEST( MtThreadStressTest, ThreadsComeAndGoWhileAllElseChanges ) {
    const int nbTasks = countThreads();
    Crowd( testSeed() ).run( scaledCount( 3000 ) );
    waitUntil( [&] { return countThreads() == nbTasks; }, "the end of all threads" );
}

TEST( MtThreadStressDeathTest, AndWhileTheProcessGoesToRealTimeAndBack ) {
    const ScopedEnvironment allowed( "QV_THREAD_NO_REALTIME", "0" );
    const ScopedEnvironment seed( "QV_TEST_SEED", std::to_string( testSeed() ).c_str() );
    // The child's end looks for no report.
    const ScopedEnvironment sanitizer( "TSAN_OPTIONS", "halt_on_error=1" );
    EXPECT_EXIT(
        {
            Crowd( testSeed() ).run( scaledCount( 1000 ) );
            std::_Exit( testing::Test::HasFailure() ? 1 : 7 );
        },
        testing::ExitedWithCode( 7 ), "" );
}

} // namespace
} // namespace Qv
