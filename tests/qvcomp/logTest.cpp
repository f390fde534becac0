#include <tests/qvcomp/testCommand.h>

#include <tests/support/scopedEnvironment.h>
#include <tools/qvcomp/options.h>

#include <gmock/gmock.h>

namespace Qv::Comp {
namespace {

using ::testing::AllOf;
using ::testing::ContainsRegex;
using ::testing::HasSubstr;
using ::testing::Not;

class QvcompLogTest : public QvcompTest {
protected:
    std::string getLog() const { return ( _outputs.path() / "run.log" ).string(); }
    Outcome runCommand( const Arguments& more ) const {
        return ChildCommand( makeCommand( more ) ).finish();
    }
};

TEST_F( QvcompLogTest, TheLogHasWhatTheCommandDoesAndTheReportItsName ) {
    const ScopedEnvironment traces( "QV_TRACE_LEVELS", "MtThread" );
    // Some evictions: thousands at once would be more than the queue of the log takes.
    const Outcome outcome =
        runCommand( { "--log", "tracing", "--log-file", getLog(), "--memory", "512K" } );
    ASSERT_EQ( outcome.status, 0 ) << outcome.errors;
    EXPECT_THAT( outcome.output, ::testing::StartsWith( "{\n" ) );
    EXPECT_THAT( outcome.output, HasSubstr( "\"log\": \"" + getLog() + '"' ) );
    EXPECT_THAT( outcome.output,
                 ContainsRegex( "\"passes\": \\[\n    \\{ \"name\": \"Reading [^\n]*\n.*"
                                "\"name\": \"Writing\", \"steps\": [1-9][0-9]*, "
                                "\"seconds\": 0\\.[0-9]+ \\}\\]" ) );
    const std::string log = readFile( getLog() );
    EXPECT_THAT( log,
                 AllOf( HasSubstr( "[Informational ] [Qvcomp         ] picture \"" +
                                   getOutput().string() + "\": 200 x 120 pixels" ),
                        HasSubstr( "layer \"" + _layers[0] + "\": " ),
                        HasSubstr( "[Tracing       ] [Qvcomp         ] eviction 1, 4096 bytes" ),
                        ContainsRegex( "] pass \"[^\"]+\": [0-9]+ steps in 0\\.[0-9]+ s\n" ),
                        ContainsRegex( "\\[Tracing       \\] [^\n]*Starting: " ),
                        HasSubstr( "] picture made in " ) ) );
    // A further run adds to it; at a graver level only what goes wrong.
    const Outcome failed =
        runCommand( { "--log=ERROR", "--log-file=" + getLog(), "--scratch", "/nowhere" } );
    EXPECT_EQ( failed.status, 1 );
    const std::string both = readFile( getLog() );
    ASSERT_TRUE( both.starts_with( log ) );
    EXPECT_THAT( both.substr( log.size() ),
                 AllOf( HasSubstr( "[Error         ] [Messages       ] " ), HasSubstr( "/nowhere" ),
                        Not( HasSubstr( "Qvcomp" ) ) ) );
}

TEST_F( QvcompLogTest, WithoutAFileTheReportNamesTheOneThatTheRunHasMade ) {
    const ScopedEnvironment unspecified( "QV_LOG_UNSPECIFIED" );
    const ScopedEnvironment folder( "QV_LOG_DIR", _outputs.path().c_str() );
    const Outcome outcome = runCommand( {} );
    EXPECT_EQ( outcome.errors, "" );
    const std::string label = "\"log\": \"";
    const std::size_t begin = outcome.output.find( label ) + label.size();
    const std::string file =
        outcome.output.substr( begin, outcome.output.find( '"', begin ) - begin );
    EXPECT_THAT( file, ::testing::StartsWith( _outputs.path().string() + "/qvcomp_" ) );
    EXPECT_THAT( readFile( file ), HasSubstr( "] picture made in " ) );
}

TEST_F( QvcompLogTest, LinesThatAVariableSendsToStandardOutputAreBesideTheReport ) {
    const ScopedEnvironment echo( "QV_LOG_INFORMATIONAL", "%" );
    EXPECT_THAT( runCommand( {} ).output,
                 AllOf( HasSubstr( "] pass \"" ), HasSubstr( "\"log\": null" ) ) );
}

TEST_F( QvcompLogTest, ALogThatCantBeOpenedEndsTheCommandBeforeItsWork ) {
    const struct {
        std::string file;
        const char* reason;
    } cases[] = { { "/nowhere/run.log", "No such file or directory" },
                  { _outputs.path().string(), "Is a directory" } };
    for( const auto& c : cases ) {
        const Outcome outcome = runCommand( { "--log-file", c.file } );
        EXPECT_EQ( outcome.status, 1 );
        EXPECT_THAT( outcome.errors,
                     ::testing::EndsWith( "\nqvcomp: '" + c.file +
                                          "' can't be the log file: " + c.reason + "\n" ) );
    }
    EXPECT_FALSE( std::filesystem::exists( getOutput() ) );
    // What only a variable names is the affair of whoever set it.
    const ScopedEnvironment informational( "QV_LOG_INFORMATIONAL", "/nowhere/run.log" );
    const Outcome outcome = runCommand( { "--log-file", getLog() } );
    EXPECT_EQ( outcome.status, 0 ) << outcome.errors;
    EXPECT_THAT( outcome.output, HasSubstr( "\"log\": null" ) );
}

TEST_F( QvcompLogTest, AFileThatIsNamedElsewhereIsNotWritten ) {
    const std::string layer = readFile( _layers[0] );
    const std::filesystem::path link = _outputs.path() / "link.log";
    std::filesystem::create_symlink( _layers[0], link );
    for( const std::string& file : { _layers[0], link.string(), getOutput().string() } ) {
        const Outcome outcome = runCommand( { "--log-file", file } );
        EXPECT_EQ( outcome.status, 2 );
        EXPECT_EQ(
            outcome.errors,
            "qvcomp: '" + file +
                "' is the log file, and can't be a layer or an output as well; try --help\n" );
    }
    EXPECT_EQ( readFile( _layers[0] ), layer );
    EXPECT_FALSE( std::filesystem::exists( getOutput() ) );
    // A pattern is expanded only once the log is there, and still before the work.
    const std::string file = ( _outputs.path() / "other.exr" ).string();
    const ScopedEnvironment variable( "QV_TEST_OUTPUT", file.c_str() );
    const Outcome outcome = runCommand( { "-o", "<Env:QV_TEST_OUTPUT>", "--log-file", file } );
    EXPECT_EQ( outcome.status, 2 );
    EXPECT_THAT( outcome.errors,
                 HasSubstr( "' is the log file, and can't be a layer or an output as well" ) );
    EXPECT_THAT( readFile( file ), ::testing::StartsWith( "Logger started on " ) );
}

TEST( QvcompLogOptionsTest, LevelsAreFoundInAnyCaseWithHyphensForBlanks ) {
    const struct {
        std::vector<const char*> arguments;
        const char* level;
        const char* file;
    } cases[] = { { { "--log", "fatal-ERROR" }, "Fatal Error", "" },
                  { { "--log=User Message", "--help" }, "User Message", "" },
                  { { "--log", "informative" }, "", "" },
                  { { "-o", "--log", "--log-file", "a" }, "", "a" },
                  { { "--", "--log", "tracing" }, "", "" },
                  { { "--log-file=b", "--unknown", "--log=error" }, "", "b" } };
    for( const auto& c : cases ) {
        const LogOptions log = readLogOptions( c.arguments );
        EXPECT_EQ( log.level, c.level );
        EXPECT_EQ( log.file, c.file );
    }
}

} // namespace
} // namespace Qv::Comp
