#include <resmgt/initInstallDir/inPathsImp.h>
#include <resmgt/osal/osUtils.h>
#include <tests/support/tempDirectory.h>

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <string>

namespace Qv {
namespace {

namespace fs = std::filesystem;

TEST( InPathsImpTest, TheInstallDirectoryIsAboveTheOneThatHoldsTheExecutable ) {
    EXPECT_EQ( InPathsImp::getInstallDir(),
               OsUtils::getModulePath().getDirectoryName().getDirectoryName() );
}

TEST( InPathsImpTest, AProgramIsFoundByTheDirectoryInItsNameElseAlongTheSearchPath ) {
    const TempDirectory directory;
    const std::string root = directory.path();
    for( const char* name : { "first", "second", "third" } ) {
        fs::create_directory( directory.path() / name );
    }
    fs::create_directory( directory.path() / "first/tool" );
    std::ofstream( directory.path() / "second/tool" );
    std::ofstream( directory.path() / "third/tool" );
    const std::string searchPath =
        root + "/none::" + root + "/first:" + root + "/second:" + root + "/third";
    const struct {
        std::string _name;
        std::string _searchPath;
        OsFilePath _dir;
    } cases[] = {
        { "/opt/x/bin/tool", searchPath, "/opt/x/bin" },
        { "bin/tool", searchPath, OsFilePath::getCurrentDir() + "bin" },
        { "../tool", searchPath, OsFilePath::getCurrentDir() + ".." },
        { "tool", searchPath, root + "/second" },
        { "tool", root + "/third:", root + "/third" },
        { "tool", root + "/first:" + root + "/none", "" },
        { "tool", "", "" },
        { "", searchPath, "" },
    };
    for( const auto& c : cases ) {
        EXPECT_EQ( InPathsImp::findProgramDir( c._name, c._searchPath ), c._dir ) << c._name;
    }
}

} // namespace
} // namespace Qv
