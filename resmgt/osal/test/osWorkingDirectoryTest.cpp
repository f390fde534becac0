#include <base/failure/exSysError.h>
#include <resmgt/osal/osFileEx.h>
#include <resmgt/osal/osWorkingDirectory.h>
#include <resmgt/osal/test/failingCalls.h>
#include <tests/support/tempDirectory.h>

#include <gmock/gmock.h>

#include <cerrno>
#include <filesystem>
#include <fstream>
#include <string>
#include <unistd.h>

namespace Qv {
namespace {

using ::testing::HasSubstr;

class OsWorkingDirectoryTest : public ::testing::Test {
protected:
    ~OsWorkingDirectoryTest() override { std::filesystem::current_path( _former ); }

    /// Makes it too.
    OsFilePath below( const std::string& name ) const {
        std::filesystem::create_directories( _root / name );
        return OsFilePath( ( _root / name ).string() );
    }

    const std::filesystem::path _former = std::filesystem::current_path();
    const TempDirectory _directory;
    const std::filesystem::path _root = std::filesystem::canonical( _directory.path() );
};

TEST_F( OsWorkingDirectoryTest, IsWhereItWasSetToAndTheGuardGoesBack ) {
    const OsFilePath start = below( "a \xFF" );
    OsWorkingDirectory::set( start );
    EXPECT_EQ( OsWorkingDirectory::get(), start );
    {
        const OsWorkingDirectory::Guard guard( below( "a \xFF/b" ) );
        EXPECT_EQ( std::filesystem::current_path(), _root / "a \xFF/b" );
        OsWorkingDirectory::set( OsFilePath( ".." ) );
        EXPECT_EQ( OsWorkingDirectory::get(), start );
        const OsWorkingDirectory::Guard inner;
        OsWorkingDirectory::set( OsFilePath( "/" ) );
        EXPECT_EQ( OsWorkingDirectory::get(), OsFilePath( "/" ) );
    }
    EXPECT_EQ( OsWorkingDirectory::get(), start );
    const std::string deep( 200, 'd' );
    OsWorkingDirectory::set( below( deep + '/' + deep + '/' + deep ) );
    EXPECT_EQ( OsWorkingDirectory::get().getNbComponents(), below( "" ).getNbComponents() + 3 );
}

TEST_F( OsWorkingDirectoryTest, WhatIsNoDirectoryIsRefusedAndNothingChanges ) {
    const OsFilePath start = below( "start" );
    OsWorkingDirectory::set( start );
    std::ofstream( _root / "file" ) << "x";
    std::filesystem::create_symlink( "absent", _root / "dangling" );
    const OsFilePath paths[] = { OsFilePath(),
                                 OsFilePath( ( _root / "absent" ).string() ),
                                 OsFilePath( ( _root / "file" ).string() ),
                                 OsFilePath( ( _root / "file/x" ).string() ),
                                 OsFilePath( ( _root / "dangling" ).string() ),
                                 OsFilePath( start.toString() + '\0' + "x" ),
                                 OsFilePath( "C:/" ) };
    for( const OsFilePath& path : paths ) {
        try {
            const OsWorkingDirectory::Guard guard( path );
            ADD_FAILURE() << path.getChars() << " is no directory";
        } catch( const OsFileEx::ExInvalidPath& ex ) {
            EXPECT_THAT( ex.getReason(), HasSubstr( "OsWorkingDirectory::set" ) );
        }
        EXPECT_EQ( OsWorkingDirectory::get(), start );
    }
    const FailingCall denied( "chdir", EACCES );
    try {
        OsWorkingDirectory::set( start );
        ADD_FAILURE() << "the system refused";
    } catch( const ExSysErrorWindows& ex ) {
        EXPECT_THAT( ex.getReason(), HasSubstr( "OsWorkingDirectory::set" ) );
        EXPECT_THAT( ex.getReason(), HasSubstr( start.getChars() ) );
        EXPECT_THAT( ex.getReason(), HasSubstr( "Permission denied" ) );
    }
}

TEST_F( OsWorkingDirectoryTest, DirectoryThatNoPathTellsIsAnError ) {
    // As a path it would be x/y, which is there too.
    static_cast<void>( below( "x/y" ) );
    std::filesystem::create_directory( _root / "x\\y" );
    std::filesystem::current_path( _root / "x\\y" );
    EXPECT_THROW( OsWorkingDirectory::get(), OsFileEx::ExInvalidPath );
    EXPECT_THROW( OsWorkingDirectory::Guard( OsFilePath( "/" ) ), OsFileEx::ExInvalidPath );
    EXPECT_EQ( std::filesystem::current_path(), _root / "x\\y" );

    std::filesystem::remove( _root / "x\\y" );
    try {
        OsWorkingDirectory::get();
        ADD_FAILURE() << "the directory is gone";
    } catch( const ExSysErrorWindows& ex ) {
        EXPECT_THAT( ex.getReason(), HasSubstr( "OsWorkingDirectory::get" ) );
        EXPECT_THAT( ex.getReason(), HasSubstr( "No such file" ) );
    }
}

TEST_F( OsWorkingDirectoryTest, GuardThatCannotGoBackTracesIt ) {
    OsWorkingDirectory::set( below( "gone" ) );
    ::testing::internal::CaptureStderr();
    {
        const OsWorkingDirectory::Guard guard( OsFilePath( "/" ) );
        std::filesystem::remove( _root / "gone" );
    }
    EXPECT_THAT( ::testing::internal::GetCapturedStderr(), HasSubstr( "OsWorkingDirectory::set" ) );
}

} // namespace
} // namespace Qv
