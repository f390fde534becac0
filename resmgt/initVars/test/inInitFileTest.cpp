#include <base/init/inBuildInfoMgr.h>
#include <base/init/inContextAliasMgrBase.h>
#include <base/init/inInit.h>
#include <base/init/inVariable.h>
#include <resmgt/initVars/inInitFile.h>
#include <resmgt/initVars/inInitReg.h>
#include <resmgt/initVars/inInitUserInitFile.h>
#include <resmgt/initVars/inTextFileEx.h>
#include <resmgt/initVars/src/initVarsVariables.h>
#include <tests/support/fakeBuildInfo.h>
#include <tests/support/raisedBy.h>
#include <tests/support/scopedEnvironment.h>
#include <tests/support/tempDirectory.h>

#include <gmock/gmock.h>

#include <fstream>
#include <sstream>
#include <string>

namespace Qv {
namespace {

using ::testing::AllOf;
using ::testing::EndsWith;
using ::testing::HasSubstr;

struct TestPackageTag {};

class TestPackage : public InPackageInit {
public:
    TestPackage()
        : InPackageInit( "initFiles" ) {}

    void preInitializePackage() override {}
    void postInitializePackage() override {}
    void initializePackage() override {}
    void finalizePackage() override {}
    void setPackageState( bool ) override {}
    const std::type_info* getIdentity() const override { return &typeid( TestPackageTag ); }
};

/// The user's file is read anew by each test.
class InInitFileTest : public ::testing::Test {
protected:
    void SetUp() override { InInitUserInitFile::get().finalize(); }
    void TearDown() override {
        InInitFile::setIgnoresEnvironment( false );
        InInitUserInitFile::get().finalize();
    }
    std::string store( const std::string& content ) const {
        const std::string path = _directory.path() / "user.ini";
        std::ofstream( path ) << content;
        return path;
    }

    const TempDirectory _directory;
    TestPackage _package;
};

TEST_F( InInitFileTest, TheUsersFileIsReadOnceAndServesEveryVariable ) {
    const ScopedEnvironment path(
        "QV_USER_INIT_FILE",
        store( "ombra::a = 5 # five\nombra::b = many\nombra::c = text\n" ).c_str() );
    InVariable<int> a( "ombra::a", _package );
    InVariable<int> b( "ombra::b", _package, InContextAlias<InInitDef, 0>( "3", "" ) );
    InVariable<const char*> c( "ombra::c", _package,
                               InContextAlias<InInitEnv, 0>( "QV_TEST_C", "" ) );
    const ScopedEnvironment noC( "QV_TEST_C" );
    a.resolve();
    store( "ombra::a = 6\n" );
    ::testing::internal::CaptureStderr();
    b.resolve();
    EXPECT_THAT( ::testing::internal::GetCapturedStderr(), HasSubstr( "/user.ini" ) );
    c.resolve();
    EXPECT_EQ( a.getValue(), 5 );
    EXPECT_EQ( b.getValue(), 3 );
    EXPECT_STREQ( c.getValue(), "text" );
    EXPECT_STREQ( c.getOrigin()->getSourceString(), "InInitUserInitFile" );
    EXPECT_THAT( c.getOrigin()->getDescription(), EndsWith( "/user.ini" ) );
    {
        const ScopedEnvironment setC( "QV_TEST_C", "closer" );
        c.resolve();
        EXPECT_STREQ( c.getValue(), "closer" );
    }
    InInitUserInitFile::get().finalize();
    a.resolve();
    EXPECT_EQ( a.getValue(), 6 );
}

TEST_F( InInitFileTest, NoFileIsNoErrorButOneThatCantBeReadIs ) {
    InVariable<int> variable( "ombra::a", _package, InContextAlias<InInitDef, 0>( "3", "" ) );
    for( const std::string& none : { std::string(), std::string( _directory.path() / "none" ) } ) {
        const ScopedEnvironment path( "QV_USER_INIT_FILE", none.c_str() );
        variable.resolve();
        EXPECT_EQ( variable.getValue(), 3 );
        InInitUserInitFile::get().finalize();
    }
    const ScopedEnvironment malformed( "QV_USER_INIT_FILE", store( "a-b = 5" ).c_str() );
    for( int i = 0; i < 2; ++i ) {
        EXPECT_THROW( variable.resolve(), InTextFileEx::ExInvalidToken );
        EXPECT_FALSE( variable.isValid() );
    }
    const ScopedEnvironment directory( "QV_USER_INIT_FILE", _directory.path().c_str() );
    EXPECT_THROW( variable.resolve(), InTextFileEx::ExCannotOpen );
}

/// Resolves the variable that names the user's file with this argument, and anew at the end.
class BoundArgument {
public:
    explicit BoundArgument( const char* argument ) { bind( { "program", argument }, 2 ); }
    ~BoundArgument() { bind( { "program" }, 1 ); }

private:
    static void bind( std::vector<const char*> args, int argc ) {
        args.push_back( nullptr );
        const char* const* argv = args.data();
        InContextAliasMgrBase::bindArguments( argc, argv );
        // The package resolves its variables once; this is the only way to have it do so again.
        const_cast<InVariable<const char*>&>( getUserInitFileVariable() ).resolve();
        // By then it has asked for the file itself.
        InInitUserInitFile::get().finalize();
    }
};

TEST_F( InInitFileTest, TheUsersFileIsWhereTheEnvironmentTheVariableOrTheDefaultSays ) {
    const ScopedEnvironment home( "HOME", "/home/somebody" );
    const ScopedEnvironment config( "XDG_CONFIG_HOME", "/nowhere" );
    const OsFilePath standard = "/home/somebody/ombra/2013/@ombra.ini";
    for( const bool ignores : { false, true } ) {
        InInitFile::setIgnoresEnvironment( ignores );
        for( const char* const environment : { "/env", "" } ) {
            const ScopedEnvironment set( "QV_USER_INIT_FILE", environment );
            const BoundArgument none( "other" );
            EXPECT_EQ( InInitFile::getUserInitFilePath(), ignores ? standard : environment );
        }
        const ScopedEnvironment set( "QV_USER_INIT_FILE", "/env" );
        const BoundArgument argument( "init:/arg" );
        EXPECT_EQ( InInitFile::getUserInitFilePath(), ignores ? "/arg" : "/env" );
    }
    const ScopedEnvironment unset( "QV_USER_INIT_FILE" );
    {
        const BoundArgument argument( "init:/arg" );
        EXPECT_EQ( InInitFile::getUserInitFilePath(), "/arg" );
        const BoundArgument above( "init:/tmp/../../arg" );
        EXPECT_EQ( InInitFile::getUserInitFilePath(), "/arg" );
        const BoundArgument typed( "init:../../arg" );
        EXPECT_EQ( InInitFile::getUserInitFilePath(),
                   OsFilePath::getCurrentDir().getDirectoryName().getDirectoryName() + "arg" );
    }
    EXPECT_EQ( InInitFile::getUserInitFilePath(), standard );
}

TEST_F( InInitFileTest, AFileThatTheCommandLineNamesMustBeThere ) {
    const std::string missing = _directory.path() / "none";
    InVariable<int> variable( "ombra::a", _package );
    const BoundArgument argument( ( "init:" + missing ).c_str() );
    {
        const ScopedEnvironment unset( "QV_USER_INIT_FILE" );
        EXPECT_THAT( raisedBy<InTextFileEx::ExCannotOpen>( [&] { variable.resolve(); } ),
                     AllOf( HasSubstr( missing ), HasSubstr( "No such file" ) ) );
        std::ofstream( missing ) << "ombra::a = 4";
        variable.resolve();
        EXPECT_EQ( variable.getValue(), 4 );
    }
    // What the environment names comes first, and may be written later.
    InInitUserInitFile::get().finalize();
    const ScopedEnvironment set( "QV_USER_INIT_FILE", ( missing + "2" ).c_str() );
    variable.resolve();
    EXPECT_FALSE( variable.isValid() );
}

TEST_F( InInitFileTest, KeysThatNoVariableAsksForAreListedWithTheNearestOneThatOneHas ) {
    const ScopedEnvironment path(
        "QV_USER_INIT_FILE", store( "ombra::threads::stackSize = 1\nombra::treads::stacksize = 2\n"
                                    "logdir = 3\nombra::logDir = 4\n" )
                                 .c_str() );
    InVariable<int> stackSize( "ombra::threads::stackSize", _package );
    InVariable<int> logDir( "ombra::logDir", _package );
    stackSize.resolve();
    logDir.resolve();
    std::ostringstream text;
    logDir.getOrigin()->dumpUnasked( text );
    EXPECT_EQ( text.str(), "Unknown key     : logdir\n"
                           "     Nearest    : ombra::logDir\n"
                           "Unknown key     : ombra::treads::stacksize\n"
                           "     Nearest    : ombra::threads::stackSize\n" );
}

TEST_F( InInitFileTest, ARegistryKeyIsAPathOrAValueOfTheApplicationAndHereNeverFound ) {
    const char* const whole = "HKEY_CURRENT_USER\\Software\\x";
    EXPECT_EQ( InInitReg::getPath( whole ), whole );
    EXPECT_EQ( InInitReg::getPath( "stackSize" ), "" );
    InBuildInfoMgr::registerAppInfo( OPtr<InBuildInfo>( new FakeBuildInfo( "painter" ) ) );
    EXPECT_EQ( InInitReg::getPath( "stackSize" ),
               "HKEY_LOCAL_MACHINE\\SOFTWARE\\Tessaroc\\Tessaroc Lumenar 2031\\stackSize" );
    InVariable<int> variable( "ombra::a", _package, InContextAlias<InInitReg, 0>( whole, "" ) );
    variable.resolve();
    EXPECT_FALSE( variable.isValid() );
}

} // namespace
} // namespace Qv
