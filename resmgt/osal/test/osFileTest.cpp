#include <base/failure/exSysError.h>
#include <resmgt/osal/osFile.h>
#include <resmgt/osal/osFileEx.h>
#include <resmgt/osal/osFsUtils.h>
#include <resmgt/osal/test/failingCalls.h>
#include <resmgt/osal/test/testFiles.h>

#include <fcntl.h>
#include <gmock/gmock.h>
#include <pwd.h>

#include <cerrno>
#include <functional>
#include <thread>

namespace Qv {
namespace {

using OsFileTypes::Permissions;
using ::testing::AllOf;
using ::testing::HasSubstr;
using ::testing::StartsWith;

std::string ownAccount() {
    const passwd* const entry = ::getpwuid( ::geteuid() );
    return entry == nullptr ? std::to_string( ::geteuid() ) : entry->pw_name;
}

TEST( OsFile, TellsWhatAPathNamesAndFollowsLinksToIt ) {
    const TestFiles files;
    files.write( "file", "12345" );
    fs::create_directory( files.at( "dir" ) );
    fs::create_symlink( "file", files.at( "toFile" ) );
    fs::create_symlink( "dir", files.at( "toDir" ) );
    fs::create_symlink( "nothing", files.at( "toNothing" ) );
    fs::create_symlink( "circle", files.at( "circle" ) );
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
        if( expected._exists ) {
            EXPECT_EQ( file.isSymLink(), expected._isLink );
        } else {
            EXPECT_THAT( reasonOf<OsFileEx::ExInvalidPath>( [&] { file.isSymLink(); } ),
                         StartsWith( "OsFile::isSymLink" ) );
        }
        if( expected._isFile || expected._isDirectory ) {
            EXPECT_EQ( file.getType(),
                       expected._isDirectory ? OsFileTypes::DIRECTORY : OsFileTypes::PLAIN );
        } else {
            EXPECT_THAT( reasonOf<OsFileEx::ExInvalidPath>( [&] { file.getType(); } ),
                         StartsWith( "OsFile::performGetType" ) );
        }
    }
    EXPECT_EQ( OsFile( files.path( "toFile" ) ).getSize(), 5 );
}

TEST( OsFile, TellsOwnerSizeAndTimesAsTheSystemHasThem ) {
    const TestFiles files;
    files.write( "file", "12345" );
    fs::create_symlink( "file", files.at( "link" ) );
    const timespec times[] = { { 1000, 5 }, { 1234567890, 123456789 } };
    ASSERT_EQ( ::utimensat( AT_FDCWD, files.at( "file" ).c_str(), times, 0 ), 0 );
    const OsFile file( files.path( "link" ) );
    const OsFileInfo info = file.getInfo();
    const OsDateTypes::DateRep modified( 1234567890, 123456789 );
    EXPECT_EQ( *OPtr<OsDateTypes::DateRep>( file.getLastModificationTime() ), modified );
    EXPECT_EQ( info.getLastModificationTime(), modified );
    // Setting the time of modification makes a change, and leaves the creation where it was.
    struct stat status {};
    ASSERT_EQ( ::stat( files.at( "file" ).c_str(), &status ), 0 );
    const OsDateTypes::DateRep changed( status.st_ctim.tv_sec, status.st_ctim.tv_nsec );
    EXPECT_LE( info.getCreationTime(), changed );
    EXPECT_EQ( *OPtr<OsDateTypes::DateRep>( file.getCreationTime() ), info.getCreationTime() );
    EXPECT_EQ( info.getSize(), 5 );
    EXPECT_EQ( info.getType(), OsFileTypes::PLAIN );
    EXPECT_EQ( info.getPath(), files.path( "link" ) );
    EXPECT_EQ( info.getOwner(), ownAccount() );
    EXPECT_EQ( info.getOwner(), APtr<char>( file.getOwner() ).get() );
    EXPECT_EQ( info, file.getInfo() );
    EXPECT_NE( info, OsFile( files.path() ).getInfo() );
}

TEST( OsFile, TellsTheNumberOfAnOwnerWithoutAName ) {
    const TestFiles files;
    files.write( "file" );
    if( ::chown( files.at( "file" ).c_str(), 54321, static_cast<gid_t>( -1 ) ) == 0 ) {
        EXPECT_EQ( OsFile( files.path( "file" ) ).getInfo().getOwner(), "54321" );
        return;
    }
    // Only root gives a file away; for others the system is made to know no name.
    std::thread( [&] {
        const FailingCall unknown( "getpwuid_r", ENOENT );
        EXPECT_EQ( OsFile( files.path( "file" ) ).getInfo().getOwner(),
                   std::to_string( ::geteuid() ) );
    } ).join();
}

TEST( OsFile, LooksAnOwnerUpUntilItsNameIsKnown ) {
    const TestFiles files;
    files.write( "file" );
    // A thread of its own knows no name yet.
    std::thread( [&] {
        const OsFile file( files.path( "file" ) );
        {
            const FailingCall exhausted( "getpwuid_r", EMFILE );
            EXPECT_THAT( reasonOf<ExSysErrorWindows>( [&] { file.getInfo(); } ),
                         AllOf( HasSubstr( "win32FileOwnerInfo" ), HasSubstr( "/file" ) ) );
        }
        const FailingCall tooSmall( "getpwuid_r", ERANGE, FailingCall::ONCE );
        EXPECT_EQ( file.getInfo().getOwner(), ownAccount() );
    } ).join();
}

TEST( OsFile, AnswersForAccessWithWhatThisUserMayDo ) {
    const TestFiles files;
    const struct {
        const char* _name;
        unsigned int _mode;
        int _access;
    } cases[] = { { "both", 0666, 3 },     { "read", 0444, 1 },         { "write", 0222, 2 },
                  { "none", 0000, 0 },     { "dir/", 0777, 3 },         { "dirRead/", 0555, 1 },
                  { "dirNone/", 0000, 0 }, { "dirNoSearch/", 0666, 1 }, { "pipe", 0666, 3 } };
    for( const auto& expected : cases ) {
        const std::string name( expected._name );
        if( name.back() == '/' ) {
            fs::create_directory( files.at( name.substr( 0, name.size() - 1 ) ) );
        } else if( name == "pipe" ) {
            ASSERT_EQ( ::mkfifo( files.at( name ).c_str(), 0666 ), 0 );
        } else {
            files.write( name );
        }
        fs::permissions( files.at( name ), fs::perms( expected._mode ) );
    }
    files.write( "hidden/file" );
    fs::permissions( files.at( "hidden" ), fs::perms( 0 ) );
    {
        const WithoutPowers powerless;
        for( const auto& expected : cases ) {
            SCOPED_TRACE( expected._name );
            const OsFile file( files.path( expected._name ) );
            EXPECT_EQ( file.getAccess( 3 ), expected._access );
            EXPECT_EQ( file.isReadable(), ( expected._access & 1 ) != 0 );
            EXPECT_EQ( file.isWritable(), ( expected._access & 2 ) != 0 );
        }
        EXPECT_EQ( OsFile( files.path( "hidden/file" ) ).getAccess( 3 ), 0 );
        EXPECT_THAT( reasonOf<OsFileEx::ExInvalidPath>(
                         [&] { OsFile( files.path( "nothing" ) ).isReadable(); } ),
                     StartsWith( "OsFile::performGetType" ) );
    }
    fs::permissions( files.at( "hidden" ), fs::perms( 0700 ) );
}

TEST( OsFile, ARefusalForLackOfDescriptorsIsNoMissingRight ) {
    const TestFiles files;
    files.write( "file" );
    const FailingCall exhausted( "open", EMFILE );
    EXPECT_THAT(
        reasonOf<ExSysErrorWindows>( [&] { OsFile( files.path( "file" ) ).isReadable(); } ),
        StartsWith( "OsFile::performGetAccess" ) );
}

TEST( OsFile, AFileThatIsMadeGetsItsPermissionsLessTheMask ) {
    const TestFiles files;
    const struct {
        mode_t _mask;
        Permissions _permissions;
        unsigned int _mode;
    } cases[] = { { 0, Permissions( 3, 1, 1 ), 0644 },
                  { 0, Permissions( 7, 7, 7 ), 0777 },
                  { 022, Permissions( 3, 3, 0 ), 0640 },
                  { 077, Permissions( 7, 5, 5 ), 0700 },
                  { 0, Permissions( 2, 4, 0 ), 0210 } };
    int number = 0;
    for( const auto& expected : cases ) {
        const std::string name = std::to_string( ++number );
        const mode_t former = ::umask( expected._mask );
        OsFile( files.path( name ) ).create( expected._permissions, true );
        ::umask( former );
        EXPECT_EQ( files.mode( name ), expected._mode ) << name;
    }
}

TEST( OsFile, CreatingEmptiesAFileUnlessItIsExclusive ) {
    const TestFiles files;
    files.write( "file", "text" );
    OsFile file( files.path( "file" ) );
    EXPECT_EQ( reasonOf<OsFileEx::ExFileExists>( [&] {
                   file.create( { 3, 1, 1 }, true );
               } ),
               "OsFsUtils::createFile: File '" + file.getPath().toString() + "' already exists." );
    EXPECT_EQ( files.read( "file" ), "text" );
    file.create( { 3, 1, 1 }, false );
    EXPECT_EQ( file.getSize(), 0 );
}

TEST( OsFile, RemovesTheLinkAndNotWhatItLeadsTo ) {
    const TestFiles files;
    files.write( "file", "text" );
    fs::create_symlink( "file", files.at( "link" ) );
    fs::create_symlink( "nothing", files.at( "dangling" ) );
    OsFile( files.path( "link" ) ).remove();
    OsFile( files.path( "dangling" ) ).remove();
    EXPECT_FALSE( files.has( "link" ) );
    EXPECT_FALSE( files.has( "dangling" ) );
    EXPECT_EQ( files.read( "file" ), "text" );
    OsFile file( files.path( "file" ) );
    file.remove();
    EXPECT_EQ( reasonOf<OsFileEx::ExInvalidPath>( [&] { file.remove(); } ),
               "OsFile::remove: Invalid path: '" + file.getPath().toString() + "'." );
    fs::create_directory( files.at( "dir" ) );
    EXPECT_THAT( reasonOf<ExSysErrorWindows>( [&] { OsFile( files.path( "dir" ) ).remove(); } ),
                 AllOf( StartsWith( "OsFile::performRemove" ), HasSubstr( "/dir'" ) ) );
}

TEST( OsFile, ItsPathFollowsARenamingThatSucceeds ) {
    const TestFiles files;
    files.write( "file", "text" );
    files.write( "other", "lost" );
    OsFile file( files.path( "file" ) );
    EXPECT_THAT( reasonOf<ExSysErrorWindows>( [&] { file.renameTo( files.path( "no/file" ) ); } ),
                 StartsWith( "OsFile::performRenameTo" ) );
    EXPECT_EQ( file.getPath(), files.path( "file" ) );
    file.renameTo( files.path( "other" ) );
    EXPECT_EQ( file.getPath(), files.path( "other" ) );
    EXPECT_EQ( files.read( "other" ), "text" );
    EXPECT_FALSE( files.has( "file" ) );
}

TEST( OsFile, CopiesItsContentToAFileOrIntoADirectory ) {
    const TestFiles files;
    const std::string content( 3 * 0x10000 + 17, 'x' );
    files.write( "file", content );
    files.write( "empty" );
    files.write( "dir/inside" );
    files.write( "longer", content + content );
    fs::permissions( files.at( "longer" ), fs::perms( 0600 ) );
    const struct {
        const char *_from, *_to, *_result;
    } cases[] = { { "file", "new", "new" },
                  { "file", "dir", "dir/file" },
                  { "file", "longer", "longer" },
                  { "empty", "emptyToo", "emptyToo" },
                  { "file", "every*", "every*" } };
    files.write( "everyone", "stays" );
    const mode_t former = ::umask( 0 );
    for( const auto& expected : cases ) {
        OsFile( files.path( expected._from ) ).copyTo( files.path( expected._to ) );
        EXPECT_TRUE( files.has( expected._result ) );
        EXPECT_EQ( files.read( expected._result ), files.read( expected._from ) )
            << expected._result;
    }
    ::umask( former );
    EXPECT_EQ( files.mode( "new" ), 0660U );
    EXPECT_EQ( files.mode( "longer" ), 0600U );
    EXPECT_EQ( files.read( "everyone" ), "stays" );
}

TEST( OsFile, NeverDestroysAFileThatIsCopiedOntoItself ) {
    const TestFiles files;
    files.write( "dir/file", "text" );
    fs::create_hard_link( files.at( "dir/file" ), files.at( "second" ) );
    fs::create_symlink( "dir/file", files.at( "link" ) );
    for( const char* target : { "dir/file", "dir", "second", "link" } ) {
        EXPECT_THAT( reasonOf<OsFileEx::ExInvalidPath>( [&] {
                         OsFile( files.path( "dir/file" ) ).copyTo( files.path( target ) );
                     } ),
                     StartsWith( "OsFile::copyTo" ) )
            << target;
        EXPECT_EQ( files.read( "dir/file" ), "text" ) << target;
    }
}

TEST( OsFile, RefusesToCopyOntoWhatMayNotBeWritten ) {
    const TestFiles files;
    files.write( "file", "text" );
    files.write( "protected", "stays" );
    fs::permissions( files.at( "protected" ), fs::perms( 0444 ) );
    const WithoutPowers powerless;
    EXPECT_EQ( reasonOf<OsFileEx::ExPathNotWritable>(
                   [&] { OsFile( files.path( "file" ) ).copyTo( files.path( "protected" ) ); } ),
               "OsFile::copyTo: Path is not writable: '" + files.path( "protected" ).toString() +
                   "'." );
    EXPECT_EQ( files.read( "protected" ), "stays" );
}

TEST( OsFile, ACopyThatFailsLeavesNoTargetOfItsOwn ) {
    const TestFiles files;
    files.write( "file", std::string( 0x30000, 'x' ) );
    OsFile file( files.path( "file" ) );
    const auto check = [&]( const FailedRun& run ) {
        const char* const name = run.call == nullptr ? "none" : run.call;
        EXPECT_EQ( fs::file_size( files.at( "file" ) ), 0x30000 ) << name;
        // When every later call fails too, the target can't be removed either.
        if( run.call != nullptr && run.times == FailingCall::ONCE && files.has( "target" ) ) {
            EXPECT_EQ( files.read( "target" ), files.read( "file" ) ) << name << run.number;
        }
        fs::remove( files.at( "target" ) );
    };
    for( const int error : { EIO, ENOSPC } ) {
        forEachFailingCall(
            error,
            [&] {
                try {
                    file.copyTo( files.path( "target" ) );
                } catch( const ExBase& ) {}
            },
            check );
    }
    EXPECT_THROW( OsFile( files.path() ).copyTo( files.path( "target" ) ), ExSysError );
    EXPECT_THROW( OsFile( files.path( "no" ) ).copyTo( files.path( "target" ) ), ExSysError );
    EXPECT_FALSE( files.has( "target" ) );
}

TEST( OsFile, RefusesTheEmptyPath ) {
    const TestFiles files;
    files.write( "file" );
    OsFile none{ OsFilePath() };
    OsFile file( files.path( "file" ) );
    const OsFilePath other = files.path( "other" );
    const struct {
        const char* _where;
        std::function<void()> _operation;
    } cases[] = {
        { "OsFile::getOwner", [&] { APtr<char>( none.getOwner() ); } },
        { "OsFile::getSize", [&] { none.getSize(); } },
        { "OsFile::getAccess", [&] { none.getAccess( 1 ); } },
        { "OsFile::isReadable", [&] { none.isReadable(); } },
        { "OsFile::isWritable", [&] { none.isWritable(); } },
        { "OsFile::isSymLink", [&] { none.isSymLink(); } },
        { "OsFile::getType", [&] { none.getType(); } },
        { "OsFile::exists", [&] { none.exists(); } },
        { "OsFile::getInfo", [&] { none.getInfo(); } },
        { "OsFile::getUnbufferedInfo", [&] { none.getUnbufferedInfo(); } },
        { "OsFile::create",
          [&] {
              none.create( { 3, 1, 1 }, false );
          } },
        { "OsFile::remove", [&] { none.remove(); } },
        { "OsFile::renameTo", [&] { none.renameTo( other ); } },
        { "OsFile::renameTo", [&] { file.renameTo( OsFilePath() ); } },
        { "OsFile::copyTo", [&] { none.copyTo( other ); } },
        { "OsFile::copyTo", [&] { file.copyTo( OsFilePath() ); } },
    };
    for( const auto& expected : cases ) {
        EXPECT_EQ( reasonOf<OsFileEx::ExNullFilePath>( expected._operation ),
                   std::string( expected._where ) + ": File has null file path." );
    }
    EXPECT_FALSE( none.isFile() );
    EXPECT_FALSE( none.isDirectory() );
    EXPECT_TRUE( files.has( "file" ) );
}

TEST( OsFile, NeverTakesAPathThatCanNameNothingForAnother ) {
    const TestFiles files;
    files.write( "C:/file", "stays" );
    files.write( "part", "stays" );
    fs::current_path( files.at( "" ) );
    const std::string tooLong( 4095, 'x' );
    const std::string paths[] = { "C:/file",
                                  "c:\\file",
                                  "C:/new",
                                  files.path( "part" ).toString() + std::string( 1, '\0' ) + "x",
                                  files.path( std::string( 256, 'n' ) ).toString(),
                                  files.path().toString() + "/" + tooLong };
    for( const std::string& text : paths ) {
        SCOPED_TRACE( text );
        OsFile file{ OsFilePath( text ) };
        EXPECT_FALSE( file.exists() );
        EXPECT_THROW( file.create( { 3, 1, 1 }, false ), ExSysErrorWindows );
        EXPECT_THROW( file.getInfo(), ExSysErrorWindows );
        EXPECT_THROW( file.remove(), OsFileEx::ExInvalidPath );
        EXPECT_THROW( OsFsUtils::deleteFile( file.getPath() ), ExSysErrorWindows );
        EXPECT_THROW( OsFsUtils::createDirPath( file.getPath(), OsFilePath() ), ExSysErrorWindows );
        EXPECT_THROW( OsFile( files.path( "part" ) ).renameTo( file.getPath() ),
                      ExSysErrorWindows );
    }
    fs::current_path( "/" );
    EXPECT_EQ( files.read( "C:/file" ), "stays" );
    EXPECT_EQ( files.read( "part" ), "stays" );
    EXPECT_EQ( std::distance( fs::recursive_directory_iterator( files.at( "" ) ), {} ), 3 );
    // The longest name, and a name like a drive's behind a directory, are names like any other.
    for( const std::string& name : { std::string( 255, 'n' ), std::string( "C:" ) + "/file2" } ) {
        OsFile( files.path( name ) ).create( { 3, 1, 1 }, true );
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
        const int descriptor = static_cast<int>( handle );
        EXPECT_EQ( ::fcntl( descriptor, F_GETFL ) & O_ACCMODE, how );
        EXPECT_EQ( ::fcntl( descriptor, F_GETFD ), FD_CLOEXEC );
        file.close( handle );
        EXPECT_THAT( reasonOf<ExSysErrorWindows>( [&] { file.close( handle ); } ),
                     AllOf( StartsWith( "OsFile::close" ), HasSubstr( "/file'" ) ) );
    }
    EXPECT_THAT( reasonOf<ExSysErrorWindows>( [&] { OpenableFile( files.path() ).open( 3 ); } ),
                 StartsWith( "OsFile::performOpen" ) );
}

} // namespace
} // namespace Qv
