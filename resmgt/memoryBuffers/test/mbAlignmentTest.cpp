#include <resmgt/memoryBuffers/mbAlignment.h>
#include <resmgt/memoryBuffers/mbEx.h>
#include <resmgt/memoryBuffers/test/mbTestAccess.h>

#include <gtest/gtest.h>

#include <random>
#include <sstream>
#include <tests/support/testSettings.h>

namespace Qv {

namespace {

constexpr std::uint64_t ALL_ONES = ~std::uint64_t{ 0 };

template <class Exception, class Body>
std::string reasonOf( Body body ) {
    try {
        body();
    } catch( const Exception& exception ) {
        return exception.getReason();
    }
    return "nothing was raised";
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
        { { 15, 255, 0x50 }, 0x1050, 0x1050, 0x1050 },
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
        const unsigned alignmentBits = static_cast<unsigned>( random() % 12 );
        const unsigned offsetBits = static_cast<unsigned>( random() % 16 );
        const std::uint64_t granularity = std::uint64_t{ 1 } << ( random() % 10 );
        const MbAlignment alignment( ( 1u << alignmentBits ) - 1, ( 1u << offsetBits ) - 1,
                                     random() );
        const std::uint64_t address = ( random() >> 8 ) & ( 0 - granularity );
        const std::uint64_t up = MbTestAccess::roundUp( alignment, address );
        ASSERT_TRUE( MbTestAccess::isAligned( alignment, up ) );
        ASSERT_GE( up, address );
        ASSERT_LE( up - address, alignment.getRoundUpMax( granularity ) );
        ASSERT_EQ( MbTestAccess::roundDown( alignment, up ), up );
        if( up != address ) {
            const std::uint64_t period =
                ( alignment.getAlignmentMask() | alignment.getOffsetMask() ) + 1;
            ASSERT_EQ( MbTestAccess::roundDown( alignment, address ), up - period );
        }
    }
}

TEST( MbAlignment, RefusesToWrapAround ) {
    const MbAlignment alignment( 127, 0, 0 );
    EXPECT_EQ(
        reasonOf<MbEx::ExRangeError>( [&] { MbTestAccess::roundUp( alignment, ALL_ONES - 5 ); } ),
        "Out of range: Can't roundUpToAlignment() because of wrap-around." );
    const MbAlignment high( 15, 255, 0x50 );
    EXPECT_EQ( reasonOf<MbEx::ExRangeError>( [&] { MbTestAccess::roundDown( high, 3 ); } ),
               "Out of range: Can't roundDownToAlignment() because of wrap-around." );
}

TEST( MbAlignment, MaximaFollowTheGranularity ) {
    EXPECT_EQ( MbAlignment( 127, 0, 0 ).getRoundUpMax( 1 ), 127u );
    EXPECT_EQ( MbAlignment( 127, 0, 0 ).getRoundUpMax( 16 ), 112u );
    EXPECT_EQ( MbAlignment( 127, 0, 0 ).getRoundUpMax( 256 ), 0u );
    EXPECT_EQ( MbAlignment( 0, 0, 0 ).getRoundUpMax( 8 ), 0u );
    EXPECT_EQ( MbAlignment( 15, 255, 0x50 ).getRoundUpMax( 256 ), 0x50u );
    EXPECT_EQ( MbAlignment( 127, 0, 0 ).getRoundDownMax( 16 ), 112u );
    EXPECT_EQ( MbAlignment( 15, 255, 0x50 ).getRoundDownMax( 256 ), 0xb0u );
    const MbAlignment alignment( 127, 0, 0 );
    for( const auto maximum : { &MbAlignment::getRoundUpMax, &MbAlignment::getRoundDownMax } ) {
        EXPECT_EQ( reasonOf<MbEx::ExInvalidArgument>( [&] { ( alignment.*maximum )( 3 ); } ),
                   "Invalid argument: Argument is not a power of 2 minus 1." );
        EXPECT_EQ( reasonOf<MbEx::ExInvalidArgument>( [&] { ( alignment.*maximum )( 0 ); } ),
                   "Invalid argument: Zero is not a power of two." );
    }
}

TEST( MbAlignment, RefusesAMaskWithAHoleAndStaysAsItWas ) {
    MbAlignment alignment( ALL_ONES, 0, 7 );
    EXPECT_THROW( alignment.setAlignmentMask( 5 ), MbEx::ExInvalidArgument );
    EXPECT_THROW( alignment.setOffsetMask( 6 ), MbEx::ExInvalidArgument );
    EXPECT_THROW( MbAlignment( 2, 0, 0 ), MbEx::ExInvalidArgument );
    EXPECT_THROW( MbAlignment( 0, 2, 0 ), MbEx::ExInvalidArgument );
    std::ostringstream text;
    text << std::showbase;
    alignment.dump( text );
    text << 255;
    EXPECT_EQ( text.str(),
               "Alignment mask: 0xffffffffffffffff Offset mask: 0 Offset pattern: 0x7\n255" );
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
        // A common offset bit under the compound alignment mask may differ.
        { { 15, 255, 0x50 }, { 0, 15, 0x1 }, { 15, 255, 0x50 } },
    };
    for( const auto& c : cases ) {
        MbAlignment compound = c.first;
        compound.compound( c.second );
        EXPECT_EQ( compound.getAlignmentMask(), c.result.getAlignmentMask() );
        EXPECT_EQ( compound.getOffsetMask(), c.result.getOffsetMask() );
        EXPECT_EQ( compound.getOffsetPattern(), c.result.getOffsetPattern() );
    }
    MbAlignment fixed( 0, 255, 0x50 );
    EXPECT_EQ( reasonOf<MbEx::ExRangeError>( [&] {
                   fixed.compound( { 3, 31, 0x00 } );
               } ),
               "Out of range: Incompatible offsets.." );
    EXPECT_EQ( fixed.getAlignmentMask(), 0u );
    EXPECT_EQ( fixed.getOffsetMask(), 255u );
    EXPECT_EQ( fixed.getOffsetPattern(), 0x50u );
}

TEST( MbRegion, CarriesFourWordsAndTracesWhenAsked ) {
    char block[8];
    const MbTestAccess::Words words = { block, block + 1, block + 5, block + 8 };
    TraceLevel& level = *Trace::registerLevel( "MbRegion", "mbRegion.inline" );
    level.setEnabled( true );
    testing::internal::CaptureStderr();
    MbRegion region;
    const MbTestAccess::Words empty = MbTestAccess::words( region );
    region = MbRegion( words[0], words[1], words[2], words[3] );
    const MbRegion copy( region );
    level.setEnabled( false );
    MbRegion silent;
    silent = region;
    const std::string trace = testing::internal::GetCapturedStderr();
    EXPECT_EQ( empty, MbTestAccess::Words() );
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
        EXPECT_NE( trace.find( text ), std::string::npos ) << text << " in:\n" << trace;
    }
}

} // namespace

} // namespace Qv
