#include <resmgt/literals/liStringSubstituter.h>
#include <tests/support/dumpOf.h>
#include <tests/support/raisedBy.h>
#include <tests/support/testSettings.h>

#include <base/callbacks/cbFunction.h>

#include <gmock/gmock.h>

#include <algorithm>
#include <deque>
#include <random>
#include <set>
#include <string>
#include <utility>

namespace Qv {

namespace {

using testing::HasSubstr;

int nbCalls = 0;

void expandColour( std::string& text ) {
    ++nbCalls;
    text = "blue";
}

void leaveAlone( std::string& ) {
    ++nbCalls;
}

void failToExpand( std::string& ) {
    throw std::runtime_error( "no value" );
}

void expandNumbers( std::string& text ) {
    if( text.starts_with( "<Nb:" ) ) {
        text = text.substr( 4, text.size() - 5 );
    }
}

/// What is registered goes at the end of a test.
class LiStringSubstituterTest : public testing::Test {
protected:
    ~LiStringSubstituterTest() override {
        for( const auto* handler : { &_colour, &_nothing, &_failing, &_numbers } ) {
            LiStringSubstituter::unregisterPattern( handler );
            LiStringSubstituter::unregisterPatternHandler( handler );
        }
        LiStringSubstituter::finalize();
    }

    CbFunction<std::string> _colour{ &expandColour };
    CbFunction<std::string> _nothing{ &leaveAlone };
    CbFunction<std::string> _failing{ &failToExpand };
    CbFunction<std::string> _numbers{ &expandNumbers };
    LiStringSubstituter _substituter;
};

} // namespace

TEST_F( LiStringSubstituterTest, ExpandsInOnePassTheLongestPatternFirst ) {
    LiStringSubstituter::registerPattern( "<Colour>", &_colour );
    LiStringSubstituter::registerPattern( "<Shade>", &_colour );
    LiStringSubstituter::registerPattern( "<Nothing>", &_nothing );
    LiStringSubstituter::registerPatternHandler( &_nothing );
    LiStringSubstituter::registerPatternHandler( &_numbers );
    _substituter.addPattern( "a", "<Colour>" );
    _substituter.addPattern( "ab", "[ab]" );
    _substituter.addPattern( "<Sh", "own" );
    const std::pair<const char*, const char*> cases[] = {
        { "", "" },
        { "x<Colour>y<Shade>", "xblueyblue" },
        { "ab a b", "[ab] <Colour> b" },
        { "<<Colour>>", "<blue>" },
        { "<Colour", "<Colour" },
        { "<Unknown> <Nothing>", "<Unknown> <Nothing>" },
        { "<Nb:17><Nb:>", "17" },
        { "<Nb:<Colour>>", "<Nb:blue>" },
        { "<Shx", "ownx" },
    };
    for( const auto& [text, expanded] : cases ) {
        EXPECT_EQ( _substituter.substitute( text ), expanded ) << text;
    }
}

TEST_F( LiStringSubstituterTest, OfPatternsWithinEachOtherTheLongestIsFoundAsByTryingAll ) {
    std::mt19937_64 random( testSeed() );
    const auto makeText = [&]( std::size_t most ) {
        std::string text( 1 + random() % most, 'a' );
        std::ranges::generate( text, [&] { return "ab\xff"[random() % 3]; } );
        return text;
    };
    for( long run = scaledCount( 500 ); run > 0; --run ) {
        LiStringSubstituter substituter;
        std::set<std::string> patterns;
        for( auto count = random() % 12; count > 0; --count ) {
            const std::string pattern = makeText( 5 );
            patterns.insert( pattern );
            substituter.addPattern( pattern, std::to_string( pattern.size() ) );
        }
        const std::string text = makeText( 30 );
        std::string expected;
        for( std::size_t i = 0; i < text.size(); ) {
            std::size_t length = std::min<std::size_t>( 5, text.size() - i );
            while( length > 0 && !patterns.contains( text.substr( i, length ) ) ) {
                --length;
            }
            expected += length > 0 ? std::to_string( length ) : text.substr( i, 1 );
            i += std::max<std::size_t>( length, 1 );
        }
        ASSERT_EQ( substituter.substitute( text ), expected ) << text;
    }
}

TEST_F( LiStringSubstituterTest, AHandlerIsCalledWhenItsPatternIsMetAndOnlyThen ) {
    LiStringSubstituter::registerPattern( "<Colour>", &_colour );
    nbCalls = 0;
    EXPECT_EQ( _substituter.substitute( "no pattern < here >" ), "no pattern < here >" );
    EXPECT_EQ( nbCalls, 0 );
    _substituter.substitute( "<Colour><Colour>" );
    EXPECT_EQ( nbCalls, 2 );
    LiStringSubstituter::unregisterPattern( &_colour );
    EXPECT_EQ( _substituter.substitute( "<Colour>" ), "<Colour>" );
    EXPECT_EQ( nbCalls, 2 );
}

// The watchdog ends it when each that leaves looks through all that are left.
TEST_F( LiStringSubstituterTest, ManyHandlersLeaveAsFastAsTheyCame ) {
    std::deque<CbFunction<std::string>> handlers;
    for( long i = scaledCount( 100000 ); i > 0; --i ) {
        CbFunction<std::string>& handler = handlers.emplace_back( &expandColour );
        LiStringSubstituter::registerPattern( "<" + std::to_string( i ) + ">", &handler );
        LiStringSubstituter::registerPattern( "<other " + std::to_string( i ) + ">", &handler );
    }
    for( const CbFunction<std::string>& handler : handlers ) {
        LiStringSubstituter::unregisterPattern( &handler );
    }
    EXPECT_TRUE( _substituter.getPatterns().isAtEnd() );
}

TEST_F( LiStringSubstituterTest, WhatAHandlerRaisesGoesOnAndTheRegistryStaysUsable ) {
    LiStringSubstituter::registerPattern( "<Bad>", &_failing );
    EXPECT_EQ( raisedBy( [&] { _substituter.substitute( "x<Bad>" ); } ), "no value" );
    LiStringSubstituter::registerPattern( "<Colour>", &_colour );
    EXPECT_EQ( _substituter.substitute( "<Colour>" ), "blue" );
}

TEST_F( LiStringSubstituterTest, ASecondRegistrationAbortsAndAPatternLeftBehindIsNoticed ) {
    LiStringSubstituter::registerPattern( "<Colour>", &_colour );
    LiStringSubstituter::registerPatternHandler( &_numbers );
    EXPECT_THAT( raisedBy( [&] { LiStringSubstituter::registerPattern( "<Colour>", &_nothing ); } ),
                 HasSubstr( "Trying to insert redundant substitution callback for <Colour>" ) );
    EXPECT_THAT( raisedBy( [&] { LiStringSubstituter::registerPatternHandler( &_numbers ); } ),
                 HasSubstr( "Trying to insert redundant substitution callback for " ) );
    EXPECT_EQ( _substituter.substitute( "<Colour>" ), "blue" );
    EXPECT_THAT( raisedBy( [] { LiStringSubstituter::finalize(); } ),
                 HasSubstr( "_patterns.empty()" ) );
    EXPECT_THAT( raisedBy( [&] { LiStringSubstituter::registerPattern( "", &_nothing ); } ),
                 HasSubstr( "!pattern.empty()" ) );
    EXPECT_THAT( raisedBy( [] { LiStringSubstituter::registerPattern( "<Null>", nullptr ); } ),
                 HasSubstr( "handler != nullptr" ) );
    EXPECT_THAT( raisedBy( [] { LiStringSubstituter::registerPatternHandler( nullptr ); } ),
                 HasSubstr( "handler != nullptr" ) );
}

TEST_F( LiStringSubstituterTest, CopiesShareTheirOwnPatternsAndAllAreListed ) {
    LiStringSubstituter::registerPattern( "<Colour>", &_colour );
    LiStringSubstituter copy( _substituter );
    copy.addPattern( "<Colour>", "mine" );
    copy.addPattern( "<Own>", "1" );
    copy.addPattern( "<Own>", "2" );
    EXPECT_EQ( _substituter.substitute( "<Own><Colour>" ), "2mine" );
    EXPECT_EQ( LiStringSubstituter().substitute( "<Own><Colour>" ), "<Own>blue" );
    EXPECT_EQ( dumpOf( _substituter ), "Available substitutions: <Colour> <Own> \n" );
}

} // namespace Qv
