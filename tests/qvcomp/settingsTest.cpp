#include <tests/qvcomp/testCommand.h>

#include <base/init/inBuildInfoMgr.h>
#include <tests/support/scopedEnvironment.h>

#include <gmock/gmock.h>

#include <fstream>
#include <map>

namespace Qv::Comp {
namespace {

namespace fs = std::filesystem;
using ::testing::HasSubstr;
using ::testing::StartsWith;

/// What the command, as a process of its own, takes from outside of its command line.
class QvcompSettingsTest : public ::testing::Test {
protected:
    QvcompSettingsTest() {
        set( "QV_USER_INIT_FILE", at( "user.ini" ) );
        set( "QV_INSTALL_DIR", at( "app" ) );
        set( "QV_RESOURCES_DIR", QVCOMP_RESOURCES );
    }

    std::string at( const std::string& name ) const { return ( _folder.path() / name ).string(); }

    void set( const char* name, const std::string& value ) {
        _environment.erase( name );
        _environment.try_emplace( name, name, value.c_str() );
    }

    std::string write( const std::string& name, const std::string& text ) const {
        fs::create_directories( fs::path( at( name ) ).parent_path() );
        std::ofstream( at( name ), std::ios::binary ) << text;
        return at( name );
    }

    Outcome run( const Arguments& more = {} ) const {
        Arguments arguments{ QVCOMP_PROGRAM, "--size",        "60x40",    "--tile", "16",
                             "-o",           at( "out.exr" ), "--report", "json" };
        arguments.insert( arguments.end(), more.begin(), more.end() );
        arguments.push_back( _layers[0] );
        return ChildCommand( arguments ).finish();
    }

    std::uint64_t getUsed( const char* key, const Arguments& more = {} ) const {
        const Outcome outcome = run( more );
        EXPECT_EQ( outcome.status, 0 ) << outcome.errors;
        return getNumber( outcome.output, key );
    }

    /// A run that says `text` and makes nothing.
    Outcome refuse( const std::string& text, const Arguments& more = {} ) const {
        const Outcome outcome = run( more );
        EXPECT_EQ( outcome.status, 1 );
        EXPECT_THAT( outcome.errors, HasSubstr( text ) );
        EXPECT_FALSE( fs::exists( at( "out.exr" ) ) );
        return outcome;
    }

    /// Directory of messages of the test's own.
    void setMessages( const std::string& text ) {
        write( "resources/messages/qvcomp.msg", text );
        set( "QV_RESOURCES_DIR", at( "resources" ) );
    }

    TempDirectory _folder;
    const Arguments _layers = writeLayers( _folder.path() );
    std::map<std::string, ScopedEnvironment> _environment;
};

TEST_F( QvcompSettingsTest, NeitherMakesNorNeedsTheDirectoryForTemporaryFiles ) {
    const ScopedEnvironment noTestDir( "QV_TEST_DIR" );
    fs::create_directory( at( "temp" ) );
    set( "TMPDIR", at( "temp" ) );
    {
        const ScopedEnvironment logs( "QV_LOG_DIR", at( "logs" ).c_str() );
        EXPECT_EQ( run( { "--scratch", at( "" ) } ).status, 0 );
        EXPECT_TRUE( fs::is_empty( at( "temp" ) ) );
    }
    for( const char* nowhere : { "TMPDIR", "HOME", "XDG_CACHE_HOME" } ) {
        set( nowhere, at( "none/at/all" ) );
    }
    const Outcome outcome = run( { "--scratch", at( "" ) } );
    EXPECT_EQ( outcome.status, 0 ) << outcome.errors;
}

TEST_F( QvcompSettingsTest, OptionBeforeEnvironmentBeforeUsersFileBeforeApplications ) {
    EXPECT_GE( getUsed( "threads" ), 1U );
    write( "app/etc/@ombra.ini", "ombra::qvcomp::threads = 3\nombra::qvcomp::memory = 2G\n" );
    EXPECT_EQ( getUsed( "threads" ), 3U );
    EXPECT_EQ( getUsed( "limitBytes" ), std::uint64_t{ 1 } << 31 );
    write( "user.ini", "ombra::qvcomp::threads = 4\nombra::qvcomp::memory = 2M\n" );
    EXPECT_EQ( getUsed( "threads" ), 4U );
    EXPECT_EQ( getUsed( "limitBytes" ), 2U << 20 );
    set( "QVCOMP_THREADS", "5" );
    set( "QVCOMP_MEMORY", "3M" );
    EXPECT_EQ( getUsed( "threads" ), 5U );
    EXPECT_EQ( getUsed( "limitBytes" ), 3U << 20 );
    EXPECT_EQ( getUsed( "threads", { "--threads", "6" } ), 6U );
    EXPECT_EQ( getUsed( "limitBytes", { "--memory=4M" } ), 4U << 20 );
    // Empty ones count as not set.
    set( "QVCOMP_THREADS", "" );
    set( "QVCOMP_MEMORY", "" );
    set( "QVCOMP_SCRATCH", "" );
    EXPECT_EQ( getUsed( "threads" ), 4U );
    EXPECT_EQ( getUsed( "limitBytes" ), 2U << 20 );
}

TEST_F( QvcompSettingsTest, WrongValueIsToldWithItsSourceUnlessAnOptionWins ) {
    const struct {
        const char* variable;
        const char* option;
        const char* value;
        const char* text;
    } cases[] = {
        { "QVCOMP_THREADS", "--threads=2", "0",
          "threads from QVCOMP_THREADS (InInitEnv) takes a number from 1 to 256, not '0'" },
        { "QVCOMP_THREADS", "--threads=2", "257", "not '257'" },
        { "QVCOMP_THREADS", "--threads=2", "many", "not 'many'" },
        { "QVCOMP_MEMORY", "--memory=2M", "1X",
          "ombra::qvcomp::memory from QVCOMP_MEMORY (InInitEnv) takes a number of bytes such as "
          "64M or 2G, not '1X'" },
        { "QVCOMP_MEMORY", "--memory=2M", "5K", "QVCOMP_MEMORY (InInitEnv) 5120 is too little" },
        { "QVCOMP_SCRATCH", "--scratch=/tmp", "/proc", "can't keep tiles in '/proc'" },
    };
    for( const auto& c : cases ) {
        SCOPED_TRACE( std::string( c.variable ) + '=' + c.value );
        const ScopedEnvironment environment( c.variable, c.value );
        EXPECT_EQ( refuse( c.text ).output, "" );
        EXPECT_EQ( run( { c.option } ).status, 0 );
        fs::remove( at( "out.exr" ) );
    }
    write( "user.ini", "ombra::qvcomp::threads = 700\n" );
    refuse( at( "user.ini" ) + " (InInitUserInitFile) takes a number" );
}

TEST_F( QvcompSettingsTest, PatternsAreExpandedInEachPath ) {
    set( "QVCOMP_TEST", at( "" ) );
    fs::create_directory( at( "scratch" ) );
    fs::rename( _layers[1], at( "layer.exr" ) );
    const Outcome outcome =
        run( { "-o", "<Env:QVCOMP_TEST>/out-<AppVersion>.exr", "--preview=<Env:QVCOMP_TEST>/p.png",
               "--scratch", "<Env:QVCOMP_TEST>/scratch", "<Env:QVCOMP_TEST>/layer.exr" } );
    EXPECT_EQ( outcome.status, 0 ) << outcome.errors;
    EXPECT_TRUE( fs::exists( at( "p.png" ) ) );
    const std::string version = InBuildInfoMgr::getAppInfo().getVersion();
    EXPECT_TRUE( fs::exists( at( "out-" + version + ".exr" ) ) );

    set( "QVCOMP_TEST_FILE", at( "out.exr/" ) );
    refuse( "out.exr/' names a folder", { "-o", "<Env:QVCOMP_TEST_FILE>" } );
    set( "QVCOMP_SCRATCH", "<Env:QVCOMP_TEST>/away" );
    refuse( "in '" + at( "away" ) + "'" );
}

TEST_F( QvcompSettingsTest, TranslatedMessagesAreSaid ) {
    std::string text = readFile( QVCOMP_RESOURCES "/messages/qvcomp.msg" );
    const std::string original = "layer '%1' doesn't exist";
    ASSERT_NE( text.find( original ), std::string::npos );
    text.replace( text.find( original ), original.size(),
                  "il n'y a pas de plan \xC2\xAB %1 \xC2\xBB" );
    setMessages( text );
    const Outcome outcome = refuse( "plan", { "/no%2where" } );
    EXPECT_EQ( outcome.output, "" );
    EXPECT_EQ( outcome.errors, "qvcomp: il n'y a pas de plan \xC2\xAB /no%2where \xC2\xBB\n" );
}

TEST_F( QvcompSettingsTest, UnusableMessageFileIsSaidAndHelpStaysThere ) {
    set( "QV_RESOURCES_DIR", at( "resources" ) );
    const auto expectUnusable = [&]( const std::string& text ) {
        // A wrong command line couldn't be reported.
        for( const Arguments& more : { Arguments{}, Arguments{ "--fast" } } ) {
            EXPECT_THAT( refuse( text, more ).errors, StartsWith( "qvcomp: " + text ) );
        }
        for( const char* const question : { "--help", "--version" } ) {
            const Outcome answer = ChildCommand( { QVCOMP_PROGRAM, question } ).finish();
            EXPECT_EQ( answer.status, 0 ) << answer.errors;
            EXPECT_THAT( answer.output, HasSubstr( "qvcomp" ) );
        }
    };
    expectUnusable( "Cannot open message file " + at( "resources/messages/qvcomp.msg" ) );
    setMessages( "no-name = x\n" );
    expectUnusable( "Invalid token 'no-name' encountered at line 1" );
    setMessages( "usage = %1\n" );
    expectUnusable( "the message file qvcomp.msg has no text for 'setting'" );
}

} // namespace
} // namespace Qv::Comp
