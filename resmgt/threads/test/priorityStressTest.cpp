#include <resmgt/threads/test/priorityShortGraph.h>
#include <tests/support/testSettings.h>
#include <tests/support/testThread.h>

#include <gtest/gtest.h>

#include <atomic>
#include <optional>
#include <random>

namespace Qv {
namespace {

/// Whoever gets a number sees those of all others.
TEST( PriorityStressTest, ThreadsComeAndGoWhileRelationsChange ) {
    constexpr unsigned int NB_THREADS = 4;
    PriorityMgr mgr( "stress", 0, 20 );
    Priority anchor( "anchor", mgr, 5 );
    Priority ceiling( "ceiling", mgr, 15 );
    const std::uint64_t seed = testSeed();
    const long nbRounds = scaledCount( 2'000 );
    std::atomic<long> nbTold{ 0 };
    TestThreads( NB_THREADS, [&]( std::uint64_t number ) {
        std::mt19937_64 random( seed + number );
        for( long i = 0; i < nbRounds; ++i ) {
            RecordingUpdate client( [&]( int prio ) {
                EXPECT_TRUE( 0 <= prio && prio <= 15 );
                EXPECT_EQ( anchor.getPriority(), 5 );
                ++nbTold;
            } );
            Priority own( "own", mgr, Priority::NOT_SET, &client );
            const PriorityRelation above( "above", anchor, PriorityRelation::LESS, own );
            EXPECT_EQ( own.getPriority(), 6 );
            std::optional<PriorityRelation> below;
            if( random() % 2 == 0 ) {
                below.emplace( "below", own, PriorityRelation::LESS_OR_EQUAL, ceiling );
            }
            Priority twin( own );
            const PriorityRelation equal( "equal", twin, PriorityRelation::EQUAL, own );
            EXPECT_TRUE( equal.check() );
            std::ostringstream text;
            mgr.dump( text );
            EXPECT_EQ( twin.getPriority(), 6 );
        }
    } ).join();
    EXPECT_GE( nbTold, nbRounds * NB_THREADS );
    EXPECT_EQ( mgr.check(), PriorityMgr::NONE );
}

} // namespace
} // namespace Qv
