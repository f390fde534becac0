#include <resmgt/messages/msgException.h>
#include <resmgt/messages/msgProtocol.h>
#include <resmgt/messages/msgSubscription.h>

#include <base/failure/exStandard.h>
#include <tests/support/dumpOf.h>

#include <gmock/gmock.h>

#include <cstdint>
#include <utility>

namespace Qv {
namespace {

TEST( MsgProtocolTest, PutsValuesIntoTheirPlaceHolders ) {
    struct Case {
        const char* text;
        const char* expected;
    };
    const Case cases[] = {
        { "", "" },
        { "no values", "no values" },
        { "%1", "one" },
        { "a %1 b %2 c", "a one b two c" },
        { "%2, then %1, then %2 again", "two, then one, then two again" },
        { "%12", "one2" },
        // What a value brings in stands.
        { "%3", "%1 %name% %%" },
        // The tenth value has no place holder, the others are left alone.
        { "%9 %10", "nine one0" },
        { "%name%", "value" },
        { "%name%name%", "valuename%" },
        { "%_n2%%1", "snakeone" },
        { "%unknown% %1", "%unknown% one" },
        { "%2name% %na-me%", "twoname% %na-me%" },
        { "100%% of %1", "100% of one" },
        { "%%1 %%%1", "%1 %one" },
        { "50% %0 %", "50% %0 %" },
        { "%", "%" },
    };
    for( const Case& c : cases ) {
        MsgWarning message{ std::string( c.text ) };
        message.substitute( "one" ).substitute( "two" ).substitute( "%1 %name% %%" );
        for( const char* const value :
             { "four", "five", "six", "seven", "eight", "nine", "ten" } ) {
            message.substitute( value );
        }
        message.substitute( "name", "former" ).substitute( "name", "value" );
        message.substitute( "_n2", "snake" );
        EXPECT_EQ( message.getText(), c.expected ) << c.text;
    }
}

TEST( MsgProtocolTest, PlaceHolderWithoutValueStaysVisible ) {
    MsgWarning message( std::string( "%1 and %2" ) );
    EXPECT_EQ( message.getText(), "%1 and %2" );
    EXPECT_EQ( message.substitute( -2147483647 - 1 ).getText(), "-2147483648 and %2" );
}

TEST( MsgProtocolTest, NumbersOfEachTypeStandAsPeopleReadThem ) {
    const auto put = []( auto number ) {
        return MsgWarning( std::string( "%1" ) ).substitute( number ).getText();
    };
    EXPECT_EQ( put( 4294967295U ), "4294967295" );
    EXPECT_EQ( put( 18446744073709551615ULL ), "18446744073709551615" );
    EXPECT_EQ( put( std::uint64_t( 1 ) << 63 ), "9223372036854775808" );
    EXPECT_EQ( put( -9223372036854775807LL - 1 ), "-9223372036854775808" );
    EXPECT_EQ( put( std::int64_t( -5'000'000'000 ) ), "-5000000000" );
    const std::pair<double, const char*> doubles[] = {
        { 0.1, "0.1" },
        { -2.5, "-2.5" },
        { 1e6, "1000000" },
        { 0, "0" },
        { 0.0001, "0.0001" },
        { 1e20, "1e+20" },
        { 1e-7, "1e-07" },
        { -123456789012345.7, "-123456789012345.7" },
        { 1.7976931348623157e308, "1.7976931348623157e+308" },
    };
    for( const auto& [number, text] : doubles ) {
        EXPECT_EQ( put( number ), text );
    }
    EXPECT_EQ( put( 0.5F ), "0.5" );
}

TEST( MsgProtocolTest, SaysTagAndValuesWhereThereIsNoText ) {
    MsgError message( MsgSubscription( "not%1Saved" ) );
    EXPECT_EQ( message.getText(), "not%1Saved" );
    message.substitute( "a b" ).substitute( "why", "full" ).substitute( 13 );
    EXPECT_EQ( message.getText(), "not%1Saved \"a b\" \"13\" why=\"full\"" );
}

TEST( MsgProtocolTest, EachKindHasItsLevel ) {
    const MsgSubscription tag( "tag" );
    const std::string text( "text" );
    EXPECT_EQ( MsgFatalError( tag ).getLevel(), 1 );
    EXPECT_EQ( MsgFatalError( text ).getLevel(), 1 );
    EXPECT_EQ( MsgError( tag ).getLevel(), 2 );
    EXPECT_EQ( MsgError( text ).getLevel(), 2 );
    EXPECT_EQ( MsgWarning( tag ).getLevel(), 3 );
    EXPECT_EQ( MsgWarning( text ).getLevel(), 3 );
    EXPECT_EQ( MsgInformation( tag ).getLevel(), 4 );
    EXPECT_EQ( MsgInformation( text ).getLevel(), 4 );

    EXPECT_EQ( dumpOf( MsgWarning( std::string( "%1" ) ).substitute( 7 ) ), "level 3 text \"7\"" );
}

TEST( MsgExceptionTest, CarriesItsMessageToWhoeverCatchesIt ) {
    using Ex = MsgException<ExInternalError>;
    const auto stored = [] {
        const Ex raised( "some\\file", 12,
                         MsgError( std::string( "%1 is full" ) ).substitute( "x" ), "no room" );
        return std::unique_ptr<ExBase>( raised.clone() );
    }();
    try {
        stored->raise();
    } catch( const ExInternalError& e ) {
        EXPECT_THAT( e.getReason(), ::testing::HasSubstr( "no room" ) );
        EXPECT_EQ( e.getLineNo(), 12 );
        const auto* const carrier = dynamic_cast<const Ex*>( &e );
        ASSERT_NE( carrier, nullptr );
        EXPECT_EQ( carrier->getMessage().getText(), "x is full" );
        EXPECT_EQ( carrier->getMessage().getLevel(), MsgTypes::ERROR );
    }
}

} // namespace
} // namespace Qv
