#include <resmgt/initConfig/inPaths.h>
#include <resmgt/initVars/inTextFileEx.h>
#include <resmgt/messages/msgFileGuard.h>
#include <resmgt/messages/msgManager.h>
#include <resmgt/messages/msgServer.h>
#include <resmgt/messages/msgSubscription.h>
#include <resmgt/osal/osFilePath.h>

#include <base/failure/assertions.h>
#include <base/init/inBuildInfoMgr.h>
#include <tests/support/fakeBuildInfo.h>
#include <tests/support/loggedLines.h>
#include <tests/support/raisedBy.h>
#include <tests/support/tempDirectory.h>

#include <gmock/gmock.h>

#include <algorithm>
#include <fstream>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <utility>

namespace Qv {
namespace {

namespace fs = std::filesystem;
using ::testing::internal::CaptureStdout;
using ::testing::internal::GetCapturedStdout;

/// A directory of message files of the test's own, and a new server.
class MsgServerTest : public ::testing::Test {
protected:
    MsgServerTest() {
        MsgServer::finalize();
        MsgServer::getInstance().setDirectory( OsFilePath( _folder.path() ) );
    }
    ~MsgServerTest() override {
        MsgServer::finalize();
        MsgServer::initialize();
    }

    void writeFile( const std::string& name, const std::string& content ) const {
        std::ofstream( _folder.path() / name, std::ios::binary ) << content;
    }

    /// The text that the current file has for the tag; "none" without one.
    static std::string find( const char* tag ) {
        MsgSubscription subscription( tag );
        MsgServer::getInstance().subscribe( subscription );
        return subscription.hasText() ? subscription.getText() : "none";
    }

    TempDirectory _folder;
};

TEST_F( MsgServerTest, FindsTextsAndDecodesTheirEscapes ) {
    struct Case {
        const char* line;
        const char* expected;
    };
    const Case cases[] = {
        { "tag = Can't open %1 = \"%2\"  # note", "Can't open %1 = \"%2\"" },
        { "tag", "" },
        { "tag = 1\\n\\\n  2\\n\\\n3", "1\n2\n3" },
        { "tag \\b\\f\\n\\r\\t\\v.", "\b\f\n\r\t\v." },
        { "tag = a\\#1\\\\nb", "a#1\\nb" },
        { "tag = \\q \\\" \\a", "\\q \\\" \\a" },
    };
    for( const Case& c : cases ) {
        writeFile( "a.msg", c.line );
        const MsgFileGuard guard( "a.msg" );
        EXPECT_EQ( find( "tag" ), c.expected );
    }
}

TEST_F( MsgServerTest, SubscribedTwiceKeepsWhatTheLaterFileHas ) {
    writeFile( "a.msg", "tag = a\n" );
    writeFile( "b.msg", "tag = b\n" );
    writeFile( "c.msg", "other = c\n" );
    MsgSubscription subscription( "tag" );
    const auto load = [&]( const char* file ) {
        const MsgFileGuard guard( file );
        MsgServer::getInstance().subscribe( subscription );
    };
    load( "a.msg" );
    const MsgSubscription copy( subscription );
    load( "b.msg" );
    EXPECT_STREQ( subscription.getText(), "b" );
    EXPECT_STREQ( copy.getText(), "a" );
    EXPECT_STREQ( copy.getTag(), "tag" );

    load( "c.msg" );
    EXPECT_FALSE( subscription.hasText() );
    EXPECT_FALSE( MsgSubscription( subscription ).hasText() );
}

/// The record of an application; a second one takes its place.
class AppInfo final : public FakeBuildInfo {
public:
    explicit AppInfo( int kind )
        : FakeBuildInfo( "painter" )
        , _kind( kind ) {}
    int getBuildKind() const override { return _kind; }

private:
    const int _kind;
};

TEST_F( MsgServerTest, AMissingTextIsLoggedAsAWarningToWhoeverDevelopsTheApplication ) {
    writeFile( "a.msg", "other = a\n" );
    const std::pair<std::optional<int>, const char*> cases[] = {
        { std::nullopt, "Warning" },
        { 0, "Support" },
        { InBuildInfo::DEVELOPMENT_BUILD, "Warning" } };
    for( const auto& [kind, level] : cases ) {
        if( kind ) {
            InBuildInfoMgr::registerAppInfo( OPtr<InBuildInfo>( new AppInfo( *kind ) ) );
        }
        LoggedLines lines;
        const MsgFileGuard guard( "a.msg" );
        EXPECT_EQ( find( "tag" ), "none" );
        EXPECT_THAT( lines.takeWithLevels(),
                     ::testing::ElementsAre( level +
                                             std::string( ": [Messages       ] Could not find "
                                                          "message with tag tag in " ) +
                                             ( _folder.path() / "a.msg" ).string() ) );
    }
}

TEST_F( MsgServerTest, EndOfAGuardMakesTheFormerFileCurrentAgain ) {
    writeFile( "a.msg", "tag = a\n" );
    writeFile( "b.msg", "tag = b\n" );
    {
        const MsgFileGuard outer( "a.msg" );
        {
            const MsgFileGuard inner( "b.msg" );
            EXPECT_EQ( find( "tag" ), "b" );
            EXPECT_THROW( MsgFileGuard( "away.msg" ), InTextFileEx::ExCannotOpen );
            EXPECT_EQ( find( "tag" ), "b" );
        }
        EXPECT_EQ( find( "tag" ), "a" );
    }
    EXPECT_THAT( raisedBy<ExAssertionFailed>( [] { find( "tag" ); } ),
                 ::testing::HasSubstr( "_currentFileGuard != 0" ) );
}

TEST_F( MsgServerTest, GuardsEndInAnyOrderAndTheNewestThatStandsCounts ) {
    for( const char* const name : { "a", "b", "c" } ) {
        writeFile( name, std::string( "tag = " ) + name );
    }
    std::string ends = "abc";
    do {
        std::map<char, std::unique_ptr<MsgFileGuard>> guards;
        for( const char* const name : { "a", "b", "c" } ) {
            guards[*name] = std::make_unique<MsgFileGuard>( name );
        }
        for( const char name : ends ) {
            EXPECT_EQ( find( "tag" ), std::string( 1, guards.rbegin()->first ) ) << ends;
            guards.erase( name );
        }
        EXPECT_THROW( find( "tag" ), ExAssertionFailed ) << ends;
    } while( std::ranges::next_permutation( ends ).found );
}

TEST_F( MsgServerTest, FileThatCantBeReadIsNamed ) {
    fs::create_directory( _folder.path() / "folder.msg" );
    writeFile( "bad.msg", "good = 1\nba-d = 2\n" );
    struct Case {
        const char* file;
        const char* text;
    };
    const Case cases[] = { { "away.msg", "Cannot open message file " },
                           { "folder.msg", "folder.msg" },
                           { "bad.msg", "Invalid token 'ba-d' encountered at line 2" } };
    for( const Case& c : cases ) {
        const std::string reason = raisedBy( [&] { const MsgFileGuard guard( c.file ); } );
        EXPECT_THAT( reason, ::testing::HasSubstr( c.text ) );
        EXPECT_THAT( reason, ::testing::HasSubstr( ( _folder.path() / c.file ).string() ) );
    }
}

TEST_F( MsgServerTest, WithoutADirectoryFilesComeFromTheResources ) {
    const fs::path messages = InPaths::getResourcesDir().toString() + "/messages";
    MsgServer::getInstance().setDirectory( OsFilePath() );
    EXPECT_THAT( raisedBy( [] { const MsgFileGuard guard( "away.msg" ); } ),
                 ::testing::HasSubstr( ( messages / "away.msg" ).string() ) );
}

class CountingManager final : public MsgManager {
public:
    explicit CountingManager( int& living )
        : _living( living ) {
        ++_living;
    }
    ~CountingManager() override { --_living; }

    void display( const char*, MsgTypes::Level ) override {}
    void enablePopups( bool isEnabled ) override { _isEnabled = isEnabled; }

    int& _living;
    bool _isEnabled = true;
};

TEST_F( MsgServerTest, OwnsTheManagerThatTheApplicationInstalls ) {
    int living = 0;
    MsgServer& server = MsgServer::getInstance();
    MsgManager* const first = server.getManager();
    ASSERT_NE( first, nullptr );
    auto* const manager = new CountingManager( living );
    EXPECT_EQ( OPtr<MsgManager>( server.setManager( OPtr<MsgManager>( manager ) ) ).get(), first );
    server.enablePopups( false );
    EXPECT_FALSE( manager->_isEnabled );

    OPtr<MsgManager> former( server.setManager( OPtr<MsgManager>() ) );
    EXPECT_EQ( former.get(), manager );
    EXPECT_EQ( living, 1 );
    EXPECT_EQ( server.getManager(), nullptr );
    server.enablePopups( true );
    EXPECT_TRUE( OPtr<MsgManager>( server.setManager( former ) ).isNull() );

    MsgServer::finalize();
    EXPECT_EQ( living, 0 );
    EXPECT_NE( MsgServer::getInstance().getManager(), nullptr );
}

} // namespace
} // namespace Qv
