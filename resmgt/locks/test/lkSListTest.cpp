#include <base/failure/assertions.h>
#include <base/locks/lkGuard.h>
#include <base/locks/lkLock.h>
#include <resmgt/locks/lkSList.h>
#include <resmgt/locks/test/scriptedWord.h>
#include <tests/support/raisedBy.h>
#include <tests/support/testSettings.h>
#include <tests/support/testThread.h>

#include <gmock/gmock.h>

#include <set>
#include <vector>

namespace Qv {
namespace {

using ::testing::HasSubstr;
using ScriptedList = LkSListOf<ScriptedWord>;

using Chain = std::vector<LkSListNode*>;

Chain chainOf( LkSListNode* first ) {
    Chain chain;
    for( LkSListNode* node = first; node != nullptr; node = node->_next ) {
        chain.push_back( node );
    }
    return chain;
}

TEST( LkSListTest, TagCountsPopsUpToItsWrapAndEachPushMakesItZero ) {
    std::vector<LkSListNode> nodes( 0x10001 );
    LkSList list;
    for( LkSListNode& node : nodes ) {
        list.push( &node );
    }
    for( std::size_t nbPops = 1; nbPops <= 0x10000; ++nbPops ) {
        ASSERT_EQ( list.pop(), &nodes[nodes.size() - nbPops] );
        ASSERT_EQ( LkSList::getTag( list.getHead() ), static_cast<std::uint16_t>( nbPops ) );
    }
    EXPECT_EQ( list.popAll(), &nodes[0] );
    EXPECT_EQ( LkSList::getTag( list.getHead() ), 1 );
    list.push( &nodes[1] );
    EXPECT_EQ( LkSList::getTag( list.getHead() ), 0 );
    EXPECT_EQ( LkSList::getFirst( list.getHead() ), &nodes[1] );
}

TEST( LkSListTest, PopAllGivesTheWholeChainAndAnEmptyHeadKeepsItsTag ) {
    LkSListNode nodes[3];
    LkSList list;
    for( LkSListNode& node : nodes ) {
        list.push( &node );
    }
    EXPECT_EQ( chainOf( list.popAll() ), ( Chain{ &nodes[2], &nodes[1], &nodes[0] } ) );
    EXPECT_TRUE( list.isEmpty() );
    EXPECT_EQ( list.pop(), nullptr );
    EXPECT_EQ( list.popAll(), nullptr );
    EXPECT_EQ( list.getHead(), LkSList::TAG_ONE );
    EXPECT_THAT( raisedBy<ExAssertionFailed>( [&] {
                     list.push( reinterpret_cast<LkSListNode*>( LkSList::TAG_ONE | 0x1000 ) );
                 } ),
                 HasSubstr( "LK_SLIST_VERSION_TAG(node) == 0" ) );
    EXPECT_TRUE( list.isEmpty() );
}

TEST( LkSListTest, DisturbedPushAndPopGoOnWithWhatTheyFind ) {
    LkSListNode nodes[3];
    ScriptedList list;
    ScriptedWord::beforeSwap = [&] { list.push( &nodes[1] ); };
    list.push( &nodes[0] );
    ScriptedWord::beforeSwap = [&] { list.push( &nodes[2] ); };
    EXPECT_EQ( list.pop(), &nodes[2] );
    EXPECT_EQ( chainOf( list.popAll() ), ( Chain{ &nodes[0], &nodes[1] } ) );
}

TEST( LkSListTest, DisturbedPopAllEndsOnceTheHeadIsEmptyOrEqualsItsOwnSecondNode ) {
    for( const bool isPushedAgain : { false, true } ) {
        LkSListNode nodes[2];
        ScriptedList list;
        list.push( &nodes[0] );
        ScriptedWord::beforeSwap = [&] {
            list.push( &nodes[1] );
            ScriptedWord::beforeSwap = [&] {
                list.pop();
                list.pop();
                if( isPushedAgain ) {
                    list.push( &nodes[0] );
                }
            };
        };
        EXPECT_EQ( list.popAll(), isPushedAgain ? &nodes[1] : nullptr );
        if( isPushedAgain ) {
            EXPECT_EQ( list.getHead(),
                       ScriptedList::TAG_ONE | reinterpret_cast<std::uint64_t>( &nodes[0] ) );
        }
    }
}

TEST( LkSListTest, PopWithoutOrderIsDeceivedByANodeThatCameBack ) {
    LkSListNode upper;
    LkSListNode lower;
    ScriptedList list;
    list.push( &lower );
    list.push( &upper );
    ScriptedWord::beforeSwap = [&] {
        list.pop();
        list.pop();
        list.push( &upper );
    };
    EXPECT_EQ( list.pop(), &upper );
    EXPECT_EQ( ScriptedList::getFirst( list.getHead() ), &lower ) << "the header says otherwise";
}

TEST( LkSListTest, ConcurrentPushesAndRemovalsLoseAndDoubleNoNode ) {
    constexpr int NB_THREADS = 4;
    const long nbRounds = scaledCount( 50'000 );
    std::vector<LkSListNode> nodes( 64 );
    LkSList list;
    const LkLock popLock( "LkSListTest" );
    for( LkSListNode& node : nodes ) {
        list.push( &node );
    }
    const auto popUnderLock = [&] {
        const LkGuard<const LkLock> guard( popLock );
        return list.pop();
    };
    const auto takeAll = [&] {
        // Serialised with pops, as the header wants it; pushes aren't.
        const LkGuard<const LkLock> guard( popLock );
        auto head = list.getHead();
        while( LkSList::getFirst( head ) != nullptr && !list.tryPopAll( head ) ) {}
        return LkSList::getFirst( head );
    };
    TestThreads( NB_THREADS, [&]( unsigned int number ) {
        for( long round = number; round < number + nbRounds; ++round ) {
            if( round % 8 != 0 ) {
                if( LkSListNode* const node = popUnderLock() ) {
                    list.push( node );
                }
                continue;
            }
            for( LkSListNode* node = takeAll(); node != nullptr; ) {
                LkSListNode* const next = node->_next;
                list.push( node );
                node = next;
            }
        }
    } ).join();
    const Chain found = chainOf( list.popAll() );
    EXPECT_EQ( found.size(), nodes.size() );
    EXPECT_EQ( std::set<LkSListNode*>( found.begin(), found.end() ).size(), nodes.size() );
}

} // namespace
} // namespace Qv
