#include <resmgt/osal/osWorkingDirectory.h>
#include <resmgt/osal/test/testFiles.h>
#include <tests/support/scopedEnvironment.h>

#include <pwd.h>

namespace Qv {
namespace {

TEST( OsFilePathTest, HomeIsThatOfTheEnvironmentElseThatOfTheUsersList ) {
    const ScopedEnvironment set( "HOME", "/home//somebody/" );
    EXPECT_EQ( OsFilePath::getHomeDir().toString(), "/home/somebody" );
    const passwd* const entry = ::getpwuid( ::getuid() );
    for( const char* none : { static_cast<const char*>( nullptr ), "", "/home/a\\b" } ) {
        const ScopedEnvironment home( "HOME", none );
        EXPECT_EQ( OsFilePath::getHomeDir(), OsFilePath( entry->pw_dir ) );
    }
}

TEST( OsFilePathTest, AUserWithoutAHomeIsToldSo ) {
    const ScopedEnvironment noHome( "HOME" );
    const FailingCall failing( "getpwuid_r", EIO );
    EXPECT_EQ( raisedBy<OsFileEx::ExHomeNotDefined>( [] { OsFilePath::getHomeDir(); } ),
               "OsFilePath::getHomeDir: Cannot get home directory from the environment." );
    EXPECT_THAT( raisedBy<OsFileEx::ExHomeNotDefined>( [] { OsFilePath::getUserDocumentsDir(); } ),
                 tells( "OsFilePath::getDocumentsDir: " ) );
}

TEST( OsFilePathTest, TemporaryFilesGoWhereTheEnvironmentSays ) {
    const ScopedEnvironment noTestDir( "QV_TEST_DIR" );
    const ScopedEnvironment noTmpDir( "TMPDIR" );
    EXPECT_EQ( OsFilePath::getTempDir().toString(), "/tmp/ombra" );
    const std::pair<const char*, const char*> cases[] = {
        { "/scratch/", "/scratch/ombra" }, { "", "/tmp/ombra" }, { "/a\\b", "/tmp/ombra" } };
    for( const auto& [value, expected] : cases ) {
        const ScopedEnvironment tmpDir( "TMPDIR", value );
        EXPECT_EQ( OsFilePath::getTempDir().toString(), expected );
    }
    const ScopedEnvironment testDir( "QV_TEST_DIR", "/test" );
    EXPECT_EQ( OsFilePath::getTempDir().toString(), "/test" );
}

TEST( OsFilePathTest, DocumentsAreWhereTheDesktopsSettingsPutThem ) {
    const std::pair<const char*, const char*> cases[] = {
        { "XDG_DOCUMENTS_DIR=\"$HOME/My Documents\"\n", "/h/My Documents" },
        { "# XDG_DOCUMENTS_DIR=\"/no\"\nXDG_MUSIC_DIR=\"/m\"\n", "/h" },
        { "XDG_DOCUMENTS_DIR=\"/a\"\n \tXDG_DOCUMENTS_DIR=\"/b/\\\"q\\$\"", "/b/\"q$" },
        { "XDG_DOCUMENTS_DIR=\"$HOME/\"\n", "/h" },
        { "XDG_DOCUMENTS_DIR=\"$HOME\"\n", "/h" },
        { "XDG_DOCUMENTS_DIR=\"$HOMELESS/x\"\n", "/h" },
        { "XDG_DOCUMENTS_DIR=\"relative\"\n", "/h" },
        { "XDG_DOCUMENTS_DIR=\"/a\\\\b\"\n", "/h" },
        { "XDG_DOCUMENTS_DIR=\"", "/h" },
        { "XDG_DOCUMENTS_DIR=\"/x\\", "/h" },
        { "", "/h" } };
    const TestFiles files;
    const ScopedEnvironment home( "HOME", "/h" );
    const ScopedEnvironment configuration( "XDG_CONFIG_HOME", files.at( "" ).c_str() );
    EXPECT_EQ( OsFilePath::getUserDocumentsDir().toString(), "/h" );
    for( const auto& [settings, documents] : cases ) {
        files.write( "user-dirs.dirs", settings );
        EXPECT_EQ( OsFilePath::getUserDocumentsDir().toString(), documents ) << settings;
    }
}

TEST( OsFilePathTest, SettingsThatCannotBeReadMakeTheHomeDirectoryTheDocuments ) {
    const TestFiles files( ".config/user-dirs.dirs=XDG_DOCUMENTS_DIR=\"/d\"" );
    const ScopedEnvironment home( "HOME", files.at( "" ).c_str() );
    for( const char* elsewhere : { "", "relative" } ) {
        const ScopedEnvironment configuration( "XDG_CONFIG_HOME", elsewhere );
        OsFilePath documents;
        forEachFailingCall(
            EIO, [&] { documents = OsFilePath::getUserDocumentsDir(); },
            [&]( const FailedRun& run ) {
                const bool isRead = run.call == nullptr || std::string( run.call ) == "close";
                EXPECT_EQ( documents, isRead ? OsFilePath( "/d" ) : files.path() );
            } );
    }
}

TEST( OsFilePathTest, SettingsThatAreNoFileOrTooLargeAreNeitherWaitedForNorRead ) {
    const TestFiles files(
        "pipe/ pipe/user-dirs.dirs| folder/user-dirs.dirs/ huge/user-dirs.dirs" );
    fs::resize_file( files.at( "huge/user-dirs.dirs" ), std::uintmax_t{ 1 } << 40U );
    const ScopedEnvironment home( "HOME", "/h" );
    for( const char* name : { "pipe", "folder", "huge" } ) {
        const ScopedEnvironment configuration( "XDG_CONFIG_HOME", files.at( name ).c_str() );
        EXPECT_EQ( OsFilePath::getUserDocumentsDir().toString(), "/h" ) << name;
    }
}

TEST( OsFilePathTest, AbsoluteIsFromTheCurrentDirectory ) {
    const TestFiles files;
    const std::string where = fs::canonical( files.at( "" ) );
    const OsWorkingDirectory::Guard current( where );
    EXPECT_EQ( OsFilePath::getCurrentDir().toString(), where );
    EXPECT_EQ( OsFilePath( "a/b" ).getAbsolutePath().toString(), where + "/a/b" );
    EXPECT_EQ( OsFilePath( "./c:" ).getAbsolutePath().toString(), where + "/c:" );
    EXPECT_EQ( OsFilePath( "../a" ).getAbsolutePath(), OsFilePath( where + "/../a" ) );
    EXPECT_EQ( OsFilePath( "." ).getAbsolutePath().toString(), where );
    EXPECT_EQ( OsFilePath( "/a" ).getAbsolutePath().toString(), "/a" );
    EXPECT_TRUE( OsFilePath().getAbsolutePath().isEmpty() );
    EXPECT_EQ( OsFilePath::getRootDir().toString(), "/" );
}

TEST( OsFilePathTest, ACurrentDirectoryThatNoPathTellsIsADot ) {
    const TestFiles files( "a\\b/" );
    const OsWorkingDirectory::Guard back;
    fs::current_path( files.at( "a\\b" ) );
    EXPECT_EQ( OsFilePath::getCurrentDir().toString(), "." );
    EXPECT_EQ( OsFilePath( "../x" ).getAbsolutePath().toString(), "../x" );
    fs::remove( files.at( "a\\b" ) );
    EXPECT_EQ( OsFilePath::getCurrentDir().toString(), "." );
    EXPECT_EQ( OsFilePath( "x" ).getAbsolutePath().toString(), "x" );
}

} // namespace
} // namespace Qv
