#include <base/failure/exStandard.h>
#include <base/failure/exSysError.h>
#include <resmgt/osal/osDirectory.h>
#include <resmgt/osal/osFileEx.h>
#include <resmgt/osal/osFileUtils.h>
#include <resmgt/osal/osFsUtils.h>
#include <resmgt/osal/src/posix/mountTablePosix.h>
#include <resmgt/osal/test/failingCalls.h>
#include <resmgt/osal/test/testFiles.h>

#include <gmock/gmock.h>
#include <sys/statvfs.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <functional>
#include <vector>

namespace Qv {
namespace {

using ::testing::AllOf;
using ::testing::ContainsRegex;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::StartsWith;
using Sys = ExSysErrorWindows;

constexpr OsFileTypes::Permissions PERMISSIONS( 3, 1, 1 );

TEST( OsFsUtils, WildcardsOfTheLastComponentFindFiles ) {
    const TestFiles files;
    files.write( "dir/shot.0001.exr" );
    files.write( "dir/a*b" );
    files.write( "dir/back\\slash" );
    files.write( "\xc3\xa4" );
    files.write( "empty/" );
    files.link( "nothing", "lost" );
    for( const char* name : { "dir", "dir/", "dir/shot.0001.exr", "dir/shot.*.exr", "dir/a*b",
                              "lost", "los?", "?" } ) {
        EXPECT_TRUE( OsFsUtils::fileExists( files.path( name ) ) ) << name;
    }
    for( const char* name : { "dir/shot.?.exr", "dir/SHOT*", "d?r/shot.0001.exr", "dir/back*",
                              "empty/*", "nothing", "nothing/*", "dir/shot.0001.exr/*" } ) {
        EXPECT_FALSE( OsFsUtils::fileExists( files.path( name ) ) ) << name;
    }
    EXPECT_TRUE( OsFsUtils::fileExists( OsFilePath( "/" ) ) );
    EXPECT_FALSE( OsFsUtils::fileExists( OsFilePath() ) );
    EXPECT_TRUE( OsFsUtils::fileExists( OsFilePath( "/et?" ) ) );
}

TEST( OsFsUtils, MakesAPathWithAllItsMissingParents ) {
    struct Case {
        const char* _path;
        const char* _top;
        bool _isDirectory;
        // -1 for a failure.
        int _nbMade;
    };
    const Case cases[] = {
        { "first", "", false, 1 },     { "a/b/file", "", false, 3 }, { "a/b/file", "", false, 0 },
        { "a/b", "", true, 0 },        { "a/c/d", "", true, 2 },     { "a/e/f", "a", true, 2 },
        { "a/g/h", "a/g", true, -1 },  { "i/j", "i", true, -1 },     { "i/j", "i/j", true, 2 },
        { "k/l/m", "other", true, 3 }, { "first/n", "", true, -1 },  { "first", "", true, 0 } };
    const TestFiles files;
    const WorkingIn working( files.at( "" ) );
    for( const bool isAbsolute : { true, false } ) {
        const std::string start = isAbsolute ? files.path().toString() + "/abs" : "rel";
        fs::create_directory( files.at( isAbsolute ? "abs" : "rel" ) );
        for( const Case& expected : cases ) {
            SCOPED_TRACE( start + "/" + expected._path + " below " + expected._top );
            const OsFilePath path( start + "/" + expected._path );
            const OsFilePath top( *expected._top == '\0' ? "" : start + "/" + expected._top );
            int nbMade = -1;
            try {
                nbMade = expected._isDirectory
                             ? OsFsUtils::createDirPath( path, top )
                             : OsFsUtils::createFilePath( path, top, PERMISSIONS );
                EXPECT_TRUE( OsFsUtils::fileExists( path ) );
            } catch( const Sys& failure ) {
                EXPECT_THAT( failure.getReason(), StartsWith( "OsFsUtils::createFilePath" ) );
            }
            EXPECT_EQ( nbMade, expected._nbMade );
        }
        // Nothing at or above the top was made for a failure.
        EXPECT_FALSE( OsFsUtils::fileExists( OsFilePath( start + "/a/g" ) ) );
    }
    const OsFilePath none;
    EXPECT_EQ(
        reasonOf<OsFileEx::ExNullFilePath>( [&] { OsFsUtils::createDirPath( none, none ); } ),
        "OsFsUtils::createFilePath: File has null file path." );
}

TEST( OsFsUtils, AParentThatMayNotBeMadeIsPassedOver ) {
    const TestFiles files;
    files.write( "server/" );
    // The server's own directories exist but deny to be made.
    long nbCalls = 0;
    const CallHook denying( "mkdir", [&]( const SystemCall& ) {
        ++nbCalls;
        return nbCalls == 1 ? ENOENT : nbCalls < 4 ? EACCES : 0;
    } );
    EXPECT_GE( OsFsUtils::createDirPath( files.path( "server/dir" ), OsFilePath() ), 1 );
    EXPECT_TRUE( fs::is_directory( files.at( "server/dir" ) ) );
}

TEST( OsFsUtils, MakesADirectoryOrTellsWhatIsInItsPlace ) {
    const TestFiles files;
    files.write( "file" );
    files.link( "nothing", "lost" );
    OsFsUtils::createDir( files.path( "dir" ), false );
    OsFsUtils::createDir( files.path( "dir" ), true );
    EXPECT_TRUE( fs::is_directory( files.at( "dir" ) ) );
    EXPECT_STREQ( reasonOf<ExInternalError>( [&] {
                      OsFsUtils::createDir( files.path( "file" ), true );
                  } ).c_str(),
                  "A regular file with the same path name exists." );
    const std::pair<const char*, bool> failures[] = {
        { "dir", false }, { "lost", true }, { "no/dir", true } };
    for( const auto& [name, ignoreExisting] : failures ) {
        EXPECT_THAT( reasonOf<Sys>( [&, &path = name, &ignore = ignoreExisting] {
                         OsFsUtils::createDir( files.path( path ), ignore );
                     } ),
                     AllOf( StartsWith( "OsFsUtils::createDir" ), HasSubstr( name ) ) );
    }
}

TEST( OsFsUtils, LinksWhereItCanAndTellsWhyWhereItCannot ) {
    const TestFiles files;
    files.write( "from", "text" );
    files.link( "from", "link" );
    OsFsUtils::createHardLink( files.path( "link" ), files.path( "to" ) );
    EXPECT_TRUE( fs::equivalent( files.at( "from" ), files.at( "to" ) ) );
    EXPECT_FALSE( fs::is_symlink( files.at( "to" ) ) );
    const std::string from = files.path( "from" ).toString();
    const std::string to = files.path( "new" ).toString();
    const auto failWith = [&]( int error ) {
        const FailingCall failing( "linkat", error );
        OsFsUtils::createHardLink( OsFilePath( from ), OsFilePath( to ) );
    };
    EXPECT_EQ( reasonOf<OsFileEx::ExFileExists>( [&] { failWith( EEXIST ); } ),
               "OsFsUtils::createHardLink: File '" + to + "' already exists." );
    EXPECT_THAT( reasonOf<OsFileEx::ExUnHardlinkableFs>( [&] { failWith( EPERM ); } ),
                 HasSubstr( to ) );
    EXPECT_THAT( reasonOf<OsFileEx::ExInvalidCrossDeviceLink>( [&] { failWith( EXDEV ); } ),
                 AllOf( HasSubstr( from ), HasSubstr( to ) ) );
    EXPECT_THAT( reasonOf<Sys>( [&] { failWith( EMLINK ); } ),
                 StartsWith( "OsFsUtils::createHardLink" ) );
}

TEST( OsFsUtils, CopiesWhereThereCannotBeALink ) {
    const TestFiles files;
    files.write( "from", "text" );
    const std::tuple<int, const char*, bool> cases[] = {
        { 0, "linked", true }, { EPERM, "copied", false }, { EXDEV, "copiedToo", false } };
    for( const auto& [error, name, isLink] : cases ) {
        const CallHook call( "linkat", [&, &code = error]( const SystemCall& ) { return code; } );
        OsFsUtils::hardLinkOrCopy( files.path( "from" ), files.path( name ) );
        EXPECT_EQ( files.read( name ), "text" );
        EXPECT_EQ( fs::equivalent( files.at( "from" ), files.at( name ) ), isLink );
    }
    const CallHook never( "linkat", []( const SystemCall& ) { return EIO; } );
    const auto linkOrCopy = [&]( const char* from, const char* to ) {
        OsFsUtils::hardLinkOrCopy( files.path( from ), files.path( to ) );
    };
    EXPECT_THAT( reasonOf<OsFileEx::ExInvalidPath>( [&] { linkOrCopy( "nothing", "new" ); } ),
                 AllOf( StartsWith( "OsFsUtils::hardLinkOrCopy" ), HasSubstr( "nothing" ) ) );
    EXPECT_THAT( reasonOf<OsFileEx::ExFileExists>( [&] { linkOrCopy( "from", "copied" ); } ),
                 AllOf( StartsWith( "OsFsUtils::hardLinkOrCopy" ), HasSubstr( "copied" ) ) );
    EXPECT_EQ( never.nbCalls(), 0 );
    EXPECT_THROW( linkOrCopy( "from", "new" ), Sys );
    EXPECT_FALSE( files.has( "new" ) );
}

TEST( OsFsUtils, RemovesAFileOrAnEmptyDirectoryAndNothingElse ) {
    const TestFiles files;
    files.write( "dir/file" );
    for( const char* name : { "dir", "nothing" } ) {
        EXPECT_THAT( reasonOf<Sys>( [&] { OsFsUtils::deleteFile( files.path( name ) ); } ),
                     AllOf( StartsWith( "OsFsUtils::deleteFile" ), HasSubstr( name ) ) );
    }
    for( const char* name : { "dir", "dir/file" } ) {
        EXPECT_THAT( reasonOf<Sys>( [&] { OsFsUtils::removeDir( files.path( name ) ); } ),
                     AllOf( StartsWith( "OsFsUtils::removeDir" ), HasSubstr( name ) ) );
    }
    OsFsUtils::deleteFile( files.path( "dir/file" ) );
    OsFsUtils::removeDir( files.path( "dir" ) );
    EXPECT_EQ( files.count(), 0 );
}

TEST( OsFsUtils, TellsTheFileSystemsTimeAndLeavesNoFile ) {
    const TestFiles files;
    files.write( "file" );
    const OsDateTypes::DateRep before(
        *OPtr<OsDateTypes::DateRep>( OsFile( files.path( "file" ) ).getLastModificationTime() ) );
    for( const OsFilePath& path : { files.path(), files.path( "file" ) } ) {
        const OPtr<OsDateTypes::DateRep> time( OsFsUtils::getServerTime( path ) );
        EXPECT_GE( *time, before );
        EXPECT_LT( time->getSeconds(), before.getSeconds() + 600 );
    }
    EXPECT_THROW( OPtr<OsDateTypes::DateRep>( OsFsUtils::getServerTime( OsFilePath() ) ),
                  OsFileEx::ExNullFilePath );
    EXPECT_EQ( files.count(), 1 );
}

/// Each adds at most one entry to `files`, which holds "file" and "dir/file".
std::vector<std::function<void()>> operationsOn( const TestFiles& files ) {
    const OsPassThroughFilter all;
    const OsFilePath file = files.path( "file" );
    const OsFilePath dir = files.path( "dir" );
    const OsFilePath made = files.path( "new" );
    return { [=] { OsFsUtils::createFile( made, PERMISSIONS, true ); },
             [=] { OsFsUtils::createFile( made, PERMISSIONS, false ); },
             [=] { OsFsUtils::createDir( made, true ); },
             [=] { OsFsUtils::createFilePath( made, OsFilePath(), PERMISSIONS ); },
             [=] { OsFsUtils::hardLinkOrCopy( file, made ); },
             [=] { OPtr<OsDateTypes::DateRep>( OsFsUtils::getServerTime( dir ) ); },
             [=] { OPtr<Vector<OsDriveInfo>>( OsFsUtils::getAllDriveInfo() ); },
             [=] { OsFsUtils::getFreeSpace( dir ); },
             [=] { OsFile( file ).getInfo(); },
             [=] { OsFile( file ).getAccess( 3 ); },
             [=] { OsFile( file ).copyTo( made ); },
             [=] { OsDirectory( dir ).getChildrenInfo( all ); },
             [=] { OsDirectory( dir ).getChildren( all ); } };
}

TEST( OsFsUtils, EachFailedCallLeavesNothingBehindThatCanBeRemoved ) {
    const TestFiles files;
    files.write( "file", "text" );
    files.write( "dir/file" );
    for( const auto& operation : operationsOn( files ) ) {
        bool hasRaised = false;
        forEachFailingCall(
            EIO,
            [&] {
                try {
                    hasRaised = false;
                    operation();
                } catch( const ExBase& ) {
                    hasRaised = true;
                }
            },
            [&]( const FailedRun& run ) {
                EXPECT_FALSE( hasRaised && run.call == nullptr );
                // What can't be removed, since that is what fails, stays.
                const bool isRemovable = run.times == FailingCall::ONCE && run.call != nullptr &&
                                         std::strcmp( run.call, "unlink" ) != 0;
                EXPECT_FALSE( hasRaised && isRemovable && files.count() != 3 ) << run.call;
                for( const auto& entry : fs::directory_iterator( files.at( "dir" ) ) ) {
                    if( entry.path().filename() != "file" ) {
                        fs::remove( entry );
                    }
                }
                fs::remove( files.at( "new" ) );
            } );
    }
}

TEST( OsFsUtils, AStormOfSignalsIsNoFailure ) {
    const TestFiles files;
    files.write( "file", "text" );
    files.write( "dir/file" );
    for( const auto& operation : operationsOn( files ) ) {
        // Every second call, so that each succeeds when it is made again.
        const CallHook storm(
            nullptr, []( const SystemCall& call ) { return call.number % 2 == 1 ? EINTR : 0; } );
        EXPECT_NO_THROW( operation() );
        fs::remove( files.at( "new" ) );
    }
}

TEST( OsFsUtils, TellsTheVolumesSpace ) {
    const TestFiles files;
    struct statvfs status {};
    ASSERT_EQ( ::statvfs( files.at( "" ).c_str(), &status ), 0 );
    EXPECT_EQ( OsFsUtils::getTotalSpace( files.path() ), status.f_blocks * status.f_frsize );
    EXPECT_LE( OsFsUtils::getFreeSpace( files.path() ), status.f_blocks * status.f_frsize );
    EXPECT_THAT( reasonOf<Sys>( [&] { OsFsUtils::getFreeSpace( files.path( "no" ) ); } ),
                 StartsWith( "OsFsUtils::getFreeSpace" ) );
}

TEST( OsFsUtils, TheNullDeviceSwallowsAndIsEmpty ) {
    EXPECT_EQ( OsFsUtils::getNullDevicePath().toString(), "/dev/null" );
    EXPECT_TRUE( OsFile( OsFsUtils::getNullDevicePath() ).isFile() );
    EXPECT_EQ( OsFile( OsFsUtils::getNullDevicePath() ).getAccess( 3 ), 3 );
}

constexpr const char* MOUNTS =
    "22 1 8:1 / / rw,relatime shared:1 - ext4 /dev/sda1 rw\n"
    "23 22 0:21 / /proc rw shared:2 - proc proc rw\n"
    "24 22 0:22 / /dev/shm rw - tmpfs tmpfs rw\n"
    "25 22 8:2 / /boot/efi rw - vfat /dev/sda2 rw\n"
    "26 22 8:17 / /media/My\\040Disk rw shared:3 master:1 - ext4 /dev/sdb1 rw\n"
    "27 22 0:40 / /net/plates rw - nfs4 Filer:/Plates/Film rw,addr=10.0.0.1\n"
    "28 22 0:41 / /net/win rw - cifs //Server/Share rw\n"
    "29 22 0:42 / /net/odd rw - fuse.sshfs odd rw\n"
    "30 22 11:0 / /media/cd ro - iso9660 /dev/sr0 ro\n"
    "31 22 0:43 / /ram rw - tmpfs ram rw\n"
    "32 22 8:1 /srv /bind rw - ext4 /dev/sda1 rw\n"
    "33 22 8:33 / /run/media/me/usb rw - vfat /dev/sdc1 rw\n"
    "34 22 7:0 / /snap/tool/1 ro - squashfs /dev/loop0 ro\n"
    "35 22 0:50 / /home/me/.gvfs rw - fuse.gvfsd-fuse gvfsd-fuse rw\n"
    "36 22 8:49 / /data rw - xfs /dev/sdd1 rw\n"
    "37 36 0:51 / /data rw - zfs pool/data rw\n"
    "38 22 0:52 / /processing rw - xfs /dev/sde1 rw\n"
    "torn\n39 22 0:53 / - -\n";

TEST( OsDriveEntryDescriptor, FindsTheVolumesThatAPersonLooksForAndNamesThem ) {
    std::vector<std::string> labels;
    for( const Mount& mount :
         selectVolumes( parseMountTable( MOUNTS ), []( const Mount& ) { return true; } ) ) {
        const auto type = getDriveType( mount, mount.device == "8:33" );
        labels.push_back( std::to_string( type ) + " " +
                          makeDriveLabel( mount, type, mount.device == "8:17" ? "Data" : "" ) );
    }
    EXPECT_THAT( labels, ElementsAre( "3 Local Disk (/)", "3 Data (/media/My Disk)",
                                      "4 /plates/film on 'filer' (/net/plates)",
                                      "4 share on 'server' (/net/win)",
                                      "4 Network Drive (/net/odd)", "5 Compact Disc (/media/cd)",
                                      "6 RAM Disk (/ram)", "2 Removable Media (/run/media/me/usb)",
                                      "3 Local Disk (/data)", "3 Local Disk (/processing)" ) );
}

TEST( OsDriveEntryDescriptor, ListsThisMachinesVolumes ) {
    EXPECT_FALSE( OsFsUtils::supportDrives() );
    const OPtr<Vector<OsDriveInfo>> drives( OsFsUtils::getAllDriveInfo() );
    const auto root = std::find_if( drives->begin(), drives->end(), []( const OsDriveInfo& drive ) {
        return drive.getPath() == OsFilePath( "/" );
    } );
    ASSERT_NE( root, drives->end() );
    EXPECT_EQ( root->getName(), "/" );
    EXPECT_THAT( root->getLabel(), ::testing::EndsWith( " (/)" ) );
    EXPECT_EQ( root->getStatus(), OsDriveInfo::READY );
    EXPECT_EQ( root->getType(), OsFileTypes::DIRECTORY );
    EXPECT_GT( root->getTotalSpace(), 0U );
    EXPECT_LE( root->getFreeSpace(), root->getTotalSpace() );
    const OPtr<OsDriveEntryDescriptor> entries( OsDriveEntryDescriptor::create() );
    const OPtr<OsDriveInfo> first( OsFsUtils::getDriveInfo( *entries ) );
    const OPtr<OsDriveEntryDescriptor> clone( entries->clone() );
    entries->reset();
    EXPECT_EQ( OPtr<OsDriveInfo>( entries->getNextEntry() )->getName(), first->getName() );
    std::size_t nbLeft = 0;
    while( !OPtr<OsDriveInfo>( clone->getNextEntry() ).isNull() ) {
        ++nbLeft;
    }
    EXPECT_EQ( nbLeft + 1, drives->size() );
}

TEST( OsDriveEntryDescriptor, AVolumeThatCannotBeAskedIsStillTold ) {
    const CallHook failing( nullptr, []( const SystemCall& call ) {
        const std::string name( call.name );
        return name == "statx" || name == "statvfs" ? EIO : 0;
    } );
    const OPtr<OsDriveEntryDescriptor> entries( OsDriveEntryDescriptor::create() );
    const OPtr<OsDriveInfo> drive( entries->getNextEntry() );
    ASSERT_FALSE( drive.isNull() );
    EXPECT_EQ( drive->getTotalSpace(), 0U );
    EXPECT_EQ( drive->getOwner(), "" );
    EXPECT_EQ( drive->getType(), OsFileTypes::DIRECTORY );
    const FailingCall noTable( "open", EMFILE );
    entries->reset();
    EXPECT_THAT( reasonOf<Sys>( [&] { OPtr<OsDriveInfo>( entries->getNextEntry() ); } ),
                 StartsWith( "OsFsUtils::getDriveInfos" ) );
}

TEST( OsFileUtils, UniqueNamesDifferAndKeepTheirParts ) {
    const TestFiles files;
    const char* const uuid = "[0-9a-f]{8}(-[0-9a-f]{4}){3}-[0-9a-f]{12}";
    const auto name = [&]( const char* prefix, const char* extension ) {
        return OsFileUtils::createUniqueFileName( files.path(), prefix, extension ).toString();
    };
    const std::string start = "^" + files.path().toString() + "/";
    EXPECT_THAT( name( "pre", "exr" ), ContainsRegex( start + "pre" + uuid + "\\.exr$" ) );
    EXPECT_THAT( name( nullptr, nullptr ), ContainsRegex( start + uuid + "$" ) );
    EXPECT_NE( name( "pre", "exr" ), name( "pre", "exr" ) );
    EXPECT_EQ( files.count(), 0 );
    const mode_t former = ::umask( 0 );
    const OsFilePath file = OsFileUtils::createUniqueFile( files.path(), "file", { 3, 0, 0 } );
    const OsFilePath directory =
        OsFileUtils::createUniqueDir( files.path( "new" ), "dir", { 3, 0, 0 } );
    ::umask( former );
    EXPECT_EQ( fs::status( file.toString() ).permissions(), fs::perms( 0600 ) );
    EXPECT_EQ( fs::status( directory.toString() ).permissions(), fs::perms( 0700 ) );
    EXPECT_EQ( directory.getDirectoryName(), files.path( "new" ) );
}

TEST( OsFileUtils, WalkDividesAPathIntoWhatExistsAndWhatIsMissing ) {
    const TestFiles files;
    files.write( "a/b/file" );
    const WorkingIn working( files.at( "" ) );
    const OsFilePath here = OsFilePath::getCurrentDir();
    const struct {
        OsFilePath _path, _existing, _missing;
    } cases[] = { { "", "", "" },
                  { "a/b", here + "a/b", "" },
                  { "a/c/d", here + "a", "c/d" },
                  { "x/y", here, "x/y" },
                  { here + "a/b/file", here + "a/b/file", "" },
                  { here + "a/b/file/below", here + "a/b/file", "below" },
                  { here + "a/c:/d", here + "a", "./c:/d" },
                  { "C:/a", "", "C:/a" } };
    for( const auto& expected : cases ) {
        const auto [existing, missing] = OsFileUtils::walk( expected._path );
        EXPECT_EQ( existing.toString(), expected._existing.toString() );
        EXPECT_EQ( missing.toString(), expected._missing.toString() );
    }
}

} // namespace
} // namespace Qv
