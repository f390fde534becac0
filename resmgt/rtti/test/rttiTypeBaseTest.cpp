#include <resmgt/rtti/rttiTypeBase.h>

#include <base/failure/assertions.h>
#include <resmgt/rtti/rttiEx.h>
#include <tests/support/failingNew.h>
#include <tests/support/gate.h>
#include <tests/support/raisedBy.h>
#include <tests/support/testSettings.h>
#include <tests/support/testThread.h>

#include <gtest/gtest.h>

#include <array>
#include <atomic>
#include <memory>
#include <new>
#include <random>
#include <sstream>
#include <string>
#include <thread>
#include <utility>
#include <vector>

namespace Qv {

namespace {

class NamedType : public RttiTypeBase {
public:
    explicit NamedType( std::string name, int id = 1 )
        : RttiTypeBase( id )
        , _name( std::move( name ) ) {}
    using RttiTypeBase::addAncestor;
    const char* getName() const override { return _name.c_str(); }

private:
    const std::string _name;
};

/// Linked before `main`, and by no order of files.
NamedType& staticAncestor() {
    static NamedType type( "static ancestor" );
    return type;
}
const struct StaticType : NamedType {
    StaticType()
        : NamedType( "static" ) {
        addAncestor( &staticAncestor() );
    }
} staticType;

std::string dumped( const RttiTypeBase& type ) {
    std::ostringstream text;
    text << type;
    return text.str();
}

TEST( RttiTypeBaseTest, LinksBelongToBothSides ) {
    NamedType top( "top", 7 );
    NamedType left( "left", -3 );
    NamedType right( "right", 2 );
    NamedType bottom( "bottom", 2 );
    left.addAncestor( &top );
    right.addAncestor( &top );
    bottom.addAncestor( &right );
    bottom.addAncestor( &left );
    EXPECT_EQ( bottom.getNbAncestors(), 2 );
    EXPECT_EQ( top.getNbDescendants(), 2 );
    EXPECT_EQ( dumped( left ), "RttiTypeBase left (TypeId -3)\nAncestors:\n  top (TypeId 7)\n"
                               "Descendants:\n  bottom (TypeId 2)\n" );
    const struct {
        const NamedType& from;
        const NamedType& to;
        bool isDirect;
        bool isIndirect;
    } cases[] = {
        { bottom, left, true, true },  { bottom, top, false, true },  { left, top, true, true },
        { left, right, false, false }, { top, bottom, false, false }, { top, top, false, false },
    };
    for( const auto& test : cases ) {
        SCOPED_TRACE( std::string( test.from.getName() ) + " " + test.to.getName() );
        EXPECT_EQ( test.from.isAncestor( &test.to ), test.isDirect );
        EXPECT_EQ( test.to.isDescendant( &test.from ), test.isDirect );
        EXPECT_EQ( test.from.isIndirectAncestor( &test.to ), test.isIndirect );
        EXPECT_EQ( test.to.isIndirectDescendant( &test.from ), test.isIndirect );
    }
    EXPECT_TRUE( staticType.isAncestor( &staticAncestor() ) );
}

TEST( RttiTypeBaseTest, RefusedLinksLeaveTheGraph ) {
    const std::string longName( 300, 'x' );
    NamedType top( longName );
    NamedType middle( "middle" );
    NamedType bottom( "bottom" );
    middle.addAncestor( &top );
    bottom.addAncestor( &middle );
    const std::string cut( 256, 'x' );
    const struct {
        NamedType& type;
        RttiTypeBase* ancestor;
        std::string text;
    } cases[] = {
        { top, &top, "Requested insertion of RTTI type '" + cut + "' would introduce a cycle." },
        { middle, &bottom, "Requested insertion of RTTI type 'bottom' would introduce a cycle." },
        { top, &bottom, "Requested insertion of RTTI type 'bottom' would introduce a cycle." },
        { middle, &top, "The RTTI type '" + cut + "' already exists." },
    };
    for( const auto& test : cases ) {
        EXPECT_EQ( raisedBy<RttiEx>( [&] { test.type.addAncestor( test.ancestor ); } ), test.text );
    }
    EXPECT_NE( raisedBy<ExAssertionFailed>( [&] { top.addAncestor( nullptr ); } ), "" );
    EXPECT_NE( raisedBy<ExAssertionFailed>( [&] { top.isIndirectAncestor( nullptr ); } ), "" );
    EXPECT_STREQ( RttiEx::ExNotFound( QV_HERE, "lost" ).getReason(),
                  "RTTI type 'lost' not Found." );
    EXPECT_EQ( dumped( middle ), "RttiTypeBase middle (TypeId 1)\nAncestors:\n  " + longName +
                                     " (TypeId 1)\nDescendants:\n  bottom (TypeId 1)\n" );
    EXPECT_EQ( top.getNbAncestors() + bottom.getNbDescendants(), 0 );
}

TEST( RttiTypeBaseTest, ATypeThatDiesTakesItsLinksAlong ) {
    NamedType top( "top" );
    NamedType bottom( "bottom" );
    auto middle = std::make_unique<NamedType>( "middle" );
    middle->addAncestor( &top );
    bottom.addAncestor( middle.get() );
    ConstIterator<RttiTypeBase*> above = bottom.getAncestors();
    EXPECT_EQ( *above, middle.get() );
    middle.reset();
    // The copy that the iterator walks over has an end of its own.
    EXPECT_TRUE( ( ++above ).isAtEnd() );
    EXPECT_TRUE( bottom.getAncestors().isAtEnd() );
    EXPECT_TRUE( top.getDescendants().isAtEnd() );
    EXPECT_FALSE( bottom.isIndirectAncestor( &top ) );
    top.addAncestor( &bottom );
}

TEST( RttiTypeBaseTest, WithoutMemoryTheGraphIsAsBefore ) {
    for( int nbSucceeding = 0;; ++nbSucceeding ) {
        NamedType top( "a name that is too long to be kept without memory" );
        NamedType bottom( "another name that is too long for that" );
        try {
            const FailingNew failing( nbSucceeding );
            bottom.addAncestor( &top );
            EXPECT_GE( nbSucceeding, 4 );
            break;
        } catch( const std::bad_alloc& ) {}
        EXPECT_EQ( bottom.getNbAncestors() + top.getNbDescendants(), 0 );
    }
}

TEST( RttiTypeBaseTest, AGraphWithManyPathsIsWalkedInNoTime ) {
    // 2 to the 200th paths, and far more levels than a stack of calls would like.
    constexpr int NB_DIAMONDS = 200;
    constexpr int NB_LEVELS = 50'000;
    std::vector<std::unique_ptr<NamedType>> types;
    const auto add = [&]( int nbAncestors ) {
        types.push_back( std::make_unique<NamedType>( "t" ) );
        for( int back = 1; back <= nbAncestors; ++back ) {
            types.back()->addAncestor( ( types.end() - 1 - back )->get() );
        }
    };
    add( 0 );
    add( 1 );
    for( int level = 2; level < NB_DIAMONDS + NB_LEVELS; ++level ) {
        add( level < NB_DIAMONDS ? 2 : 1 );
    }
    const NamedType stranger( "s" );
    EXPECT_FALSE( types.back()->isIndirectAncestor( &stranger ) );
    EXPECT_TRUE( types.front()->isIndirectDescendant( types.back().get() ) );
}

/// What the graph should be: for each type a bit for each one above.
class PlainGraph {
public:
    static constexpr int SIZE = 9;

    void link( int below, int above ) { _above[below] |= 1u << above; }
    void clear( int type ) {
        _above[type] = 0;
        for( unsigned& above : _above ) {
            above &= ~( 1u << type );
        }
    }
    bool isLinked( int below, int above ) const { return ( _above[below] >> above & 1 ) != 0; }
    /// Warshall's closure.
    PlainGraph closed() const {
        PlainGraph graph( *this );
        for( int via = 0; via < SIZE; ++via ) {
            for( unsigned& above : graph._above ) {
                above |= ( above >> via & 1 ) != 0 ? graph._above[via] : 0;
            }
        }
        return graph;
    }

private:
    unsigned _above[SIZE] = {};
};

void checkRandomGraph( std::mt19937_64& random ) {
    PlainGraph plain;
    std::array<std::unique_ptr<NamedType>, PlainGraph::SIZE> types;
    for( auto& type : types ) {
        type = std::make_unique<NamedType>( "t" );
    }
    const auto pick = [&random] { return static_cast<int>( random() % PlainGraph::SIZE ); };
    const auto at = [&types]( int type ) -> std::unique_ptr<NamedType>& {
        return types[static_cast<std::size_t>( type )];
    };
    for( int step = static_cast<int>( random() % 24 ); step > 0; --step ) {
        int below = pick();
        int above = pick();
        if( below < above && random() % 4 != 0 ) {
            // Most are no cycle: an exception takes far longer than a link.
            std::swap( below, above );
        }
        if( random() % 8 == 0 ) {
            at( below ) = std::make_unique<NamedType>( "t" );
            plain.clear( below );
            continue;
        }
        const bool isCycle = below == above || plain.closed().isLinked( above, below );
        const bool isThere = plain.isLinked( below, above );
        const std::string raised =
            raisedBy<RttiEx>( [&] { at( below )->addAncestor( at( above ).get() ); } );
        ASSERT_EQ( raised.find( "cycle" ) != std::string::npos, isCycle );
        ASSERT_EQ( raised.find( "exists" ) != std::string::npos, isThere );
        if( raised.empty() ) {
            plain.link( below, above );
        }
    }
    const PlainGraph closed = plain.closed();
    for( int below = 0; below < PlainGraph::SIZE; ++below ) {
        for( int above = 0; above < PlainGraph::SIZE; ++above ) {
            const RttiTypeBase* const low = at( below ).get();
            const RttiTypeBase* const high = at( above ).get();
            const bool isDirect = plain.isLinked( below, above );
            const bool isIndirect = closed.isLinked( below, above );
            if( low->isAncestor( high ) != isDirect || high->isDescendant( low ) != isDirect ||
                low->isIndirectAncestor( high ) != isIndirect ||
                high->isIndirectDescendant( low ) != isIndirect ) {
                FAIL() << below << " below " << above;
            }
        }
    }
}

TEST( RttiTypeBaseTest, RandomGraphsAgreeWithPlainReachability ) {
    std::mt19937_64 random( testSeed() );
    for( long graph = scaledCount( 100'000 ); graph > 0 && !HasFatalFailure(); --graph ) {
        checkRandomGraph( random );
    }
}

TEST( RttiTypeBaseTest, TwoThreadsNeverCloseACycleBetweenThem ) {
    for( long round = scaledCount( 300 ); round > 0; --round ) {
        NamedType types[] = { NamedType( "0" ), NamedType( "1" ) };
        std::atomic<int> nbReady = 0;
        std::atomic<int> nbRefused = 0;
        const auto add = [&]( int own ) {
            NamedType neighbour( "n" );
            ++nbReady;
            while( nbReady != 2 ) {
                std::this_thread::yield();
            }
            neighbour.addAncestor( &types[1 - own] );
            try {
                types[own].addAncestor( &types[1 - own] );
            } catch( const RttiEx::ExCycle& ) {
                ++nbRefused;
            }
            types[own].isIndirectDescendant( &neighbour );
        };
        TestThread other( [&] { add( 1 ); } );
        add( 0 );
        other.join();
        ASSERT_EQ( nbRefused, 1 );
        ASSERT_EQ( types[0].getNbAncestors() + types[1].getNbAncestors(), 1 );
    }
}

} // namespace

} // namespace Qv
