#include <resmgt/osal/osFileEx.h>
#include <resmgt/osal/osFilePath.h>
#include <resmgt/osal/osWorkingDirectory.h>
#include <resmgt/osal/test/failingCalls.h>
#include <tests/support/scopedEnvironment.h>
#include <tests/support/tempDirectory.h>

#include <gmock/gmock.h>
#include <pwd.h>
#include <unistd.h>

#include <cerrno>
#include <filesystem>
#include <fstream>

namespace Qv {
namespace {

TEST( OsFilePath, HomeIsThatOfTheEnvironmentElseThatOfTheUsersList ) {
    const ScopedEnvironment set( "HOME", "/home//somebody/" );
    EXPECT_EQ( OsFilePath::getHomeDir().toString(), "/home/somebody" );
    const passwd* const entry = ::getpwuid( ::getuid() );
    for( const char* none : { static_cast<const char*>( nullptr ), "", "/home/a\\b" } ) {
        const ScopedEnvironment home =
            none != nullptr ? ScopedEnvironment( "HOME", none ) : ScopedEnvironment( "HOME" );
        EXPECT_EQ( OsFilePath::getHomeDir(), OsFilePath( entry->pw_dir ) );
    }
}

TEST( OsFilePath, AUserWithoutAHomeIsToldSo ) {
    const ScopedEnvironment noHome( "HOME" );
    const FailingCall failing( "getpwuid_r", EIO );
    const std::pair<OsFilePath ( * )(), const char*> cases[] = {
        { &OsFilePath::getHomeDir, "OsFilePath::getHomeDir" },
        { &OsFilePath::getUserDocumentsDir, "OsFilePath::getDocumentsDir" },
    };
    for( const auto& [get, where] : cases ) {
        try {
            get();
            ADD_FAILURE() << where << " found a home";
        } catch( const OsFileEx::ExHomeNotDefined& exception ) {
            EXPECT_EQ( exception.getReason(),
                       where + std::string( ": Cannot get home directory from the environment." ) );
        }
    }
}

TEST( OsFilePath, TemporaryFilesGoWhereTheEnvironmentSays ) {
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

TEST( OsFilePath, DocumentsAreWhereTheDesktopsSettingsPutThem ) {
    const struct {
        const char *_settings, *_documents;
    } cases[] = {
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
        { "", "/h" },
    };
    const TempDirectory directory;
    const ScopedEnvironment home( "HOME", "/h" );
    const ScopedEnvironment configuration( "XDG_CONFIG_HOME", directory.path().c_str() );
    EXPECT_EQ( OsFilePath::getUserDocumentsDir().toString(), "/h" );
    for( const auto& one : cases ) {
        std::ofstream( directory.path() / "user-dirs.dirs" ) << one._settings;
        EXPECT_EQ( OsFilePath::getUserDocumentsDir().toString(), one._documents ) << one._settings;
    }
}

TEST( OsFilePath, SettingsThatCannotBeReadMakeTheHomeDirectoryTheDocuments ) {
    const TempDirectory directory;
    std::ofstream( directory.path() / "user-dirs.dirs" ) << "XDG_DOCUMENTS_DIR=\"/d\"";
    const ScopedEnvironment home( "HOME", "/h" );
    const ScopedEnvironment configuration( "XDG_CONFIG_HOME", directory.path().c_str() );
    OsFilePath documents;
    forEachFailingCall(
        EIO, [&] { documents = OsFilePath::getUserDocumentsDir(); },
        [&]( const FailedRun& run ) {
            const bool isRead = run.call == nullptr || std::string( run.call ) == "close";
            EXPECT_EQ( documents.toString(), isRead ? "/d" : "/h" );
        } );
}

TEST( OsFilePath, SettingsOfTheDesktopAreInTheHomeDirectoryByDefault ) {
    const TempDirectory directory;
    std::filesystem::create_directory( directory.path() / ".config" );
    std::ofstream( directory.path() / ".config/user-dirs.dirs" ) << "XDG_DOCUMENTS_DIR=\"/d\"";
    const ScopedEnvironment home( "HOME", directory.path().c_str() );
    for( const char* configuration : { "", "relative" } ) {
        const ScopedEnvironment variable( "XDG_CONFIG_HOME", configuration );
        EXPECT_EQ( OsFilePath::getUserDocumentsDir().toString(), "/d" );
    }
}

TEST( OsFilePath, AbsoluteIsFromTheCurrentDirectory ) {
    const TempDirectory directory;
    const std::string where = std::filesystem::canonical( directory.path() );
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

TEST( OsFilePath, ACurrentDirectoryThatNoPathTellsIsADot ) {
    const TempDirectory directory;
    const std::filesystem::path odd = directory.path() / "a\\b";
    std::filesystem::create_directory( odd );
    const OsWorkingDirectory::Guard back;
    std::filesystem::current_path( odd );
    EXPECT_EQ( OsFilePath::getCurrentDir().toString(), "." );
    EXPECT_EQ( OsFilePath( "../x" ).getAbsolutePath().toString(), "../x" );
    std::filesystem::remove( odd );
    EXPECT_EQ( OsFilePath::getCurrentDir().toString(), "." );
    EXPECT_EQ( OsFilePath( "x" ).getAbsolutePath().toString(), "x" );
}

} // namespace
} // namespace Qv
