#include <tests/support/raisedBy.h>
#include <tests/support/scopedEnvironment.h>
#include <tools/qvcomp/failure.h>
#include <tools/qvcomp/glow.h>
#include <tools/qvcomp/options.h>

#include <gmock/gmock.h>

#include <filesystem>

namespace Qv::Comp {
namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;

Options parse( std::vector<const char*> arguments ) {
    return parseOptions( arguments );
}

TEST( QvcompOptionsTest, TakeEffect ) {
    const Options options = parse( { "--size",      "640x480",
                                     "-o",          "out.exr",
                                     "--memory=3M", "--tile",
                                     "64",          "--threads",
                                     "3",           "--strategy",
                                     "random",      "--policy=strict",
                                     "--manager",   "arena",
                                     "--scratch",   "/some/where",
                                     "--report",    "json",
                                     "--verify",    "--preview",
                                     "p.png",       "--scratch-limit",
                                     "5G",          "--unbuffered",
                                     "--dither",    "none",
                                     "a.exr" } );
    EXPECT_EQ( options.width, 640 );
    EXPECT_EQ( options.height, 480 );
    EXPECT_EQ( options.output, "out.exr" );
    EXPECT_EQ( options.memory, 3U << 20 );
    EXPECT_EQ( options.tileSide, 64 );
    EXPECT_EQ( options.threads, 3 );
    EXPECT_EQ( options.strategy, Strategy::RANDOM );
    EXPECT_EQ( options.policy, Policy::STRICT );
    EXPECT_EQ( options.manager, Manager::ARENA );
    EXPECT_EQ( options.scratch, "/some/where" );
    EXPECT_EQ( options.scratchLimit, std::uint64_t{ 5 } << 30 );
    EXPECT_TRUE( options.isUnbuffered );
    EXPECT_EQ( options.report, ReportForm::JSON );
    EXPECT_TRUE( options.mustVerify );
    EXPECT_EQ( options.preview, "p.png" );
    EXPECT_EQ( options.dithering, Dithering::NONE );
    EXPECT_THAT( getLayerPaths( options ), ElementsAre( "a.exr" ) );
    EXPECT_FALSE( options.isWatching );
}

TEST( QvcompOptionsTest, SayHowLayersComeIntoTheFrame ) {
    const Options byDefault = parse( { "--size", "8x8", "-o", "b", "a" } );
    EXPECT_EQ( byDefault.fit, Fit::COVER );
    EXPECT_EQ( byDefault.mattes, Mattes::SOFT );
    EXPECT_EQ( byDefault.pixelAspect, 1.0 );
    EXPECT_EQ( byDefault.glow, 0.35 );
    EXPECT_EQ( getGlowSigma( byDefault.glowRadius, 2000 ), 40.0 );
    EXPECT_EQ( getGlowSigma( byDefault.glowRadius, 20 ), 1.0 );
    const Options options =
        parse( { "--size", "8x8", "-o", "b", "--fit=contain", "--matte", "none", "--pixel-aspect",
                 "1.5", "--glow", "0", "--glow-radius", "12.5", "a" } );
    EXPECT_EQ( options.fit, Fit::CONTAIN );
    EXPECT_EQ( options.mattes, Mattes::NONE );
    EXPECT_EQ( options.pixelAspect, 1.5 );
    EXPECT_EQ( options.glow, 0.0 );
    EXPECT_EQ( getGlowSigma( options.glowRadius, 2000 ), 12.5 );
    EXPECT_EQ(
        getGlowSigma( parse( { "--size", "8x8", "-o", "b", "--glow-radius=5%", "a" } ).glowRadius,
                      2000 ),
        100.0 );
}

TEST( QvcompOptionsTest, BareWatchTakesNoValue ) {
    const Options options = parse( { "--size", "8x8", "-o", "out.exr", "--watch", "5" } );
    EXPECT_TRUE( options.isWatching );
    EXPECT_EQ( options.watchSeconds, 1 );
    EXPECT_EQ( options.dithering, Dithering::POSITION );
    EXPECT_THAT( getLayerPaths( options ), ElementsAre( "5" ) );
    const Options other = parse( { "--size", "8x8", "-o", "out.exr", "--watch=0.25", "5" } );
    EXPECT_TRUE( other.isWatching );
    EXPECT_EQ( other.watchSeconds, 0.25 );
}

TEST( QvcompOptionsTest, AfterTwoDashesAllAreLayers ) {
    const Options options =
        parse( { "first.exr", "--size", "8x8", "-o", "out.exr", "--", "--verify", "-o" } );
    EXPECT_THAT( getLayerPaths( options ), ElementsAre( "first.exr", "--verify", "-o" ) );
    EXPECT_FALSE( options.mustVerify );
    EXPECT_EQ( options.output, "out.exr" );
}

TEST( QvcompOptionsTest, PathsLeadWhereTheSystemLeads ) {
    const OsFilePath above = std::filesystem::current_path().parent_path().string();
    const ScopedEnvironment temporary( "TMPDIR", "../.." );
    const Options options = parse( { "--size", "8x8", "-o", "../out.exr", "--preview", "../../p",
                                     "--scratch", "..", "../a.exr", "a/b.exr" } );
    EXPECT_EQ( options.output, above + "out.exr" );
    EXPECT_EQ( options.preview, above.getDirectoryName() + "p" );
    EXPECT_EQ( options.scratch, above );
    EXPECT_THAT( getLayerPaths( options ), ElementsAre( above + "a.exr", "a/b.exr" ) );
    EXPECT_EQ( parse( { "--size", "8x8", "-o", "x", "a" } ).scratch, above.getDirectoryName() );

    const struct {
        const char* path;
        const char* text;
    } cases[] = { { "missing/../x", "'missing/../x' leads nowhere: No such file" },
                  { "a\\b.exr", "a name in it contains a backslash" },
                  { "new/", "'new/' names a folder" },
                  { "old.exr/.", "'old.exr/.' names a folder" } };
    for( const auto& c : cases ) {
        for( const char* option : { "-o", "--preview", "--" } ) {
            EXPECT_THAT( raisedBy<Failure>( [&] {
                             parse( { option, c.path } );
                         } ),
                         HasSubstr( c.text ) );
        }
    }
}

TEST( QvcompOptionsTest, HelpAndVersionNeedNothingElse ) {
    EXPECT_TRUE( parse( { "--help" } ).wantsHelp );
    EXPECT_TRUE( parse( { "-h" } ).wantsHelp );
    EXPECT_TRUE( parse( { "--version" } ).wantsVersion );
}

TEST( QvcompOptionsTest, RefusedOnesSayWhatIsWrong ) {
    const std::pair<std::vector<const char*>, const char*> cases[] = {
        { {}, "--size" },
        { { "--size", "8x8", "a" }, "-o OUT.exr is missing" },
        { { "--size", "8x8", "-o", "b" }, "there is no layer" },
        { { "--size", "0x8" }, "not '0'" },
        { { "--size", "8x0" }, "not '0'" },
        { { "--size", "-8x8" }, "not '-8'" },
        { { "--size", "8x65537" }, "1 to 65536" },
        { { "--size", "99999999999999999999x8" }, "1 to 65536" },
        { { "--size", "640" }, "WIDTHxHEIGHT" },
        { { "--size", "8x8x8" }, "not '8x8'" },
        { { "--size" }, "--size needs a value" },
        { { "-o", "" }, "-o needs a value" },
        { { "--fast" }, "no option '--fast'" },
        { { "--verify=yes" }, "no option '--verify=yes'" },
        { { "--strategy", "fifo" }, "lru or random, not 'fifo'" },
        { { "--policy", "lax" }, "relaxed or strict" },
        { { "--fit", "all" }, "cover, contain or none, not 'all'" },
        { { "--matte", "hard" }, "soft or none" },
        { { "--pixel-aspect", "0" }, "from 0.01 to 100, not '0'" },
        { { "--glow", "-1" }, "from 0 to 100, not '-1'" },
        { { "--glow", "nan" }, "not 'nan'" },
        { { "--glow-radius", "0" }, "pixels from 0.1 to 65536, such as 40, or" },
        { { "--glow-radius", "101%" }, "0.01% to 100%, such as 2%, not '101%'" },
        { { "--glow-radius", "%" }, "not '%'" },
        { { "--manager", "pool" }, "heap or arena" },
        { { "--report", "xml" }, "text or json" },
        { { "--dither", "noise" }, "position or none" },
        { { "--tile", "15" }, "16 to 4096" },
        { { "--tile", "4097" }, "16 to 4096" },
        { { "--threads", "0" }, "1 to 256" },
        { { "--watch=0" }, "0.01 to 86400, such as 0.5, not '0'" },
        { { "--watch=-1" }, "not '-1'" },
        { { "--watch=nan" }, "not 'nan'" },
        { { "--watch=1s" }, "not '1s'" },
        { { "--watch=" }, "--watch needs a value" },
        { { "--size", "8x8", "-o", "x", "--preview", "x", "a" }, "the same file" },
    };
    for( const auto& c : cases ) {
        EXPECT_THAT( raisedBy<UsageFailure>( [&] { parseOptions( c.first ); } ),
                     HasSubstr( c.second ) );
    }
}

std::uint64_t parseMemory( const char* text ) {
    return *parse( { "--size", "8x8", "-o", "b", "--memory", text, "a" } ).memory;
}

TEST( QvcompMemorySizeTest, CountsInPowersOf1024AndRefusesWhatIsNoSize ) {
    EXPECT_EQ( parseMemory( "300" ), 300U );
    EXPECT_EQ( parseMemory( "64K" ), 65536U );
    EXPECT_EQ( parseMemory( "5M" ), 5242880U );
    EXPECT_EQ( parseMemory( "4294967296G" ), std::uint64_t{ 1 } << 62 );
    for( const char* text : { "", "0", "0M", "M", "12T", "1.5G", "-1", " 1", "0x10", "4294967297G",
                              "18446744073709551615", "99999999999999999999999" } ) {
        EXPECT_THROW( parseMemory( text ), UsageFailure ) << '"' << text << '"';
    }
}

} // namespace
} // namespace Qv::Comp
