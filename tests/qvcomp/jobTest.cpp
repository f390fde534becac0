#include <tests/qvcomp/testCommand.h>

#include <tests/support/raisedBy.h>
#include <tests/support/tempDirectory.h>
#include <tools/qvcomp/failure.h>
#include <tools/qvcomp/options.h>

#include <gmock/gmock.h>

#include <fstream>

#include <sys/stat.h>

namespace Qv::Comp {
namespace {

using ::testing::AllOf;
using ::testing::ElementsAre;
using ::testing::HasSubstr;

Options parse( const Arguments& arguments ) {
    std::vector<const char*> pointers;
    for( const std::string& argument : arguments ) {
        pointers.push_back( argument.c_str() );
    }
    return parseOptions( pointers );
}

class QvcompJobTest : public QvcompTest {
protected:
    std::string getJob() const { return ( _outputs.path() / "job.xml" ).string(); }
    std::string writeText( const std::string& text ) const {
        std::ofstream( getJob() ) << text;
        return getJob();
    }
};

TEST_F( QvcompJobTest, KeepsTheCommandLineAsItWasTyped ) {
    const Arguments typed{ "--size=64x48",
                           "--tile",
                           "32",
                           "--memory",
                           "3M",
                           "-o",
                           "o<&>.exr",
                           "--verify",
                           "--log",
                           "tracing",
                           "--strategy",
                           "random",
                           "--tile",
                           "64",
                           "--preview",
                           "it's \"p\".png",
                           "--unbuffered",
                           " blank.exr",
                           "--",
                           "--layer.exr",
                           "<TempFolder>/x.exr",
                           "\xc3\xa9.exr" };
    const Options before = parse( typed );
    const std::string text = makeJob( before.typed );
    EXPECT_THAT( text, AllOf( HasSubstr( "<job size=\"64x48\" tile=\"64\" memory=\"3M\" output=" ),
                              HasSubstr( "verify=\"True\"" ),
                              HasSubstr( "<layer file=\"&lt;TempFolder&gt;/x.exr\"/>" ) ) );
    const Options after = parse( { "--job", writeText( text ) } );
    EXPECT_EQ( makeJob( after.typed ), text );
    EXPECT_EQ( getLayerPaths( after ), getLayerPaths( before ) );
    EXPECT_NE( after.layers[2].path.toString().front(), '<' );
    EXPECT_EQ( after.output, before.output );
    EXPECT_EQ( after.preview, before.preview );
    EXPECT_EQ( std::tie( after.width, after.height, after.tileSide, after.memory, after.strategy,
                         after.mustVerify, after.isUnbuffered ),
               std::tie( before.width, before.height, before.tileSide, before.memory,
                         before.strategy, before.mustVerify, before.isUnbuffered ) );
    const std::string job = getJob();
    const char* const arguments[] = { "--job", "missing", "--job", job.c_str() };
    EXPECT_EQ( readLogOptions( arguments ).level, "" );
    EXPECT_EQ( readLogOptions( std::span( arguments ).subspan( 2 ) ).level, "Tracing" );
}

TEST_F( QvcompJobTest, TheCommandLineCountsMore ) {
    writeText( "<job size='8x8' output='a.exr' verify='true' unbuffered='False' watch='0.5'"
               " fit='none' matte='none' pixel-aspect='2' glow='0.5' glow-radius='3%'>"
               "<layer file='1'/><layer file='2'></layer></job>" );
    const Options options =
        parse( { "3", "--size", "9x9", "--fit=contain", "--job", getJob(), "4" } );
    EXPECT_EQ( options.width, 9 );
    EXPECT_EQ( options.output, "a.exr" );
    EXPECT_TRUE( options.mustVerify );
    EXPECT_FALSE( options.isUnbuffered );
    EXPECT_TRUE( options.isWatching );
    EXPECT_EQ( options.watchSeconds, 0.5 );
    EXPECT_EQ( options.fit, Fit::CONTAIN );
    EXPECT_EQ( options.mattes, Mattes::NONE );
    EXPECT_EQ( options.pixelAspect, 2.0 );
    EXPECT_EQ( options.glow, 0.5 );
    EXPECT_TRUE( options.glowRadius.isPercentage && options.glowRadius.value == 3.0 );
    EXPECT_THAT( getLayerPaths( options ), ElementsAre( "1", "2", "3", "4" ) );
    EXPECT_TRUE( parse( { "--job", "missing", "--help" } ).wantsHelp );
}

TEST_F( QvcompJobTest, WhatIsWrongIsReportedWithFileLineAndColumn ) {
    const struct {
        const char* text;
        const char* place;
        const char* problem;
    } cases[] = {
        { "", "line 1, column 1:", "" },
        { "<job size='8x8'>\n<layer file='a'/>", "line 2, column", "" },
        { "<job>\n  <layer>\n</job>", "line 3, column ", "" },
        { "<jobs/>", "line 1, column 5:", "no element 'jobs' here" },
        { "<job>\n <lair file='a'/></job>", "line 2, column 6:", "no element 'lair'" },
        { "<job><layer file='a'><layer file='b'/></layer></job>", "line 1", "" },
        { "<job\n size='8x8'\n sise='8x8'/>",
          "line 3, column 11:", "<job> has no attribute 'sise'" },
        { "<job help='True'/>", "line 1, column 16:", "no attribute 'help'" },
        { "<job job='x'/>", "line 1", "no attribute 'job'" },
        { "<job write-job='x'/>", "line 1", "no attribute 'write-job'" },
        { "<job>\n<layer name='a'/></job>", "line 2, column 17:", "needs the attribute 'file'" },
        { "<job>\n<layer name='a' file='b'/></job>",
          "line 2, column 15:", "<layer> has no attribute 'name'" },
        { "<job><layer file='a' verify='True'/></job>", "line 1",
          "<layer> has no attribute 'verify'" },
        { "<job opacity='0.5'><layer file='a'/></job>", "line 1",
          "<job> has no attribute 'opacity'" },
        { "<job><layer opacity='2' file='a'/></job>",
          "line 1, column 23:", "from 0 to 1, not '2'" },
        { "<job><layer file='a' offset='3'/></job>", "line 1", "such as 120,-40, not '3'" },
        { "<job frames='5-3'/>", "line 1", "such as 1001-1100 or 1001-1100x2" },
        { "<job><layer/></job>", "line 1, column 13:", "needs the attribute 'file'" },
        { "<job><layer></layer></job>", "line 1", "needs the attribute 'file'" },
        { "<job>text</job>", "line 1", "has no text" },
        { "<job size='8'/>", "line 1, column 13:", "WIDTHxHEIGHT, such as 1920x1080, not '8'" },
        { "<job tile='8'/>", "line 1", "16 to 4096, not '8'" },
        { "<job tile=''/>", "line 1", "tile needs a value that isn't empty" },
        { "<job verify='yes'/>", "line 1", "--verify takes True or False, not 'yes'" },
        { "<job log='loud'/>", "line 1", "not 'loud'" },
        { "<job output='a\\b'/>", "line 1", "contains a backslash" },
        { "<job>\n<layer file='x/'/></job>", "line 2, column 16:", "names a folder, not a file" },
        { "<job size='8x8' size='8x8'/>", "line 1", "" },
        { "<!DOCTYPE job [<!ENTITY a 'b'>]><job/>", "line 1", "" },
    };
    for( const auto& c : cases ) {
        writeText( c.text );
        const std::string reason = raisedBy<Failure>( [&] {
            parse( { "--job", getJob(), "-o", "x" } );
        } );
        EXPECT_THAT( reason, AllOf( HasSubstr( "job '" + getJob() + "', " ), HasSubstr( c.place ),
                                    HasSubstr( c.problem ) ) )
            << c.text;
        EXPECT_FALSE( reason.ends_with( '.' ) ) << reason;
        EXPECT_EQ( runInside( { "--job", getJob() } ).status, 1 ) << c.text;
    }
}

TEST_F( QvcompJobTest, WhatIsNoFileIsNotRead ) {
    const std::string pipe = ( _inputs.path() / "pipe" ).string();
    ASSERT_EQ( ::mkfifo( pipe.c_str(), 0600 ), 0 );
    const std::string huge = ( _inputs.path() / "huge" ).string();
    std::ofstream( huge ).flush();
    std::filesystem::resize_file( huge, ( 1 << 24 ) + 1 );
    const std::pair<std::string, const char*> cases[] = {
        { huge + "/", "names a folder, not a file" },
        { huge, "or it has more than 16777216 bytes" },
        { getJob(), "can't be read: No such file or directory" },
        { _inputs.path().string(), "is not a file" },
        { pipe, "is not a file" },
        { "", "--job needs a value that isn't empty" } };
    for( const auto& c : cases ) {
        EXPECT_THAT( raisedBy<Failure>( [&] {
                         parse( { "--job", c.first } );
                     } ),
                     HasSubstr( c.second ) );
    }
    std::string large = "<job>";
    for( int i = 0; i < 1 << 16; ++i ) {
        large += "<layer file='a'/>";
    }
    writeText( large + "</job>" );
    EXPECT_THAT( raisedBy<Failure>( [&] {
                     parse( { "--job", getJob() } );
                 } ),
                 HasSubstr( "line 1" ) );
}

TEST_F( QvcompJobTest, ANameThatNoDocumentHoldsIsntSaved ) {
    for( const char* name : { "bell\a.exr", "latin\xe9.exr" } ) {
        EXPECT_THAT( raisedBy<Failure>( [&] {
                         makeJob( std::vector<JobEntry>{ { "", name } } );
                     } ),
                     HasSubstr( "can't save the command line" ) );
    }
}

TEST_F( QvcompJobTest, ASavedJobMakesTheSamePicture ) {
    run( { "--write-job", getJob() } );
    const std::string picture = readFile( getOutput() );
    const std::string preview = readFile( getPreview() );
    const std::string job = readFile( getJob() );
    std::filesystem::remove( getOutput() );
    const Outcome again = runInside( { "--job", getJob(), "--write-job", getJob() } );
    EXPECT_EQ( again.status, 0 ) << again.errors;
    EXPECT_EQ( readFile( getOutput() ), picture );
    EXPECT_EQ( readFile( getPreview() ), preview );
    EXPECT_EQ( readFile( getJob() ), job );
    EXPECT_EQ( std::distance( std::filesystem::directory_iterator( _outputs.path() ), {} ), 3 );
}

TEST_F( QvcompJobTest, WithoutThePictureThereIsNoJobAndNothingThatIsNamedIsLost ) {
    const Outcome failed = runInside( makeArguments( { "--write-job", getJob(), "missing.exr" } ) );
    EXPECT_EQ( failed.status, 1 );
    EXPECT_FALSE( std::filesystem::exists( getJob() ) );
    run( { "--write-job", getJob() } );
    const std::string job = readFile( getJob() );
    const std::pair<Arguments, const char*> cases[] = {
        { makeArguments( { "--write-job", _layers[0] } ), "is also a layer" },
        { makeArguments( { "--write-job", getOutput().string() } ), "name the same file" },
        { makeArguments( { "--write-job", getPreview().string() } ), "name the same file" },
        { { "--job", getJob(), "-o", getJob() }, "is also a job" },
        { { "--job", getJob(), "--preview", getJob() }, "is also a job" },
        { { "--job", getJob(), "--log-file", getJob() }, "is the log file" } };
    for( const auto& c : cases ) {
        const Outcome outcome = runInside( c.first );
        EXPECT_EQ( outcome.status, 2 );
        EXPECT_THAT( outcome.errors, HasSubstr( c.second ) );
    }
    EXPECT_EQ( readFile( getJob() ), job );
}

TEST_F( QvcompJobTest, TheLogIsThatOfTheJob ) {
    const std::string log = ( _outputs.path() / "log.txt" ).string();
    run( { "--write-job", getJob(), "--log-file", log, "--log", "warning" } );
    std::filesystem::remove( log );
    const Outcome outcome =
        ChildCommand( { QVCOMP_PROGRAM, "--job", getJob(), "--log", "informational" } ).finish();
    EXPECT_EQ( outcome.status, 0 ) << outcome.errors;
    EXPECT_THAT( readFile( log ), HasSubstr( "picture made in" ) );
}

} // namespace
} // namespace Qv::Comp
