#include <resmgt/osal/osDirectory.h>
#include <resmgt/osal/osFsUtils.h>
#include <resmgt/osal/osWorkingDirectory.h>
#include <resmgt/osal/test/testFiles.h>

#include <fcntl.h>
#include <pwd.h>

#include <thread>

namespace Qv {
namespace {

using Invalid = OsFileEx::ExInvalidPath;

constexpr OsFileTypes::Permissions PERMISSIONS( 3, 1, 1 );

std::string ownAccount() {
    const passwd* const entry = ::getpwuid( ::geteuid() );
    return entry == nullptr ? std::to_string( ::geteuid() ) : entry->pw_name;
}

TEST( OsFileTest, TellsWhatAPathNamesAndFollowsLinksToIt ) {
    const TestFiles files(
        "file=12345 dir/ toFile>file toDir>dir toNothing>nothing circle>circle pipe|" );
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
            raisedBy<Invalid>( [&] { EXPECT_EQ( file.isSymLink(), expected._isLink ); } );
        EXPECT_EQ( link.starts_with( "OsFile::isSymLink" ), !expected._exists );
        const std::string type = raisedBy<Invalid>(
            [&] { EXPECT_EQ( file.getType(), expected._isDirectory ? 1 : 0 ); } );
        EXPECT_EQ( type.starts_with( "OsFile::performGetType" ),
                   !expected._isFile && !expected._isDirectory );
    }
    EXPECT_EQ( OsFile( files.path( "toFile" ) ).getSize(), 5 );
}

TEST( OsFileTest, TellsOwnerSizeAndTimesAsTheSystemHasThem ) {
    const TestFiles files( "file=12345 link>file" );
    const timespec times[] = { { 1000, 5 }, { 1234567890, 123456789 } };
    ASSERT_EQ( ::utimensat( AT_FDCWD, files.at( "file" ).c_str(), times, 0 ), 0 );
    const OsFile file( files.path( "link" ) );
    const OsFileInfo info = file.getInfo();
    const struct stat status = files.facts( "file" );
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

TEST( OsFileTest, AnOwnerThatCannotBeLookedUpIsAFailureAndOneWithoutANameANumber ) {
    const TestFiles files;
    const auto lookUp = [&]( int error, FailingCall::Times times ) {
        std::string owner;
        // A thread of its own knows no name yet.
        std::thread( [&] {
            const FailingCall failing( "getpwuid_r", error, times );
            owner += raisedBy<Sys>( [&] { owner = OsFile( files.path() ).getInfo().getOwner(); } );
        } ).join();
        return owner;
    };
    EXPECT_EQ( lookUp( ENOENT, FailingCall::FOR_GOOD ), std::to_string( ::geteuid() ) );
    EXPECT_EQ( lookUp( ERANGE, FailingCall::ONCE ), ownAccount() );
    EXPECT_THAT( lookUp( EMFILE, FailingCall::FOR_GOOD ),
                 tells( "OsFsUtilsWindows::win32FileOwnerInfo", files.path().getChars() ) );
}

TEST( OsFileTest, AnswersForAccessWithWhatThisUserMayDo ) {
    const TestFiles files( "hidden/file pipe|" );
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
}

TEST( OsFileTest, WhatIsMadeGetsItsPermissionsLessTheMask ) {
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

TEST( OsFileTest, CreatingEmptiesAFileUnlessItIsExclusive ) {
    const TestFiles files( "file=text" );
    OsFile file( files.path( "file" ) );
    EXPECT_EQ( raisedBy<OsFileEx::ExFileExists>( [&] { file.create( PERMISSIONS, true ); } ),
               "OsFsUtils::createFile: File '" + file.getPath().toString() + "' already exists." );
    EXPECT_EQ( files.read( "file" ), "text" );
    file.create( PERMISSIONS, false );
    EXPECT_EQ( file.getSize(), 0 );
}

TEST( OsFileTest, RemovesTheLinkAndNotWhatItLeadsTo ) {
    const TestFiles files( "file=text link>file dangling>nothing" );
    OsFile( files.path( "link" ) ).remove();
    OsFile( files.path( "dangling" ) ).remove();
    EXPECT_EQ( files.count(), 1 );
    OsFile file( files.path( "file" ) );
    file.remove();
    EXPECT_EQ( raisedBy<Invalid>( [&] { file.remove(); } ),
               "OsFile::remove: Invalid path: '" + file.getPath().toString() + "'." );
}

TEST( OsFileTest, ItsPathFollowsARenamingThatSucceeds ) {
    const TestFiles files( "file=text other=lost" );
    OsFile file( files.path( "file" ) );
    EXPECT_THROW( file.renameTo( files.path( "no/file" ) ), Sys );
    EXPECT_EQ( file.getPath(), files.path( "file" ) );
    file.renameTo( files.path( "other" ) );
    EXPECT_EQ( file.getPath(), files.path( "other" ) );
    EXPECT_EQ( files.read( "other" ), "text" );
    EXPECT_EQ( files.count(), 1 );
}

TEST( OsFileTest, CopiesItsContentToAFileOrIntoADirectory ) {
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
    const long nbBefore = files.count();
    for( const char* source : { "", "nothing" } ) {
        EXPECT_THROW( OsFile( files.path( source ) ).copyTo( files.path( "none" ) ), ExSysError );
    }
    EXPECT_EQ( files.count(), nbBefore );
}

TEST( OsFileTest, RefusesToCopyOntoItselfAndOntoWhatMayNotBeWritten ) {
    const TestFiles files( "dir/file=text" );
    fs::create_hard_link( files.at( "dir/file" ), files.at( "second" ) );
    files.link( "dir/file", "link" );
    OsFile file( files.path( "dir/file" ) );
    for( const char* target : { "dir/file", "dir", "second", "link" } ) {
        EXPECT_THAT( raisedBy<Invalid>( [&] { file.copyTo( files.path( target ) ); } ),
                     tells( "OsFile::copyTo" ) )
            << target;
        EXPECT_EQ( files.read( "dir/file" ), "text" ) << target;
    }
    files.write( "protected", "stays" );
    files.setMode( "protected", 0444 );
    const OsFilePath target = files.path( "protected" );
    const WithoutPowers powerless;
    EXPECT_EQ( raisedBy<OsFileEx::ExPathNotWritable>( [&] { file.copyTo( target ); } ),
               "OsFile::copyTo: Path is not writable: '" + target.toString() + "'." );
    EXPECT_EQ( files.read( "protected" ), "stays" );
}

TEST( OsFileTest, NeverTakesAPathThatCanNameNothingForAnother ) {
    const TestFiles files( "C:/file=stays part=stays" );
    const OsWorkingDirectory::Guard working( files.path() );
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

TEST( OsFileTest, OpensForWhatTheFlagsAskAndNotForChildren ) {
    const TestFiles files( "file=text" );
    const OpenableFile file( files.path( "file" ) );
    const std::pair<int, int> cases[] = { { 1, O_RDONLY }, { 2, O_WRONLY }, { 3, O_RDWR } };
    for( const auto& [flags, how] : cases ) {
        const OsFileTypes::Handle handle = file.open( flags );
        EXPECT_EQ( ::fcntl( static_cast<int>( handle ), F_GETFL ) & O_ACCMODE, how );
        EXPECT_EQ( ::fcntl( static_cast<int>( handle ), F_GETFD ), FD_CLOEXEC );
        file.close( handle );
        EXPECT_THAT( raisedBy<Sys>( [&] { file.close( handle ); } ), tells( "OsFile::close" ) );
    }
    EXPECT_THAT( raisedBy<Sys>( [&] { OpenableFile( files.path() ).open( 3 ); } ),
                 tells( "OsFile::performOpen" ) );
}

} // namespace
} // namespace Qv
