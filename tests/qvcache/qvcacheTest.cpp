#include <tests/support/tempDirectory.h>
#include <tools/qvcache/command.h>

#include <resmgt/content/ctFileServer.h>
#include <resmgt/osal/test/testFiles.h>

#include <gmock/gmock.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <tuple>
#include <utility>

#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

namespace Qv::Cache {
namespace {

namespace fs = std::filesystem;
using ::testing::AllOf;
using ::testing::HasSubstr;
using ::testing::Not;

struct Outcome {
    int status;
    std::string output;
    std::string errors;
};

Outcome run( const std::vector<std::string>& arguments, bool isTerminal = false ) {
    std::vector<const char*> pointers( arguments.size() );
    std::ranges::transform( arguments, pointers.begin(), &std::string::c_str );
    std::ostringstream output;
    std::ostringstream errors;
    const int status = runCommand( pointers, output, errors, isTerminal );
    return { status, output.str(), errors.str() };
}

/// A cache with two blocks of a dead session and one of a living one, of 8192 bytes each.
class QvcacheTest : public ::testing::Test {
protected:
    QvcacheTest() {
        makeBlocks( 2 );
        _living = makeServer();
        _living->createTile( 8192 );
    }

    std::string at( const std::string& name = "" ) const {
        return ( name.empty() ? _directory.path() : _directory.path() / name ).string();
    }
    std::string write( const std::string& name, const std::string& text = "text" ) const {
        fs::create_directories( fs::path( at( name ) ).parent_path() );
        std::ofstream( at( name ) ) << text;
        return name;
    }
    std::unique_ptr<CtFileServer> makeServer() const {
        const CtFileOptions files{ .unbufferedIO = 0, .blockSize = 4096 };
        return std::make_unique<CtFileServer>( LiString( _directory.path().string() ),
                                               CtEngineOptions::getConfigured(), files );
    }
    /// What is left by a server that has ended.
    void makeBlocks( int number ) const {
        const std::unique_ptr<CtFileServer> server = makeServer();
        for( int i = 0; i < number; ++i ) {
            server->createTile( 8192 );
        }
    }
    std::string show( const std::string& action = "" ) const {
        std::vector<std::string> arguments{ _directory.path().string() };
        if( !action.empty() ) {
            arguments.push_back( action );
        }
        const Outcome outcome = run( arguments );
        EXPECT_EQ( outcome.errors, "" );
        EXPECT_EQ( outcome.status, 0 );
        return outcome.output;
    }

    TempDirectory _directory;
    std::unique_ptr<CtFileServer> _living;
};

TEST_F( QvcacheTest, ShowsSessionsAndWhatIsForeign ) {
    write( "notes.txt" );
    write( ".cs_init" );
    fs::create_symlink( "nowhere", at( "0000000009-0000000001" ) );
    write( "5000000000-0000000001" );
    write( "89/1/0000000777-0000000345", std::string( 100, 'x' ) );
    const std::string text = show();
    EXPECT_THAT( text, AllOf( HasSubstr( "         0  dead          2               16384\n" ),
                              HasSubstr( "         1  living        1                8192\n" ),
                              HasSubstr( "       777  unknown       1                 100\n" ),
                              HasSubstr( "4 blocks of 24676 bytes, 1 probe, 3 foreign entries\n" ),
                              Not( HasSubstr( "notes.txt" ) ) ) );
    EXPECT_THAT(
        show( "list" ),
        AllOf( HasSubstr( "block    dead           8192  0000000000-0000000002\n" ),
               HasSubstr( "block    living         8192  0000000001-0000000001\n" ),
               HasSubstr( "block    unknown         100  89/1/0000000777-0000000345\n" ),
               HasSubstr( "foreign  notes.txt\n" ), HasSubstr( "foreign  0000000009-0000000001\n" ),
               HasSubstr( "index    .session_idx\n" ), HasSubstr( "probe    .cs_init\n" ) ) );
}

TEST_F( QvcacheTest, PrunesWhatDeadSessionsHaveLeftAndNothingElse ) {
    write( "notes.txt" );
    write( ".cs_init" );
    write( "0000000777-0000000001" );
    const std::string before = show( "list" );
    EXPECT_THAT( run( { at(), "prune", "--dry-run" } ).output,
                 HasSubstr( "Would remove 2 blocks of 16384 bytes and 1 probe\n" ) );
    EXPECT_EQ( show( "list" ), before );
    EXPECT_THAT( show( "prune" ), HasSubstr( "Removed 2 blocks of 16384 bytes and 1 probe\n" ) );
    EXPECT_THAT( show(), HasSubstr( "2 blocks of 8196 bytes, 0 probes, 1 foreign entry\n" ) );
    EXPECT_TRUE( fs::exists( at( "0000000001-0000000001" ) ) );
    _living.reset();
    EXPECT_THAT( show( "prune" ), HasSubstr( "Removed 1 block of 8192 bytes and 0 probes\n" ) );
    // Without the index nobody knows who lives.
    makeBlocks( 1 );
    fs::remove( at( ".session_idx" ) );
    EXPECT_THAT( show( "prune" ), HasSubstr( "Removed 0 blocks" ) );
}

TEST_F( QvcacheTest, WhoMayNotWriteTheIndexRemovesNoBlocks ) {
    fs::permissions( at(), fs::perms::all );
    fs::permissions( at( ".session_idx" ), fs::perms( 0444 ) );
    const WithoutPowers reader;
    EXPECT_THAT( run( { at(), "prune", "--dry-run" } ).output,
                 AllOf( HasSubstr( "dead          2 " ), HasSubstr( "Would remove 0 blocks" ) ) );
    EXPECT_THAT( show( "prune" ), HasSubstr( "Removed 0 blocks" ) );
}

TEST_F( QvcacheTest, VerifyFindsNamesThatLeadAstrayAndBlocksThatCantBeRead ) {
    EXPECT_THAT( show( "verify" ), HasSubstr( "0 faults found\n" ) );
    const std::pair<std::string, const char*> cases[] = {
        { write( "12-34" ), "looks like a block and is none" },
        { write( "4294967296-0000000001" ), "looks like a block and is none" },
        { write( "89/1/0000000012-0000000345" ), "" },
        { write( "89/3/0000000012-0000000345" ), "is a second file of one block" },
        { write( "0000000014-0000000001" ), "is larger than a block can be" },
        // In their places, with 8, 12 and 0 bits a level.
        { write( "90/1/0000000012-0000000346" ), "" },
        { write( "349/0000000012-0000000349" ), "" },
        { write( "0/0/0/0000000012-0000000348" ), "" },
        { write( "notes" ), "" },
    };
    fs::resize_file( at( "0000000014-0000000001" ), std::uintmax_t{ 7 } << 30 );
    const Outcome outcome = run( { at(), "verify" }, true );
    EXPECT_EQ( outcome.status, 1 );
    for( const auto& [name, fault] : cases ) {
        const std::string line = '\n' + name + ' ';
        EXPECT_THAT( outcome.output, *fault != 0 ? HasSubstr( fault ) : HasSubstr( "" ) );
        EXPECT_EQ( outcome.output.find( line ) != std::string::npos, *fault != 0 ) << name;
    }
    EXPECT_THAT( outcome.output, HasSubstr( "345 is in a directory to which its number doesn't" ) );
    EXPECT_THAT( outcome.output, HasSubstr( "\n5 faults found\n" ) );
    EXPECT_THAT( outcome.errors,
                 AllOf( HasSubstr( "\rReading blocks: 0%" ), ::testing::EndsWith( "\r\x1B[K" ) ) );
}

TEST_F( QvcacheTest, JsonHasTheSame ) {
    write( "12-34" );
    write( "quo\"te\n" );
    const struct {
        std::vector<std::string> more;
        const char* expression;
    } cases[] = {
        { {},
          "r['sessions'][0] == dict(session=0, state='dead', blocks=2, bytes=16384) and "
          "(r['blocks'], r['bytes'], r['probes'], r['foreign']) == (3, 24576, 0, 2)" },
        { { "list" },
          "[e['path'] for e in r['entries'] if e['kind'] == 'foreign'] == ['12-34', "
          "'quo\\\"te\\n'] "
          "and dict(path='0000000001-0000000001', kind='block', session=1, state='living', "
          "bytes=8192) in r['entries']" },
        { { "verify" }, "[f['path'] for f in r['faults']] == ['12-34']" },
        { { "prune", "--dry-run" },
          "r['pruned'] == dict(blocks=2, bytes=16384, probes=0, dryRun=True)" },
    };
    for( const auto& c : cases ) {
        std::vector<std::string> arguments{ at(), "--report=json" };
        arguments.insert( arguments.end(), c.more.begin(), c.more.end() );
        std::ofstream( at() + ".json" ) << run( arguments ).output;
        const std::string script = "import json; r = json.load(open('" + at() + ".json" +
                                   "')); assert " + c.expression + ", r";
        EXPECT_EQ( std::system( ( QV_PYTHON " -c \"" + script + '"' ).c_str() ), 0 );
        fs::remove( at() + ".json" );
    }
}

TEST_F( QvcacheTest, SaysWhatIsWrongInOneLine ) {
    const std::tuple<std::vector<std::string>, int, const char*> cases[] = {
        { {}, 2, "directory of a media cache is missing" },
        { { at(), "clear" }, 2, "'clear' is none of list, verify and prune" },
        { { at(), "list", "more" }, 2, "'more' is one word too many" },
        { { at(), "--all" }, 2, "no option '--all'" },
        { { at(), "list", "--dry-run" }, 2, "--dry-run is for prune alone" },
        { { at(), "--report" }, 2, "--report needs a value" },
        { { at(), "--report", "xml" }, 2, "text or json, not 'xml'" },
        { { at( "missing\x1B\n" ) }, 1, "missing??" },
        { { at( ".session_idx" ) }, 1, ".session_idx" },
        { { at( "none/../x" ) }, 1, "none" },
    };
    for( const auto& [arguments, status, text] : cases ) {
        const Outcome outcome = run( arguments );
        EXPECT_EQ( outcome.status, status ) << text;
        EXPECT_EQ( outcome.output, "" );
        EXPECT_THAT( outcome.errors, AllOf( ::testing::StartsWith( "qvcache: " ), HasSubstr( text ),
                                            ::testing::EndsWith( "\n" ) ) );
        EXPECT_EQ( std::ranges::count( outcome.errors, '\n' ), 1 );
    }
    EXPECT_EQ( run( { "--help" } ).status, 0 );
    EXPECT_THAT( run( { at(), "--version" } ).output, HasSubstr( "qvcache " ) );
}

} // namespace
} // namespace Qv::Cache
