#include <resmgt/osSupport/osMemoryArch.h>
#include <resmgt/osSupport/src/osLineSize.h>
#include <tests/support/scopedEnvironment.h>

#include <gtest/gtest.h>

#include <bit>
#include <fstream>

namespace Qv {

namespace {

constexpr const char* VARIABLE = "QV_DEFAULT_L1_LINE_SIZE";

TEST( OsMemoryArchTest, ALineIsAPowerOfTwoAndAsLargeAsTheKernelTells ) {
    const OsMemoryArch& arch = OsMemoryArch::getInstance();
    for( const std::size_t size : { arch.getL1LineSize(), arch.getL2LineSize() } ) {
        EXPECT_TRUE( std::has_single_bit( size ) ) << size;
        EXPECT_LE( size, arch.getCacheLineSize() );
    }
    std::ifstream reported( "/sys/devices/system/cpu/cpu0/cache/index0/coherency_line_size" );
    if( std::size_t size = 0; reported >> size ) {
        EXPECT_EQ( arch.getL1LineSize(), size );
    }
}

TEST( OsMemoryArchTest, TheVariableCountsOnlyWhereTheSystemTellsNothingAndOnlyAsAPowerOfTwo ) {
    const struct {
        long reported;
        const char* value;
        std::size_t expected;
        bool isReported;
    } cases[] = { { 128, "32", 128, false },   { 128, "junk", 128, false },
                  { 0, "32", 32, false },      { -1, "8", 8, false },
                  { 96, "4096", 4096, false }, { 0, "0", 64, true },
                  { 0, "", 64, true },         { 0, "96", 64, true },
                  { 0, "4", 64, true },        { 0, "8192", 64, true },
                  { 0, "-64", 64, true },      { 0, "128 bytes", 64, true },
                  { 0, "0x40", 64, true },     { 0, "18446744073709551680", 64, true } };
    for( const auto& c : cases ) {
        SCOPED_TRACE( std::to_string( c.reported ) + " " + c.value );
        const ScopedEnvironment environment( VARIABLE, c.value );
        testing::internal::CaptureStderr();
        EXPECT_EQ( osLineSize( c.reported, VARIABLE ), c.expected );
        const std::string report = testing::internal::GetCapturedStderr();
        EXPECT_EQ( report.find( VARIABLE ) != std::string::npos, c.isReported );
    }
    const ScopedEnvironment environment( VARIABLE );
    EXPECT_EQ( osLineSize( 0, VARIABLE ), 64u );
}

} // namespace

} // namespace Qv
