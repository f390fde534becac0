#include <resmgt/resmgtLib/src/substitutionPatterns.h>

#include <base/callbacks/cbFunction.h>
#include <base/failure/assertions.h>
#include <base/init/inBuildInfoMgr.h>
#include <base/init/src/inPackageFrame.h>
#include <resmgt/initConfig/inPaths.h>
#include <resmgt/literals/liDate.h>
#include <resmgt/literals/liStringSubstituter.h>
#include <resmgt/osal/osFilePath.h>
#include <resmgt/osal/osUtils.h>
#include <resmgt/osal/osWorkingDirectory.h>
#include <tests/support/fakeBuildInfo.h>
#include <tests/support/scopedEnvironment.h>
#include <tests/support/tempDirectory.h>

#include <gtest/gtest.h>

#include <deque>
#include <filesystem>
#include <functional>
#include <string>
#include <vector>

namespace Qv {

namespace {

std::string expand( const std::string& text ) {
    return LiStringSubstituter().substitute( text );
}

/// Stops and starts all packages.
class Restart {
public:
    Restart() { InPackageFrame::getInstance().stop(); }
    ~Restart() { InPackageFrame::getInstance().start(); }
};

TEST( SubstitutionPatternsTest, EachExpandsToTheValueOfTheMomentInAllSpellings ) {
    const TempDirectory temp;
    const OsWorkingDirectory::Guard inTemp( temp.path().c_str() );
    const std::string home = std::filesystem::current_path();
    const ScopedEnvironment homeVariable( "HOME", home.c_str() );
    const ScopedEnvironment tempVariable( "QV_TEST_DIR", "/qv/temp" );
    const ScopedEnvironment userVariable( "LOGNAME", "somebody" );
    const struct {
        std::vector<const char*> patterns;
        std::function<std::string()> value;
    } rows[] = {
        { { "<InstallFolder>", "<InstallDir>" },
          [] { return InPaths::getInstallDir().toString(); } },
        { { "<PythonExec>" }, [] { return InPaths::getPythonExec().toString(); } },
        { { "<OutputFolder>", "<OutputDir>" }, [] { return InPaths::getOutputDir().toString(); } },
        { { "<CurrentFolder>", "<CurrentDir>", "<OsUserHomeFolder>" }, [&] { return home; } },
        { { "<TempFolder>", "<TempDir>" }, [] { return "/qv/temp"; } },
        { { "<Time>" }, [] { return LiDate::now().getText( "%H%M%S" ); } },
        { { "<Date>" }, [] { return LiDate::now().getText( "%y-%m-%d" ); } },
        { { "<OsUser>" }, [] { return OsUtils::getUserName( true ); } },
        { { "<OsUserDocsFolder>" }, [] { return OsFilePath::getUserDocumentsDir().toString(); } },
        { { "<AppUserDocsFolder>" },
          [] { return ( OsFilePath::getUserDocumentsDir() + "ombra" ).toString(); } },
        { { "<HostName>" }, [] { return OsUtils::getHostName(); } },
    };
    for( const auto& row : rows ) {
        for( const char* const pattern : row.patterns ) {
            std::string expanded;
            std::string value;
            // Time goes on meanwhile.
            do {
                value = row.value();
                expanded = expand( pattern );
            } while( value != row.value() );
            EXPECT_EQ( expanded, value ) << pattern;
            EXPECT_NE( expanded, pattern );
        }
    }
}

TEST( SubstitutionPatternsTest, TheEnvironmentIsThatOfTheStartAndAStopLeavesNoPattern ) {
    const std::pair<std::string, std::string> variables[] = {
        { "QV_PLAIN", "a<Date>b" },
        { "QV_EMPTY", "" },
        { "QV_BYTES", "\xff\xc3(\xe2\x82" },
        { "QV_HUGE", std::string( 1 << 20, '<' ) },
        { "QV_A>B", "bracket" },
        { "Q\xff V", "name" },
    };
    const auto patternOf = []( const std::string& name ) { return "<Env:" + name + '>'; };
    {
        std::deque<ScopedEnvironment> environment;
        const Restart restart;
        for( const auto& [name, value] : variables ) {
            environment.emplace_back( name.c_str(), value.c_str() );
        }
        const std::string text = "<InstallFolder><TempDir><Date><AppVersion><Env:PATH>";
        EXPECT_EQ( expand( text ), text ) << "while nothing is started";
    }
    const ScopedEnvironment changed( "QV_PLAIN", "changed" );
    const ScopedEnvironment late( "QV_LATE", "late" );
    for( const auto& [name, value] : variables ) {
        EXPECT_EQ( expand( '[' + patternOf( name ) + ']' ), '[' + value + ']' ) << name;
    }
    for( const char* const text : { "<Env:QV_LATE>", "<Env:>", "<Env>", "<Env:QV_PLAIN",
                                    "<Env:qv_plain>", "<Env: QV_PLAIN>", "<date>", "< Date >" } ) {
        EXPECT_EQ( expand( text ), text );
    }
}

TEST( SubstitutionPatternsTest, ARegistrationThatFailsLeavesNoPattern ) {
    const ScopedEnvironment variable( "QV_TAKEN", "value" );
    CbFunction<std::string> other( []( std::string& text ) { text = "other"; } );
    SubstitutionPatterns::unregisterAll();
    LiStringSubstituter::registerPattern( "<Env:QV_TAKEN>", &other );
    EXPECT_THROW( SubstitutionPatterns::registerAll(), ExProgramAborted );
    ConstIterator<std::string> left = LiStringSubstituter().getPatterns();
    EXPECT_EQ( *left, "<Env:QV_TAKEN>" );
    EXPECT_TRUE( ( ++left ).isAtEnd() );
    LiStringSubstituter::unregisterPattern( &other );
    SubstitutionPatterns::registerAll();
    EXPECT_EQ( expand( "<Env:QV_TAKEN>" ), "value" );
}

TEST( SubstitutionPatternsTest, TheApplicationsVersionNeedsItsRecord ) {
    ASSERT_FALSE( InBuildInfoMgr::isAppInfoRegistered() );
    EXPECT_EQ( expand( "v<AppVersion>" ), "v<AppVersion>" );
    InBuildInfoMgr::registerAppInfo( OPtr<InBuildInfo>( new FakeBuildInfo( "painter" ) ) );
    EXPECT_EQ( expand( "v<AppVersion>" ), "v2031" );
}

} // namespace

} // namespace Qv
