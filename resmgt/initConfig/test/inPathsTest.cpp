#include <resmgt/initApp/inInitAppInitFile.h>
#include <resmgt/initConfig/inPaths.h>
#include <resmgt/initConfig/src/deploymentVariables.h>
#include <resmgt/initVars/inInitUserInitFile.h>
#include <tests/support/scopedEnvironment.h>
#include <tests/support/tempDirectory.h>

#include <gtest/gtest.h>

#include <fstream>

namespace Qv {
namespace {

/// Resolves the package's variables as the environment and the user's file are now.
void resolve() {
    InInitUserInitFile::get().finalize();
    for( const auto* variable :
         { &getResourcesDirVariable(), &getOutputDirVariable(), &getPythonExecVariable() } ) {
        const_cast<InVariable<const char*>&>( *variable ).resolve();
    }
}

/// Resolves them anew when the test's environment is gone.
class InPathsTest : public ::testing::Test {
protected:
    void TearDown() override { resolve(); }
};

TEST_F( InPathsTest, PathsStandUnderTheInstallDirectoryUnlessAVariableSaysOtherwise ) {
    const OsFilePath install = InPaths::getInstallDir();
    const ScopedEnvironment home( "HOME", "/home/somebody" );
    const ScopedEnvironment config( "XDG_CONFIG_HOME", "/nowhere" );
    EXPECT_EQ( InPaths::getProgramDir(), install + "program" );
    EXPECT_EQ( InPaths::getScriptsDir(), install + "scripts" );
    EXPECT_EQ( InPaths::getAppInitFilePath(), install + "etc/@ombra.ini" );
    EXPECT_EQ( InPaths::getAppUserDocumentsDir(), "/home/somebody/ombra" );
    EXPECT_EQ( InPaths::getDefaultUserSettingsDir(), "/home/somebody/ombra/2013" );
    for( const char* const value : { "", "/set/there" } ) {
        const ScopedEnvironment resources( "QV_RESOURCES_DIR", value );
        const ScopedEnvironment output( "QV_OUTPUT_DIR", value );
        const ScopedEnvironment python( "QV_PYTHON_EXEC", value );
        resolve();
        const bool isSet = *value != 0;
        EXPECT_EQ( InPaths::getResourcesDir(), isSet ? value : install + "resources" );
        EXPECT_EQ( InPaths::getOutputDir(), isSet ? value : OsFilePath::getTempDir() );
        EXPECT_EQ( InPaths::getPythonExec(), isSet ? value : install + "program/python.exe" );
    }
}

TEST_F( InPathsTest, TheOutputDirectoryIsTheOneForTemporaryFilesAtTheStart ) {
    const ScopedEnvironment unset( "QV_OUTPUT_DIR" );
    const ScopedEnvironment temp( "QV_TEST_DIR", "/some/temp" );
    resolve();
    EXPECT_STREQ( getOutputDirVariable().getValue(), "/some/temp" );
}

TEST_F( InPathsTest, TheApplicationsFileServesVariablesAndTheUsersFileGoesBefore ) {
    const TempDirectory directory;
    const std::string path = directory.path() / "user.ini";
    std::ofstream( path ) << "ombra::deployment::pythonExec = /user\n";
    EXPECT_EQ( InInitAppInitFile::get().getFile().getPath(), InPaths::getAppInitFilePath() );
    const ScopedEnvironment unset( "QV_PYTHON_EXEC" );
    const ScopedEnvironment user( "QV_USER_INIT_FILE", path.c_str() );
    resolve();
    EXPECT_EQ( InPaths::getPythonExec(), "/user" );
    const auto& sources = getPythonExecVariable().getSources();
    ASSERT_EQ( sources.size(), 3U );
    EXPECT_STREQ( sources[0]->getSourceString(), "InInitEnv" );
    EXPECT_STREQ( sources[1]->getSourceString(), "InInitUserInitFile" );
    EXPECT_STREQ( sources[2]->getSourceString(), "InInitAppInitFile" );
    const ScopedEnvironment empty( "QV_PYTHON_EXEC", "" );
    resolve();
    EXPECT_EQ( InPaths::getPythonExec(), "/user" );
}

} // namespace
} // namespace Qv
