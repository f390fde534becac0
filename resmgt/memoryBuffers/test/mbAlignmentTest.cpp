#include <resmgt/memoryBuffers/mbAlignment.h>
#include <resmgt/memoryBuffers/test/mbRecorder.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <sstream>
#include <utility>

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

void expectNearest( std::uint64_t a, std::uint64_t o, std::uint64_t p, std::uint64_t granularity ) {
    const MbAlignment alignment( a, o, p );
    // The alignment wins where both masks cover a bit.
    const auto isRight = [&]( std::uint64_t x ) {
        return ( x & a ) == 0 && ( x & o & ~a ) == ( p & o & ~a );
    };
    std::uint64_t farthestUp = 0;
    std::uint64_t farthestDown = 0;
    for( std::uint64_t x = 128; x < 256; x += granularity ) {
        std::uint64_t up = x;
        std::uint64_t down = x;
        for( ; !isRight( up ); ++up ) {}
        for( ; !isRight( down ); --down ) {}
        ASSERT_EQ( MbTestAccess::isAligned( alignment, x ), up == x ) << x;
        ASSERT_EQ( MbTestAccess::roundUp( alignment, x ), up ) << x;
        ASSERT_EQ( MbTestAccess::roundDown( alignment, x ), down ) << x;
        farthestUp = std::max( farthestUp, up - x );
        farthestDown = std::max( farthestDown, x - down );
    }
    ASSERT_EQ( alignment.getRoundUpMax( granularity ), farthestUp ) << granularity;
    ASSERT_EQ( alignment.getRoundDownMax( granularity ), farthestDown ) << granularity;
}

TEST( MbAlignmentTest, RoundsToTheNearestRightAddressAndKnowsTheFarthest ) {
    for( const std::uint64_t alignmentMask : { 0u, 1u, 7u, 31u } ) {
        for( const std::uint64_t offsetMask : { 0u, 3u, 15u, 31u } ) {
            for( std::uint64_t pattern = 0; pattern < 64 && !testing::Test::HasFailure();
                 ++pattern ) {
                for( const std::uint64_t granularity : { 1u, 4u, 64u } ) {
                    SCOPED_TRACE( textOf( MbAlignment( alignmentMask, offsetMask, pattern ) ) );
                    expectNearest( alignmentMask, offsetMask, pattern, granularity );
                }
            }
        }
    }
}

TEST( MbAlignmentTest, RefusesWhatItCannotDoAndStaysAsItWas ) {
    MbAlignment a( ALL_ONES, 255, 0x57 );
    const MbAlignment low( 127, 0, 0 );
    const MbAlignment high( 15, 255, 0x50 );
    const char* const isHoley = "Invalid argument: Argument is not a power of 2 minus 1.";
    const char* const isZero = "Invalid argument: Zero is not a power of two.";
    const std::pair<std::function<void()>, const char*> cases[] = {
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
    for( const auto& [call, raised] : cases ) {
        EXPECT_EQ( raisedBy( call ), raised );
    }
    EXPECT_EQ( textOf( a ),
               "Alignment mask: 0xffffffffffffffff Offset mask: 0xff Offset pattern: 0x57\n255" );
}

TEST( MbAlignmentTest, CompoundSatisfiesBothOrChangesNothing ) {
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

TEST( MbRegionTest, CarriesFourWordsAndTracesWhenAsked ) {
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
