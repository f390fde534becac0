#include <resmgt/threadExtensions/mtGroup.h>

#include <resmgt/threadExtensions/test/job.h>
#include <tests/support/testSettings.h>
#include <tests/support/testThread.h>

#include <gtest/gtest.h>

#include <atomic>
#include <random>

/// The watchdog makes a lost wake-up a failure.

namespace Qv {
namespace {

/// Items that were made, and what became of them.
struct Account {
    std::atomic<long> nbAlive = 0;
    std::atomic<long> nbRun = 0;
};

/// Lives in exactly one item at a time.
class Token {
public:
    explicit Token( Account& account )
        : _account( account ) {
        ++account.nbAlive;
    }
    Token( const Token& other )
        : Token( other._account ) {}
    ~Token() { --_account.nbAlive; }
    void run() const { ++_account.nbRun; }

private:
    Account& _account;
};

/// One producer's random work; the pushes that succeeded less those that were discarded.
template <class Group>
long produce( Group& group, Account& account, std::minstd_rand random ) {
    const Producer producer( group );
    long nbItems = 0;
    for( long round = scaledCount( 3000 ); round > 0; --round ) {
        const Token token( account );
        const int key = static_cast<int>( random() % 5 ) - 2;
        const bool isFeeding = random() % 8 == 0;
        const Job job = producer.make(
            [&producer, token, isFeeding] {
                token.run();
                if( isFeeding ) {
                    producer.push( [token] { token.run(); } );
                }
            },
            key );
        const long nbPushed = isFeeding ? 2 : 1;
        switch( random() % 8 ) {
        case 0:
            nbItems += group.tryPush( job ) ? nbPushed : 0;
            break;
        case 1:
            nbItems += group.timedPush( job, 0.0005 ) ? nbPushed : 0;
            break;
        default:
            group.push( job );
            nbItems += nbPushed;
        }
        switch( random() % 64 ) {
        case 0:
            producer.wait();
            break;
        case 1:
            group.workAlong( producer.getTag() );
            break;
        case 2:
            static_cast<void>( group.timedWaitRequestCountZero( producer.getTag(), 0.0005 ) );
            break;
        default:
            break;
        }
    }
    producer.wait();
    EXPECT_EQ( producer.count(), 0u );
    return nbItems;
}

template <class Group>
void stress( const MtGroupOptions& options ) {
    Account account;
    std::atomic<long> nbItems = 0;
    const auto seed = static_cast<unsigned int>( testSeed() );
    {
        Group group( "stress", 2, options );
        const TestThreads threads( 3, [&]( unsigned int i ) {
            nbItems += produce( group, account, std::minstd_rand( seed + i ) );
        } );
        for( long i = 0; i < scaledCount( 200 ); ++i ) {
            const MtPoolSnapshot snapshot = group.getSnapshot();
            EXPECT_LE( snapshot.nbRunning, 2u + 3u );
        }
    }
    EXPECT_EQ( account.nbRun, nbItems );
    EXPECT_EQ( account.nbAlive, 0 );
}

TEST( MtGroupStressTest, EveryItemRunsOnceWhateverItsProducersWaitFor ) {
    for( const std::uint32_t maximumSize : { 1u, 3u, 100u } ) {
        stress<JobGroup>( { .maximumSize = maximumSize } );
        stress<PriorityJobGroup>( { .maximumSize = maximumSize } );
    }
}

TEST( MtGroupStressTest, RestartsAndDiscardsLoseNoItemAndNoCount ) {
    Account account;
    const auto seed = static_cast<unsigned int>( testSeed() );
    std::minstd_rand random( seed );
    JobGroup group( "stress", 2, { .maximumSize = 3 } );
    for( long round = scaledCount( 100 ); round > 0; --round ) {
        const Producer first( group );
        const Producer second( group );
        std::atomic<bool> isOver = false;
        std::atomic<long> nbDiscarded = 0;
        const long nbRunBefore = account.nbRun;
        constexpr int NB_ITEMS = 50;
        TestThread discarder( [&] {
            while( !isOver ) {
                nbDiscarded += static_cast<long>( group.discard( second.getTag() ) );
            }
        } );
        const auto pushAll = [&]( const Producer<JobGroup>& producer ) {
            for( int i = 0; i < NB_ITEMS; ++i ) {
                const Token token( account );
                producer.push( [token] { token.run(); } );
            }
        };
        TestThread pusher( [&] { pushAll( second ); } );
        pushAll( first );
        pusher.join();
        // Some of the second's items may be queued still.
        group.stop();
        isOver = true;
        discarder.join();
        EXPECT_EQ( account.nbRun - nbRunBefore + nbDiscarded, 2 * NB_ITEMS );
        EXPECT_EQ( first.count() + second.count(), 0u );
        EXPECT_EQ( account.nbAlive, 0 );
        group.start( 1 + static_cast<unsigned int>( random() % 3 ) );
    }
}

TEST( MtGroupStressTest, ThreadsThatPushAllTheTimeOvertakeNobodyForEver ) {
    JobGroup group( "stress", 1, { .maximumSize = 1 } );
    std::atomic<bool> isOver = false;
    TestThreads greedy( 2, [&] {
        const Producer producer( group );
        while( !isOver ) {
            producer.push( nullptr );
        }
    } );
    {
        const Producer patient( group );
        for( long round = scaledCount( 1000 ); round > 0; --round ) {
            patient.push( nullptr );
        }
    }
    isOver = true;
    greedy.join();
}

} // namespace
} // namespace Qv
