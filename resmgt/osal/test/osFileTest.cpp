#include <base/failure/exSysError.h>
#include <resmgt/osal/osDirectory.h>
#include <resmgt/osal/osFileEx.h>
#include <resmgt/osal/osFsUtils.h>
#include <resmgt/osal/test/failingCalls.h>
#include <resmgt/osal/test/testFiles.h>

#include <fcntl.h>
#include <gmock/gmock.h>
#include <pwd.h>
#include <sys/stat.h>

#include <cerrno>
#include <functional>
#include <thread>

namespace Qv {
namespace {

using ::testing::AllOf;
using ::testing::HasSubstr;
using ::testing::StartsWith;
using Sys = ExSysErrorWindows;
using Invalid = OsFileEx::ExInvalidPath;

constexpr OsFileTypes::Permissions PERMISSIONS( 3, 1, 1 );

std::string ownAccount() {
    const passwd* const entry = ::getpwuid( ::geteuid() );
    return entry == nullptr ? std::to_string( ::geteuid() ) : entry->pw_name;
}

TEST( OsFile, TellsWhatAPathNamesAndFollowsLinksToIt ) {
    const TestFiles files;
    files.write( "file", "12345" );
    files.write( "dir/" );
    files.link( "file", "toFile" );
    files.link( "dir", "toDir" );
    files.link( "nothing", "toNothing" );
    files.link( "circle", "circle" );
    ASSERT_EQ( ::mkfifo( files.at( "pipe" ).c_str(), 0644 ), 0 );
    const struct {
        const char* _name;
        bool _exists, _isFile, _isDirectory, _isLink;
    } cases[] = {
        { "file", true, true, false, false },        { "dir", true, false, true, false },
        { "toFile", true, true, false, true },       { "toDir", true, false, true, true },
        { "toNothing", true, false, false, true },   { "circle", true, false, false, true },
        { "pipe", true, true, false, false },        { "nothing", false, false, false, false },
        { "file/below", false, false, false, false } };
    for( const auto& expected : cases ) {
        SCOPED_TRACE( expected._name );
        const OsFile file( files.path( expected._name ) );
        EXPECT_EQ( file.exists(), expected._exists );
        EXPECT_EQ( file.isFile(), expected._isFile );
        EXPECT_EQ( file.isDirectory(), expected._isDirectory );
        const std::string link =
            reasonOf<Invalid>( [&] { EXPECT_EQ( file.isSymLink(), expected._isLink ); } );
        EXPECT_EQ( link.starts_with( "OsFile::isSymLink" ), !expected._exists );
        const std::string type = reasonOf<Invalid>(
            [&] { EXPECT_EQ( file.getType(), expected._isDirectory ? 1 : 0 ); } );
        EXPECT_EQ( type.starts_with( "OsFile::performGetType" ),
                   !expected._isFile && !expected._isDirectory );
    }
    EXPECT_EQ( OsFile( files.path( "toFile" ) ).getSize(), 5 );
}

TEST( OsFile, TellsOwnerSizeAndTimesAsTheSystemHasThem ) {
    const TestFiles files;
    files.write( "file", "12345" );
    files.link( "file", "link" );
    const timespec times[] = { { 1000, 5 }, { 1234567890, 123456789 } };
    ASSERT_EQ( ::utimensat( AT_FDCWD, files.at( "file" ).c_str(), times, 0 ), 0 );
    const OsFile file( files.path( "link" ) );
    const OsFileInfo info = file.getInfo();
    struct stat status {};
    ASSERT_EQ( ::stat( files.at( "file" ).c_str(), &status ), 0 );
    // Setting the time of modification is a change, and leaves the creation where it was.
    EXPECT_LE( info.getCreationTime(),
               OsDateTypes::DateRep( status.st_ctim.tv_sec, status.st_ctim.tv_nsec ) );
    const OsFileInfo expected( files.path( "link" ), ownAccount(), OsFileTypes::PLAIN, 5,
                               OsDateTypes::DateRep( 1234567890, 123456789 ),
                               *OPtr<OsDateTypes::DateRep>( file.getCreationTime() ) );
    EXPECT_EQ( info, expected );
    EXPECT_NE( info, OsFile( files.path() ).getInfo() );
    EXPECT_EQ( *OPtr<OsDateTypes::DateRep>( file.getLastModificationTime() ),
               info.getLastModificationTime() );
    EXPECT_EQ( APtr<char>( file.getOwner() ).get(), ownAccount() );
}

TEST( OsFile, AnOwnerThatCannotBeLookedUpIsAFailureAndOneWithoutANameANumber ) {
    const TestFiles files;
    files.write( "file" );
    const auto lookUp = [&]( int error, FailingCall::Times times ) {
        std::string owner;
        // A thread of its own knows no name yet.
        std::thread( [&] {
            const FailingCall failing( "getpwuid_r", error, times );
            owner = reasonOf<Sys>(
                [&] { owner = OsFile( files.path( "file" ) ).getInfo().getOwner(); } );
            if( owner == "nothing was raised" ) {
                owner = OsFile( files.path( "file" ) ).getInfo().getOwner();
            }
        } ).join();
        return owner;
    };
    EXPECT_EQ( lookUp( ENOENT, FailingCall::FOR_GOOD ), std::to_string( ::geteuid() ) );
    EXPECT_EQ( lookUp( ERANGE, FailingCall::ONCE ), ownAccount() );
    EXPECT_THAT( lookUp( EMFILE, FailingCall::FOR_GOOD ),
                 AllOf( HasSubstr( "win32FileOwnerInfo" ), HasSubstr( "/file'" ) ) );
}

TEST( OsFile, AnswersForAccessWithWhatThisUserMayDo ) {
    const TestFiles files;
    const struct {
        const char* _name;
        unsigned int _mode;
        int _access;
    } cases[] = { { "both", 0666, 3 },  { "read", 0444, 1 },        { "write", 0222, 2 },
                  { "none", 0, 0 },     { "dir/", 0777, 3 },        { "dirRead/", 0555, 1 },
                  { "dirNone/", 0, 0 }, { "dirNoSearch/", 0666, 1 } };
    for( const auto& expected : cases ) {
        files.write( expected._name );
        files.setMode( expected._name, expected._mode );
    }
    ASSERT_EQ( ::mkfifo( files.at( "pipe" ).c_str(), 0666 ), 0 );
    files.write( "hidden/file" );
    files.setMode( "hidden", 0 );
    {
        const WithoutPowers powerless;
        for( const auto& expected : cases ) {
            SCOPED_TRACE( expected._name );
            const OsDirectory file( files.path( expected._name ) );
            EXPECT_EQ( file.getAccess( 3 ), expected._access );
            EXPECT_EQ( file.isReadable(), ( expected._access & 1 ) != 0 );
            EXPECT_EQ( file.isWritable(), ( expected._access & 2 ) != 0 );
            EXPECT_EQ( file.isModifiableDir(), std::string( expected._name ) == "dir/" );
        }
        // A pipe without a partner would keep who opens it waiting.
        EXPECT_EQ( OsFile( files.path( "pipe" ) ).getAccess( 1 ), 1 );
        EXPECT_EQ( OsFile( files.path( "hidden/file" ) ).getAccess( 3 ), 0 );
        EXPECT_FALSE( OsDirectory( files.path( "nothing" ) ).isModifiableDir() );
        EXPECT_THROW( OsFile( files.path( "nothing" ) ).isReadable(), Invalid );
    }
    files.setMode( "hidden", 0700 );
    for( const auto& expected : cases ) {
        files.setMode( expected._name, 0700 );
    }
    // That the process has no descriptors left says nothing of its rights.
    const FailingCall exhausted( "open", EMFILE );
    EXPECT_THAT( reasonOf<Sys>( [&] { OsFile( files.path( "both" ) ).isReadable(); } ),
                 StartsWith( "OsFile::performGetAccess" ) );
}

TEST( OsFile, WhatIsMadeGetsItsPermissionsLessTheMask ) {
    const struct {
        mode_t _mask;
        OsFileTypes::Permissions _permissions;
        unsigned int _fileMode, _directoryMode;
    } cases[] = { { 0, { 3, 1, 1 }, 0644, 0755 },
                  { 0, { 7, 7, 7 }, 0777, 0777 },
                  { 022, { 3, 3, 0 }, 0640, 0750 },
                  { 077, { 7, 5, 5 }, 0700, 0700 },
                  { 0, { 2, 4, 0 }, 0210, 0210 } };
    for( const auto& expected : cases ) {
        const TestFiles files;
        const mode_t former = ::umask( expected._mask );
        OsFile( files.path( "file" ) ).create( expected._permissions, true );
        OsDirectory( files.path( "dir" ) ).create( expected._permissions );
        ::umask( former );
        EXPECT_EQ( files.mode( "file" ), expected._fileMode );
        EXPECT_EQ( files.mode( "dir" ), expected._directoryMode );
    }
}

TEST( OsFile, CreatingEmptiesAFileUnlessItIsExclusive ) {
    const TestFiles files;
    files.write( "file", "text" );
    OsFile file( files.path( "file" ) );
    EXPECT_EQ( reasonOf<OsFileEx::ExFileExists>( [&] { file.create( PERMISSIONS, true ); } ),
               "OsFsUtils::createFile: File '" + file.getPath().toString() + "' already exists." );
    EXPECT_EQ( files.read( "file" ), "text" );
    file.create( PERMISSIONS, false );
    EXPECT_EQ( file.getSize(), 0 );
}

TEST( OsFile, RemovesTheLinkAndNotWhatItLeadsTo ) {
    const TestFiles files;
    files.write( "file", "text" );
    files.write( "dir/" );
    files.link( "file", "link" );
    files.link( "nothing", "dangling" );
    OsFile( files.path( "link" ) ).remove();
    OsFile( files.path( "dangling" ) ).remove();
    EXPECT_EQ( files.count(), 2 );
    EXPECT_EQ( files.read( "file" ), "text" );
    OsFile( files.path( "file" ) ).remove();
    EXPECT_EQ( reasonOf<Invalid>( [&] { OsFile( files.path( "file" ) ).remove(); } ),
               "OsFile::remove: Invalid path: '" + files.path( "file" ).toString() + "'." );
    EXPECT_THAT( reasonOf<Sys>( [&] { OsFile( files.path( "dir" ) ).remove(); } ),
                 AllOf( StartsWith( "OsFile::performRemove" ), HasSubstr( "/dir'" ) ) );
}

TEST( OsFile, ItsPathFollowsARenamingThatSucceeds ) {
    const TestFiles files;
    files.write( "file", "text" );
    files.write( "other", "lost" );
    OsFile file( files.path( "file" ) );
    EXPECT_THAT( reasonOf<Sys>( [&] { file.renameTo( files.path( "no/file" ) ); } ),
                 StartsWith( "OsFile::performRenameTo" ) );
    EXPECT_EQ( file.getPath(), files.path( "file" ) );
    file.renameTo( files.path( "other" ) );
    EXPECT_EQ( file.getPath(), files.path( "other" ) );
    EXPECT_EQ( files.read( "other" ), "text" );
    EXPECT_EQ( files.count(), 1 );
}

TEST( OsFile, CopiesItsContentToAFileOrIntoADirectory ) {
    const TestFiles files;
    const std::string content( 3 * 0x10000 + 17, 'x' );
    files.write( "file", content );
    files.write( "dir/inside" );
    files.write( "longer", content + content );
    files.write( "everyone", "stays" );
    files.setMode( "longer", 0600 );
    const std::pair<const char*, const char*> cases[] = {
        { "new", "new" }, { "dir", "dir/file" }, { "longer", "longer" }, { "every*", "every*" } };
    const mode_t former = ::umask( 0 );
    for( const auto& [target, result] : cases ) {
        OsFile( files.path( "file" ) ).copyTo( files.path( target ) );
        EXPECT_EQ( files.read( result ), content ) << result;
    }
    ::umask( former );
    EXPECT_EQ( files.mode( "new" ), 0660U );
    EXPECT_EQ( files.mode( "longer" ), 0600U );
    EXPECT_EQ( files.read( "everyone" ), "stays" );
}

TEST( OsFile, RefusesToCopyOntoItselfAndOntoWhatMayNotBeWritten ) {
    const TestFiles files;
    files.write( "dir/file", "text" );
    fs::create_hard_link( files.at( "dir/file" ), files.at( "second" ) );
    files.link( "dir/file", "link" );
    OsFile file( files.path( "dir/file" ) );
    for( const char* target : { "dir/file", "dir", "second", "link" } ) {
        EXPECT_THAT( reasonOf<Invalid>( [&] { file.copyTo( files.path( target ) ); } ),
                     StartsWith( "OsFile::copyTo" ) )
            << target;
        EXPECT_EQ( files.read( "dir/file" ), "text" ) << target;
    }
    files.write( "protected", "stays" );
    files.setMode( "protected", 0444 );
    const OsFilePath target = files.path( "protected" );
    const WithoutPowers powerless;
    EXPECT_EQ( reasonOf<OsFileEx::ExPathNotWritable>( [&] { file.copyTo( target ); } ),
               "OsFile::copyTo: Path is not writable: '" + target.toString() + "'." );
    EXPECT_EQ( files.read( "protected" ), "stays" );
}

TEST( OsFile, ACopyThatFailsLeavesNoTargetOfItsOwn ) {
    const TestFiles files;
    const std::string content( 0x30000, 'x' );
    files.write( "file", content );
    for( const int error : { EIO, ENOSPC } ) {
        forEachFailingCall(
            error,
            [&] {
                try {
                    OsFile( files.path( "file" ) ).copyTo( files.path( "target" ) );
                } catch( const ExBase& ) {}
            },
            [&]( const FailedRun& run ) {
                EXPECT_EQ( files.read( "file" ), content );
                // When every later call fails too, the target can't be removed either.
                if( run.times == FailingCall::ONCE && files.has( "target" ) ) {
                    EXPECT_EQ( files.read( "target" ), content ) << run.number;
                }
                fs::remove( files.at( "target" ) );
            } );
    }
    for( const char* source : { "", "nothing" } ) {
        EXPECT_THROW( OsFile( files.path( source ) ).copyTo( files.path( "target" ) ), ExSysError );
    }
    EXPECT_EQ( files.count(), 1 );
}

TEST( OsFile, RefusesTheEmptyPath ) {
    const TestFiles files;
    files.write( "dir/file" );
    OsFile none{ OsFilePath() };
    OsFile file( files.path( "dir/file" ) );
    OsDirectory noDir{ OsFilePath() };
    OsDirectory dir( files.path( "dir" ) );
    const OsPassThroughFilter all;
    const std::pair<const char*, std::function<void()>> cases[] = {
        { "OsFile::getOwner", [&] { APtr<char>( none.getOwner() ); } },
        { "OsFile::getSize", [&] { none.getSize(); } },
        { "OsFile::isReadable", [&] { none.isReadable(); } },
        { "OsFile::isWritable", [&] { none.isWritable(); } },
        { "OsFile::isSymLink", [&] { none.isSymLink(); } },
        { "OsFile::exists", [&] { none.exists(); } },
        { "OsFile::getInfo", [&] { none.getInfo(); } },
        { "OsFile::getUnbufferedInfo", [&] { none.getUnbufferedInfo(); } },
        { "OsFile::create", [&] { none.create( PERMISSIONS, false ); } },
        { "OsFile::remove", [&] { none.remove(); } },
        { "OsFile::renameTo", [&] { none.renameTo( files.path( "other" ) ); } },
        { "OsFile::renameTo", [&] { file.renameTo( OsFilePath() ); } },
        { "OsFile::copyTo", [&] { none.copyTo( files.path( "other" ) ); } },
        { "OsFile::copyTo", [&] { file.copyTo( OsFilePath() ); } },
        { "OsDirectory::remove", [&] { noDir.remove(); } },
        { "OsDirectory::create", [&] { noDir.create( PERMISSIONS ); } },
        { "OsDirectory::copyTo", [&] { noDir.copyTo( files.path( "other" ) ); } },
        { "OsDirectory::copyTo", [&] { dir.copyTo( OsFilePath() ); } },
        { "OsDirectory::getChildrenPath",
          [&] { noDir.getChildrenPath( OsFileTypes::FULL_PATH, all ); } },
        { "OsDirectory::getChildrenInfo", [&] { noDir.getChildrenInfo( all ); } },
        { "OsDirectory::hasChildren", [&] { noDir.hasChildren( all ); } } };
    for( const auto& [where, operation] : cases ) {
        EXPECT_EQ( reasonOf<OsFileEx::ExNullFilePath>( operation ),
                   std::string( where ) + ": File has null file path." );
    }
    EXPECT_FALSE( none.isFile() || none.isDirectory() );
    EXPECT_EQ( files.count(), 2 );
}

TEST( OsFile, NeverTakesAPathThatCanNameNothingForAnother ) {
    const TestFiles files;
    files.write( "C:/file", "stays" );
    files.write( "part", "stays" );
    const WorkingIn working( files.at( "" ) );
    const std::string zero( 1, '\0' );
    const std::string paths[] = { "C:/file",
                                  "c:\\file",
                                  "C:/new",
                                  "part" + zero + "x",
                                  std::string( 256, 'n' ),
                                  "new/../" + std::string( 4095, '/' ) + std::string( 4096, 'x' ) };
    for( const std::string& text : paths ) {
        SCOPED_TRACE( text );
        OsFile file{ OsFilePath( text ) };
        EXPECT_FALSE( file.exists() );
        EXPECT_THROW( file.create( PERMISSIONS, false ), Sys );
        EXPECT_THROW( file.getInfo(), Sys );
        EXPECT_THROW( file.remove(), Invalid );
        EXPECT_THROW( OsFsUtils::deleteFile( file.getPath() ), Sys );
        EXPECT_THROW( OsFsUtils::createDirPath( file.getPath(), OsFilePath() ), Sys );
        EXPECT_THROW( OsFile( OsFilePath( "part" ) ).renameTo( file.getPath() ), Sys );
    }
    EXPECT_EQ( files.read( "C:/file" ) + files.read( "part" ), "staysstays" );
    EXPECT_EQ( files.count(), 3 );
    // The longest name, and a drive's name behind a directory, are names like any other.
    for( const std::string& name : { std::string( 255, 'n' ), std::string( "C:/second" ) } ) {
        OsFile( files.path( name ) ).create( PERMISSIONS, true );
        EXPECT_TRUE( files.has( name ) );
    }
    // A second separator in front makes a server's root of the first two names.
    EXPECT_TRUE( OsFile( OsFilePath( "//etc/passwd" ) ).isFile() );
}

class OpenableFile : public OsFile {
public:
    using OsFile::close;
    using OsFile::open;
    using OsFile::OsFile;
};

TEST( OsFile, OpensForWhatTheFlagsAskAndNotForChildren ) {
    const TestFiles files;
    files.write( "file", "text" );
    const OpenableFile file( files.path( "file" ) );
    const std::pair<int, int> cases[] = { { 1, O_RDONLY }, { 2, O_WRONLY }, { 3, O_RDWR } };
    for( const auto& [flags, how] : cases ) {
        const OsFileTypes::Handle handle = file.open( flags );
        EXPECT_EQ( ::fcntl( static_cast<int>( handle ), F_GETFL ) & O_ACCMODE, how );
        EXPECT_EQ( ::fcntl( static_cast<int>( handle ), F_GETFD ), FD_CLOEXEC );
        file.close( handle );
        EXPECT_THAT( reasonOf<Sys>( [&] { file.close( handle ); } ),
                     StartsWith( "OsFile::close" ) );
    }
    EXPECT_THAT( reasonOf<Sys>( [&] { OpenableFile( files.path() ).open( 3 ); } ),
                 StartsWith( "OsFile::performOpen" ) );
}

} // namespace
} // namespace Qv
