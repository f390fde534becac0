#include <resmgt/osal/osDirectory.h>
#include <resmgt/osal/osFileMapping.h>
#include <resmgt/osal/osFileReader.h>
#include <resmgt/osal/osFileWriter.h>
#include <resmgt/osal/osFsUtils.h>
#include <resmgt/osal/osMTFileReader.h>
#include <resmgt/osal/osMTFileWriter.h>
#include <resmgt/osal/osMultiplexer.h>
#include <resmgt/osal/osProcess.h>
#include <resmgt/osal/osUtils.h>
#include <resmgt/osal/osWakeUp.h>
#include <resmgt/osal/osWorkingDirectory.h>
#include <resmgt/osal/test/testFiles.h>
#include <tests/support/processCounts.h>
#include <tests/support/scopedEnvironment.h>

#include <csignal>
#include <fcntl.h>
#include <memory>
#include <sys/resource.h>

/// What all operations have in common when they fail.

namespace Qv {
namespace {

using Operation = std::function<void()>;
using Date = OPtr<OsDateTypes::DateRep>;
using Drives = OPtr<Vector<OsDriveInfo>>;
using OsFileTypes::FULL_PATH;

constexpr OsFileTypes::Permissions PERMISSIONS( 3, 1, 1 );
const OsPassThroughFilter all;

/// The reason of an exception that was copied and raised again with its own type.
template <class Exception, class... Args>
std::string reasonOf( const Args&... args ) {
    const std::unique_ptr<ExBase> copy( Exception( "file", 7, args... ).clone() );
    return raisedBy<Exception>( [&] { copy->raise(); } );
}

TEST( OsalFailureTest, ReasonsTellWhereAndWhatPath ) {
    using namespace OsFileEx;
    const OsFilePath path( std::string( "d\\f\0", 4 ) );
    const std::pair<std::string, const char*> cases[] = {
        { reasonOf<ExSeparatorNotAllowed>( "W", L"\u00fc/" ),
          "W: Separator not allowed in path elements: '\xc3\xbc/'." },
        { reasonOf<ExHomeNotDefined>( "W" ), "W: Cannot get home directory from the environment." },
        { reasonOf<ExPathNotReadable>( "W", path ), "W: Path is not readable: 'd/f?'." },
        { reasonOf<ExPathNotAbsolute>( "W", path ), "W: Path not absolute: 'd/f?'." },
        { reasonOf<ExRootDoesNotExist>( "W", path ), "W: Root does not exist: 'd/f?'." },
        { reasonOf<ExUnHardlinkableFs>( "W", path ),
          "W: Can't create a hardlink on this filesystem : 'd/f?'." },
        { reasonOf<ExNotEnoughSpace>( "W", path ),
          "W: filesystem doesn't have enough space to create file : 'd/f?'." },
        { reasonOf<ExInvalidCrossDeviceLink>( "W", path, OsFilePath( "b" ) ),
          "W: Can't create a hardlink from 'd/f?' to 'b'." },
        { reasonOf<ExEmptyDrive>( L"A:" ), "No disk in drive A:" } };
    for( const auto& [reason, expected] : cases ) {
        EXPECT_EQ( reason, expected );
    }
}

TEST( OsalFailureTest, TheEmptyPathIsRefused ) {
    const TestFiles files( "dir/file" );
    const OsFilePath noPath;
    OsFile none( noPath );
    OsFile file( files.path( "dir/file" ) );
    OsDirectory noDir( noPath );
    OsDirectory dir( files.path( "dir" ) );
    const std::pair<const char*, Operation> cases[] = {
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
        { "OsFile::renameTo", [&] { file.renameTo( noPath ); } },
        { "OsFile::copyTo", [&] { none.copyTo( files.path( "other" ) ); } },
        { "OsFile::copyTo", [&] { file.copyTo( noPath ); } },
        { "OsDirectory::remove", [&] { noDir.remove(); } },
        { "OsDirectory::create", [&] { noDir.create( PERMISSIONS ); } },
        { "OsDirectory::copyTo", [&] { noDir.copyTo( files.path( "other" ) ); } },
        { "OsDirectory::copyTo", [&] { dir.copyTo( noPath ); } },
        { "OsDirectory::getChildrenPath", [&] { noDir.getChildrenPath( FULL_PATH, all ); } },
        { "OsDirectory::getChildrenInfo", [&] { noDir.getChildrenInfo( all ); } },
        { "OsDirectory::hasChildren", [&] { noDir.hasChildren( all ); } },
        { "OsFsUtils::createFilePath", [&] { OsFsUtils::createDirPath( noPath, noPath ); } },
        { "OsFsUtils::getServerTime", [&] { Date( OsFsUtils::getServerTime( noPath ) ); } },
        { "OsFileReader::OsFileReader", [&] { OsFileReader( noPath, false ); } },
        { "OsFileWriter::OsFileWriter",
          [&] { OsFileWriter( noPath, PERMISSIONS, false, false ); } },
        { "OsFileAccessor::openRead", [&] { OsMTFileReader( noPath, false ); } },
        { "OsFileAccessor::openRead",
          [&] { OsMTFileWriter( noPath, PERMISSIONS, false, false ); } } };
    for( const auto& [where, operation] : cases ) {
        EXPECT_EQ( raisedBy<OsFileEx::ExNullFilePath>( operation ),
                   std::string( where ) + ": File has null file path." );
    }
    EXPECT_FALSE( none.isFile() || none.isDirectory() );
    EXPECT_EQ( files.count(), 2 );
}

TEST( OsalFailureTest, WhatTheSystemRefusesTellsOperationAndPathAndChangesNothing ) {
    const TestFiles files( "dir/file lost>nothing" );
    using OnPath = void ( * )( const OsFilePath& path );
    const OnPath renames = []( const OsFilePath& path ) {
        OsFile( path ).renameTo( path + "no/f" );
    };
    const OnPath makes = []( const OsFilePath& path ) { OsFsUtils::createDir( path, true ); };
    const OnPath makesNew = []( const OsFilePath& path ) { OsFsUtils::createDir( path, false ); };
    const OnPath removes = []( const OsFilePath& path ) { OsFile( path ).remove(); };
    const OnPath removesDir = []( const OsFilePath& path ) { OsDirectory( path ).remove(); };
    const OnPath asks = []( const OsFilePath& path ) { OsFsUtils::getFreeSpace( path ); };
    const std::tuple<const char*, const char*, OnPath> cases[] = {
        { "OsFile::performRenameTo", "dir/file", renames },
        { "OsFile::performRemove", "dir", removes },
        { "OsDirectory::performRemove", "dir", removesDir },
        { "OsDirectory::performRemove", "dir/file", removesDir },
        { "OsFsUtils::createDir", "dir", makesNew },
        { "OsFsUtils::createDir", "lost", makes },
        { "OsFsUtils::createDir", "no/dir", makes },
        { "OsFsUtils::deleteFile", "dir", OsFsUtils::deleteFile },
        { "OsFsUtils::deleteFile", "nothing", OsFsUtils::deleteFile },
        { "OsFsUtils::removeDir", "dir", OsFsUtils::removeDir },
        { "OsFsUtils::removeDir", "dir/file", OsFsUtils::removeDir },
        { "OsFsUtils::getFreeSpace", "no", asks } };
    for( const auto& [where, name, operation] : cases ) {
        EXPECT_THAT(
            raisedBy<Sys>( [&, &run = operation, &on = name] { run( files.path( on ) ); } ),
            tells( where, files.path( name ).getChars() ) );
    }
    EXPECT_EQ( files.count(), 3 );
}

TEST( OsalFailureTest, AFailedCallIsToldWithOperationAndReason ) {
    const TestFiles files( "file" );
    const OsFilePath file = files.path( "file" );
    const OsFilePath made = files.path( "new" );
    const std::string inTop = " '" + files.path().toString() + "'";
    const std::string inFile = " '" + file.toString() + "'";
    const Operation list = [&] { OsDirectory( files.path() ).getChildrenInfo( all ); };
    const Operation enter = [&] { OsWorkingDirectory::Guard guard( files.path() ); };
    OsMultiplexer multiplexer;
    OsProcess process;
    const char* const argv[] = { "/bin/true", nullptr };
    const Operation start = [&] { process.start( argv, OsProcess::DETACHED ); };
    const std::tuple<const char*, std::string, Operation> cases[] = {
        { "linkat", "OsFsUtils::createHardLink" + inFile,
          [&] { OsFsUtils::createHardLink( file, made ); } },
        { "linkat", "OsFsUtils::createHardLink" + inFile,
          [&] { OsFsUtils::hardLinkOrCopy( file, made ); } },
        { "open", "OsFile::performGetAccess" + inFile, [&] { OsFile( file ).isReadable(); } },
        { "open", "OsFsUtils::getDriveInfos", [] { Drives{ OsFsUtils::getAllDriveInfo() }; } },
        { "open", "OsFsUtilsWindows::getFirstChildInfo" + inTop, list },
        { "fdopendir", "OsFsUtilsWindows::getFirstChildInfo" + inTop, list },
        { "readdir", "OsFsUtilsWindows::getFirstChildInfo" + inTop, list },
        { "chdir", "OsWorkingDirectory::set" + inTop, enter },
        { "select", "OsMultiplexer::waitFor 'select failed'", [&] { multiplexer.waitFor( 0 ); } },
        { "posix_spawnp", "OsProcess::start '/bin/true'", start },
        { "gethostname", "OsUtils::getHostName", OsUtils::getHostName },
        { "getpwuid_r", "OsUtils::getUserName", [] { OsUtils::getUserName( true ); } },
        { "getpwuid_r", "OsUtils::getPidUserName", OsUtils::getPidUserName },
        { "getifaddrs", "OsUtils::getMacAddress", OsUtils::getMacAddress },
        { "readlink", "OsUtils::getModulePath", OsUtils::getModulePath },
        { "readlink", "OsUtils::getModuleName", OsUtils::getModuleName } };
    const int nbDescriptors = countDescriptors();
    for( const auto& [call, where, operation] : cases ) {
        const FailingCall failing( call, EMFILE );
        EXPECT_THAT( raisedBy<Sys>( operation ),
                     tells( where, ": Too many open files (error 24)" ) );
    }
    EXPECT_EQ( countDescriptors(), nbDescriptors );
    EXPECT_EQ( files.count(), 1 );
}

/// Works on `files`, which holds "file" and "dir/file", and adds at most "new".
struct Making {
    Operation run;
    /// What "new" holds then, if it is a file.
    std::string content;
};

std::vector<Making> operationsOn( const TestFiles& files ) {
    const OsFilePath file = files.path( "file" );
    const OsFilePath dir = files.path( "dir" );
    const OsFilePath made = files.path( "new" );
    const std::string content = files.read( "file" );
    std::vector<Making> operations{
        { [=] { OsFsUtils::createFile( made, PERMISSIONS, true ); }, "" },
        { [=] { OsFsUtils::createFile( made, PERMISSIONS, false ); }, "" },
        { [=] { OsFsUtils::createDir( made, true ); }, "" },
        { [=] { OsFsUtils::createFilePath( made, OsFilePath(), PERMISSIONS ); }, "" },
        { [=] { OsFsUtils::hardLinkOrCopy( file, made ); }, content },
        { [=] { Date( OsFsUtils::getServerTime( dir ) ); }, "" },
        { [=] { Drives{ OsFsUtils::getAllDriveInfo() }; }, "" },
        { [=] { OsFsUtils::getFreeSpace( dir ); }, "" },
        { [=] { OsFile( file ).getInfo(); }, "" },
        { [=] { OsFile( file ).getAccess( 3 ); }, "" },
        { [=] { OsFile( file ).copyTo( made ); }, content },
        { [=] { OsDirectory( dir ).getChildrenInfo( all ); }, "" },
        { [=] { OsDirectory( dir ).getChildren( all ); }, "" } };
    for( const bool unbuffered : { false, true } ) {
        operations.push_back( { [=] { OsFileReader( file, unbuffered ); }, "" } );
        operations.push_back( { [=] { OsMTFileReader( file, unbuffered ); }, "" } );
        operations.push_back(
            { [=] { OsFileWriter( file, PERMISSIONS, false, unbuffered ); }, "" } );
        operations.push_back(
            { [=] { OsMTFileWriter( file, PERMISSIONS, false, unbuffered ); }, "" } );
    }
    return operations;
}

class OsalOperationTest : public ::testing::Test {
protected:
    OsalOperationTest() {
        _files.write( "file", _content );
        _files.write( "dir/file" );
    }
    std::string contentOfNew() const {
        return fs::is_directory( _files.at( "new" ) ) ? "" : _files.read( "new" );
    }

    const TestFiles _files;
    const std::string _content = std::string( 3 * 0x10000 + 17, 'x' );
};

TEST_F( OsalOperationTest, EachFailedCallLeavesNothingBehindThatCanBeRemoved ) {
    for( const auto& [operation, content] : operationsOn( _files ) ) {
        for( const int error : { EIO, ENOSPC } ) {
            bool hasRaised = false;
            forEachFailingCall(
                error, [&, &run = operation] { hasRaised = !raisedBy<ExBase>( run ).empty(); },
                [&, &made = content]( const FailedRun& run ) {
                    EXPECT_FALSE( hasRaised && run.call == nullptr );
                    EXPECT_EQ( _files.read( "file" ), _content );
                    // What can't be removed, since that is what fails, stays.
                    const bool isRemovable = run.times == FailingCall::ONCE &&
                                             run.call != nullptr &&
                                             std::strcmp( run.call, "unlink" ) != 0;
                    EXPECT_FALSE( hasRaised && isRemovable && _files.count() != 3 ) << run.call;
                    EXPECT_TRUE( hasRaised || contentOfNew() == made ) << run.number;
                    for( const auto& entry : fs::directory_iterator( _files.at( "dir" ) ) ) {
                        if( entry.path().filename() != "file" ) {
                            fs::remove( entry );
                        }
                    }
                    fs::remove( _files.at( "new" ) );
                } );
        }
    }
}

TEST_F( OsalOperationTest, IsNotDisturbedByAStormOfSignals ) {
    for( const Making& operation : operationsOn( _files ) ) {
        // Every second call, so that each succeeds when it is made again. No signal ends `fcntl`.
        const CallHook storm( nullptr, []( const SystemCall& call ) {
            return call.number % 2 == 1 && call.name != std::string( "fcntl" ) ? EINTR : 0;
        } );
        EXPECT_NO_THROW( operation.run() );
        EXPECT_TRUE( contentOfNew() == operation.content );
        fs::remove( _files.at( "new" ) );
    }
}

/// Whether a descriptor of one of the standard streams is open.
bool hasStream() {
    const int streams[] = { STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO };
    return std::ranges::any_of( streams,
                                []( int stream ) { return ::fcntl( stream, F_GETFD ) >= 0; } );
}

/// All of the file layer in a process without standard streams; its exit status.
int workWithoutStreams( const TestFiles& files ) {
    int status = 0;
    for( int stream = STDIN_FILENO; stream <= STDERR_FILENO; ++stream ) {
        ::close( stream );
    }
    // Moving a descriptor away takes these two.
    const CallHook hook( nullptr, [&]( const SystemCall& call ) {
        const std::string name( call.name );
        status |= name != "fcntl" && name != "close" && hasStream() ? 1 : 0;
        return 0;
    } );
    try {
        for( const Making& operation : operationsOn( files ) ) {
            operation.run();
            fs::remove( files.at( "new" ) );
        }
        OsFsUtils::fileExists( files.path( "*" ) );
        OsFile( files.path( "file" ) ).getUnbufferedInfo();
        const OsMTFileWriter writer( files.path( "file" ), PERMISSIONS, false, false );
        const OsFileMapping mapping( files.path( "file" ).toWString().c_str(), 0, 0, true );
        const OsWakeUp wakeUp;
        return status | ( hasStream() ? 2 : 0 );
    } catch( ... ) {
        return 4;
    }
}

TEST_F( OsalOperationTest, NothingThatIsOpenedGetsTheNumberOfAClosedStream ) {
    EXPECT_EXIT( ::_exit( workWithoutStreams( _files ) ), ::testing::ExitedWithCode( 0 ), "" );
}

TEST_F( OsalOperationTest, ALackOfDescriptorsOrMemoryIsNoAnswer ) {
    const ScopedEnvironment noHome( "HOME" );
    const ScopedEnvironment configuration( "XDG_CONFIG_HOME", _files.at( "" ).c_str() );
    _files.write( "user-dirs.dirs", "XDG_DOCUMENTS_DIR=\"/d\"" );
    const OsFilePath file = _files.path( "file" );
    const OsFilePath dir = _files.path( "dir" );
    const Operation questions[] = {
        [&] { OsFsUtils::isFile( file ); }, [&] { OsFsUtils::isDirectory( file ); },
        [&] { OsFsUtils::isSymLink( file ); }, [&] { OsFsUtils::fileExists( file ); },
        [&] { OsFsUtils::fileExists( _files.path( "none*" ) ); }, [&] { OsFile( file ).getType(); },
        [&] { OsFile( file ).getAccess( 3 ); }, [&] { OsFile( dir ).getAccess( 3 ); },
        // A volume of which nothing is kept, since it has no unbuffered transfers.
        [&] { OsFile( "/proc" ).getUnbufferedInfo(); },
        [&] { OsDirectory( _files.path() ).getChildrenInfo( all ); },
        [&] { OsFilePath::getHomeDir(); }, [&] { OsFilePath::getUserDocumentsDir(); } };
    for( const Operation& question : questions ) {
        for( const int error : { EMFILE, ENFILE, ENOMEM } ) {
            bool hasRaised = false;
            forEachFailingCall(
                error, [&] { hasRaised = !raisedBy<ExBase>( question ).empty(); },
                [&]( const FailedRun& run ) {
                    const std::string call( run.call != nullptr ? run.call : "" );
                    const bool mayFail = call.empty() || call == "close" || call == "closedir";
                    EXPECT_TRUE( hasRaised || mayFail )
                        << &question - questions << ' ' << call << ' ' << run.number;
                } );
        }
    }
}

TEST( OsalFailureTest, ADirectoryThatCantBeOpenedIsNoFileInTheWay ) {
    const TestFiles files( "from/file to/file/" );
    const Operation copies[] = {
        [&] { OsFile( files.path( "from/file" ) ).copyTo( files.path( "to/file" ) ); },
        [&] { OsDirectory::copyHierarchy( files.path( "from" ), files.path( "to" ) ); } };
    for( const Operation& copy : copies ) {
        std::string failure;
        const auto check = [&]( const FailedRun& run ) {
            EXPECT_TRUE( failure.empty() || failure.ends_with( "Too many open files (error 24)" ) )
                << run.call << ' ' << failure;
            fs::remove( files.at( "to/file/file" ) );
        };
        forEachFailingCall(
            EMFILE, [&] { failure = raisedBy<ExBase>( copy ); }, check );
    }
}

/// What goes beyond a limit for the size of files, in a process that would die of SIGXFSZ.
int workBeyondTheLimit( const TestFiles& files ) {
    const auto limit = static_cast<rlim_t>( 0x10000 );
    const struct rlimit limits { limit, RLIM_INFINITY };
    ::setrlimit( RLIMIT_FSIZE, &limits );
    std::signal( SIGXFSZ, SIG_DFL );
    const std::string text( 2 * limit, 'x' );
    const OsFilePath path = files.path( "new" );
    OsFileWriter writer( path, PERMISSIONS, true, false );
    OsMTFileWriter positioned( path, PERMISSIONS, true, false );
    const Operation operations[] = {
        [&] { writer.write( text.data(), text.size() ); },
        [&] { positioned.write( text.data(), 10, text.size() ); },
        [&] { writer.reserve( text.size() ); },
        [&] { positioned.reserve( text.size() ); },
        [&] { OsFileMapping( path.toWString().c_str(), 0, text.size(), false ); },
        [&] { OsFile( files.path( "file" ) ).copyTo( files.path( "copy" ) ); } };
    int nbNotRaised = 0;
    for( const Operation& operation : operations ) {
        nbNotRaised += raisedBy<ExBase>( operation ).empty();
    }
    sigset_t present;
    ::sigpending( &present );
    nbNotRaised += ::sigismember( &present, SIGXFSZ );
    if( nbNotRaised == 0 && fs::file_size( files.at( "new" ) ) == limit && !files.has( "copy" ) ) {
        std::fputs( "Nothing ended it. ", stderr );
        // The process's own way with the signal is what it was.
        const int own = ::open( files.at( "own" ).c_str(), O_WRONLY | O_CREAT, 0600 );
        static_cast<void>( !::pwrite( own, "x", 1, static_cast<off_t>( limit ) ) );
    }
    return 1;
}

TEST_F( OsalOperationTest, TheLimitForTheSizeOfFilesIsAFailureAndNoEndOfTheProcess ) {
    EXPECT_EXIT( ::_exit( workBeyondTheLimit( _files ) ), ::testing::KilledBySignal( SIGXFSZ ),
                 "Nothing ended it" );
}

} // namespace
} // namespace Qv
