#include <resmgt/memoryBuffers/mbAlignment.h>
#include <resmgt/memoryBuffers/test/mbRecorder.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <random>
#include <sstream>
#include <tests/support/testSettings.h>

namespace Qv {

namespace {

constexpr std::uint64_t ALL_ONES = ~std::uint64_t{ 0 };

std::string textOf( const MbAlignment& alignment ) {
    std::ostringstream text;
    text << std::showbase;
    alignment.dump( text );
    text << 255; // the flags are as before
    return text.str();
}

TEST( MbAlignment, RoundsToTheNearestRightAddress ) {
    const struct {
        MbAlignment alignment;
        std::uint64_t address, up, down;
    } cases[] = {
        { { 127, 0, 0 }, 1, 128, 0 },
        { { 127, 0, 0 }, 128, 128, 128 },
        { { 127, 0, 0 }, 129, 256, 128 },
        { { 0, 0, 0 }, 12345, 12345, 12345 },
        // Low four bits zero, and 0x50 in the bits above, up to 0xff.
        { { 15, 255, 0x50 }, 0x1000, 0x1050, 0xf50 },
        { { 15, 255, 0x50 }, 0x1051, 0x1150, 0x1050 },
        // The pattern's bits under the alignment mask don't count.
        { { 15, 255, 0x5f }, 0x1051, 0x1150, 0x1050 },
    };
    for( const auto& c : cases ) {
        EXPECT_EQ( MbTestAccess::roundUp( c.alignment, c.address ), c.up ) << c.address;
        EXPECT_EQ( MbTestAccess::roundDown( c.alignment, c.address ), c.down ) << c.address;
        EXPECT_EQ( MbTestAccess::isAligned( c.alignment, c.address ), c.up == c.address );
    }
}

TEST( MbAlignment, RoundsUpNoFartherThanItsMaximumAndOntoARightAddress ) {
    std::mt19937_64 random( testSeed() );
    for( long i = scaledCount( 20000 ); i > 0; --i ) {
        const std::uint64_t alignmentMask = ( std::uint64_t{ 1 } << random() % 12 ) - 1;
        const std::uint64_t offsetMask = ( std::uint64_t{ 1 } << random() % 16 ) - 1;
        const std::uint64_t granularity = std::uint64_t{ 1 } << random() % 10;
        const MbAlignment alignment( alignmentMask, offsetMask, random() );
        const std::uint64_t address = ( random() >> 8 ) & ( 0 - granularity );
        const std::uint64_t up = MbTestAccess::roundUp( alignment, address );
        ASSERT_TRUE( MbTestAccess::isAligned( alignment, up ) );
        ASSERT_GE( up, address );
        ASSERT_LE( up - address, alignment.getRoundUpMax( granularity ) );
        ASSERT_EQ( MbTestAccess::roundDown( alignment, address ),
                   up == address ? up : up - ( alignmentMask | offsetMask ) - 1 );
    }
}

TEST( MbAlignment, MaximaFollowTheGranularity ) {
    EXPECT_EQ( MbAlignment( 127, 0, 0 ).getRoundUpMax( 1 ), 127u );
    EXPECT_EQ( MbAlignment( 127, 0, 0 ).getRoundUpMax( 16 ), 112u );
    EXPECT_EQ( MbAlignment( 0, 0, 0 ).getRoundUpMax( 8 ), 0u );
    EXPECT_EQ( MbAlignment( 15, 255, 0x50 ).getRoundUpMax( 256 ), 0x50u );
    EXPECT_EQ( MbAlignment( 127, 0, 0 ).getRoundDownMax( 16 ), 112u );
    EXPECT_EQ( MbAlignment( 15, 255, 0x50 ).getRoundDownMax( 256 ), 0xb0u );
}

TEST( MbAlignment, RefusesWhatItCannotDoAndStaysAsItWas ) {
    MbAlignment a( ALL_ONES, 255, 0x57 );
    const MbAlignment low( 127, 0, 0 );
    const MbAlignment high( 15, 255, 0x50 );
    const char* const isHoley = "Invalid argument: Argument is not a power of 2 minus 1.";
    const char* const isZero = "Invalid argument: Zero is not a power of two.";
    const struct {
        std::function<void()> call;
        const char* raised;
    } cases[] = {
        { [&] { a.setAlignmentMask( 5 ); }, isHoley },
        { [&] { a.setOffsetMask( 6 ); }, isHoley },
        { [] { MbAlignment( 2, 0, 0 ); }, isHoley },
        { [] { MbAlignment( 0, 2, 0 ); }, isHoley },
        { [&] { low.getRoundUpMax( 3 ); }, isHoley },
        { [&] { low.getRoundDownMax( 3 ); }, isHoley },
        { [&] { low.getRoundUpMax( 0 ); }, isZero },
        { [&] { low.getRoundDownMax( 0 ); }, isZero },
        { [&] { MbTestAccess::roundUp( low, ALL_ONES - 5 ); },
          "Out of range: Can't roundUpToAlignment() because of wrap-around." },
        { [&] { MbTestAccess::roundDown( high, 3 ); },
          "Out of range: Can't roundDownToAlignment() because of wrap-around." },
        { [] {
             MbAlignment( 0, 255, 0x50 ).compound( { 3, 31, 0 } );
         },
          "Out of range: Incompatible offsets.." },
    };
    for( const auto& c : cases ) {
        EXPECT_EQ( raisedBy( c.call ), c.raised );
    }
    EXPECT_EQ( textOf( a ),
               "Alignment mask: 0xffffffffffffffff Offset mask: 0xff Offset pattern: 0x57\n255" );
}

TEST( MbAlignment, CompoundSatisfiesBothOrChangesNothing ) {
    const struct {
        MbAlignment first, second, result;
    } cases[] = {
        { { 15, 0, 0 }, { 127, 0, 0 }, { 127, 0, 0 } },
        // The wider side's pattern stands, whichever side it is.
        { { 15, 255, 0x50 }, { 0, 0, 0 }, { 15, 255, 0x50 } },
        { { 0, 0, 0 }, { 15, 255, 0x50 }, { 15, 255, 0x50 } },
        { { 0, 255, 0x51 }, { 0, 15, 0x1 }, { 0, 255, 0x51 } },
        { { 0, 15, 0xf1 }, { 0, 255, 0x51 }, { 0, 255, 0x51 } },
        // A common offset bit under the compound alignment mask may differ; no other may.
        { { 15, 255, 0x50 }, { 0, 15, 0x1 }, { 15, 255, 0x50 } },
        { { 0, 255, 0x50 }, { 3, 31, 0 }, { 0, 255, 0x50 } },
    };
    for( const auto& c : cases ) {
        MbAlignment compound = c.first;
        raisedBy( [&] { compound.compound( c.second ); } );
        EXPECT_EQ( textOf( compound ), textOf( c.result ) );
    }
}

TEST( MbRegion, CarriesFourWordsAndTracesWhenAsked ) {
    char block[8];
    const MbTestAccess::Words words = { block, block + 1, block + 5, block + 8 };
    TraceLevel& level = *Trace::registerLevel( "MbRegion", "mbRegion.inline" );
    level.setEnabled( true );
    testing::internal::CaptureStderr();
    MbRegion region;
    EXPECT_EQ( MbTestAccess::words( region ), MbTestAccess::Words() );
    region = MbRegion( words[0], words[1], words[2], words[3] );
    const MbRegion copy( region );
    level.setEnabled( false );
    MbRegion silent;
    silent = region;
    const std::string trace = testing::internal::GetCapturedStderr();
    EXPECT_EQ( MbTestAccess::words( copy ), words );
    EXPECT_EQ( MbTestAccess::words( silent ), words );
    std::ostringstream address;
    address << words[0];
    for( const std::string& text :
         { std::string( "MbRegion::MbRegion" ), std::string( "Constructor MbRegion::_header = 0 " ),
           std::string( "MbRegion::MbRegion( args )" ),
           "Constructor MbRegion::_header = " + address.str(),
           std::string( "MbRegion::operator=( rhs )" ),
           "Assignment MbRegion::_header = 0 --> " + address.str() } ) {
        EXPECT_THAT( trace, testing::HasSubstr( text ) );
    }
}

} // namespace

} // namespace Qv
