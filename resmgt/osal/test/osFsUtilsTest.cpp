#include <base/failure/exStandard.h>
#include <base/failure/exSysError.h>
#include <resmgt/osal/osDirectory.h>
#include <resmgt/osal/osFileUtils.h>
#include <resmgt/osal/osFsUtils.h>
#include <resmgt/osal/osWorkingDirectory.h>
#include <resmgt/osal/src/posix/mountTablePosix.h>
#include <resmgt/osal/test/testFiles.h>

#include <sys/statvfs.h>

#include <algorithm>
#include <optional>

namespace Qv {
namespace {

using ::testing::ContainsRegex;

constexpr OsFileTypes::Permissions PERMISSIONS( 3, 1, 1 );

TEST( OsFsUtilsTest, WildcardsOfTheLastComponentFindFiles ) {
    const TestFiles files(
        "dir/shot.0001.exr dir/a*b dir/back\\slash \xc3\xa4 empty/ lost>nothing" );
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

TEST( OsFsUtilsTest, MakesAPathWithAllItsMissingParents ) {
    const struct {
        const char *_path, *_top;
        bool _isDirectory;
        int _nbMade; // -1 for a failure
    } cases[] = {
        { "first", "", false, 1 },     { "a/b/file", "", false, 3 }, { "a/b/file", "", false, 0 },
        { "a/b", "", true, 0 },        { "a/c/d", "", true, 2 },     { "a/e/f", "a", true, 2 },
        { "a/g/h", "a/g", true, -1 },  { "i/j", "i", true, -1 },     { "i/j", "i/j", true, 2 },
        { "k/l/m", "other", true, 3 }, { "first/n", "", true, -1 },  { "first", "", true, 0 } };
    const TestFiles files( "rel/ abs/" );
    const OsWorkingDirectory::Guard working( files.path() );
    for( const OsFilePath& start : { files.path( "abs" ), OsFilePath( "rel" ) } ) {
        for( const auto& expected : cases ) {
            SCOPED_TRACE( ( start + expected._path ).toString() + " below " + expected._top );
            const OsFilePath path = start + expected._path;
            const OsFilePath top = *expected._top == '\0' ? OsFilePath() : start + expected._top;
            int nbMade = -1;
            const std::string failure = raisedBy<Sys>( [&] {
                nbMade = expected._isDirectory
                             ? OsFsUtils::createDirPath( path, top )
                             : OsFsUtils::createFilePath( path, top, PERMISSIONS );
            } );
            EXPECT_EQ( nbMade, expected._nbMade );
            EXPECT_EQ( failure.starts_with( "OsFsUtils::createFilePath" ), nbMade < 0 );
            EXPECT_TRUE( nbMade < 0 || OsFsUtils::fileExists( path ) );
        }
        // Nothing at or above the top was made for a failure.
        EXPECT_FALSE( OsFsUtils::fileExists( start + "a/g" ) );
    }
}

TEST( OsFsUtilsTest, AParentThatMayNotBeMadeIsPassedOver ) {
    const TestFiles files( "server/" );
    // The server's own directories exist but deny to be made.
    const CallHook denying( "mkdirat", []( const SystemCall& call ) {
        return call.number == 1 ? ENOENT : call.number < 4 ? EACCES : 0;
    } );
    EXPECT_GE( OsFsUtils::createDirPath( files.path( "server/dir" ), OsFilePath() ), 1 );
    EXPECT_TRUE( fs::is_directory( files.at( "server/dir" ) ) );
}

TEST( OsFsUtilsTest, MakesAndRemovesDirectoriesAndFiles ) {
    const TestFiles files;
    OsFsUtils::createDir( files.path( "dir" ), false );
    OsFsUtils::createDir( files.path( "dir" ), true );
    EXPECT_TRUE( fs::is_directory( files.at( "dir" ) ) );
    files.write( "file" );
    EXPECT_EQ(
        raisedBy<ExInternalError>( [&] { OsFsUtils::createDir( files.path( "file" ), true ); } ),
        "A regular file with the same path name exists." );
    OsFsUtils::deleteFile( files.path( "file" ) );
    OsFsUtils::removeDir( files.path( "dir" ) );
    EXPECT_EQ( files.count(), 0 );
}

TEST( OsFsUtilsTest, LinksWhereItCanAndTellsWhyWhereItCannot ) {
    const TestFiles files( "from=text link>from" );
    OsFsUtils::createHardLink( files.path( "link" ), files.path( "to" ) );
    EXPECT_TRUE( fs::equivalent( files.at( "from" ), files.at( "to" ) ) );
    EXPECT_FALSE( fs::is_symlink( files.at( "to" ) ) );
    const std::string from = files.path( "from" ).toString();
    const std::string to = files.path( "new" ).toString();
    const auto failWith = [&]( int error ) {
        return [&, error] {
            const FailingCall failing( "linkat", error );
            OsFsUtils::createHardLink( OsFilePath( from ), OsFilePath( to ) );
        };
    };
    EXPECT_EQ( raisedBy<OsFileEx::ExFileExists>( failWith( EEXIST ) ),
               "OsFsUtils::createHardLink: File '" + to + "' already exists." );
    EXPECT_THAT( raisedBy<OsFileEx::ExUnHardlinkableFs>( failWith( EPERM ) ), HasSubstr( to ) );
    EXPECT_THAT( raisedBy<OsFileEx::ExInvalidCrossDeviceLink>( failWith( EXDEV ) ),
                 tells( "", from, to ) );
}

TEST( OsFsUtilsTest, CopiesWhereThereCannotBeALink ) {
    const TestFiles files( "from=text" );
    const auto linkOrCopy = [&]( const char* from, const char* to ) {
        OsFsUtils::hardLinkOrCopy( files.path( from ), files.path( to ) );
    };
    const std::pair<int, const char*> cases[] = {
        { 0, "linked" }, { EPERM, "copied" }, { EXDEV, "copiedToo" } };
    for( const auto& [error, name] : cases ) {
        const CallHook call( "linkat", [&, &code = error]( const SystemCall& ) { return code; } );
        linkOrCopy( "from", name );
        EXPECT_EQ( files.read( name ), "text" );
        EXPECT_EQ( fs::equivalent( files.at( "from" ), files.at( name ) ), error == 0 );
    }
    const CallHook never( "linkat", []( const SystemCall& ) { return EIO; } );
    EXPECT_THAT( raisedBy<OsFileEx::ExInvalidPath>( [&] { linkOrCopy( "nothing", "new" ); } ),
                 tells( "OsFsUtils::hardLinkOrCopy", "nothing" ) );
    EXPECT_THAT( raisedBy<OsFileEx::ExFileExists>( [&] { linkOrCopy( "from", "copied" ); } ),
                 tells( "OsFsUtils::hardLinkOrCopy", "copied" ) );
    EXPECT_EQ( never.nbCalls(), 0 );
}

TEST( OsFsUtilsTest, TellsTheFileSystemsTimeAndLeavesNoFile ) {
    const TestFiles files( "file" );
    const OsDateTypes::DateRep before(
        *OPtr<OsDateTypes::DateRep>( OsFile( files.path( "file" ) ).getLastModificationTime() ) );
    for( const OsFilePath& path : { files.path(), files.path( "file" ) } ) {
        const OPtr<OsDateTypes::DateRep> time( OsFsUtils::getServerTime( path ) );
        EXPECT_GE( *time, before );
        EXPECT_LT( time->getSeconds(), before.getSeconds() + 600 );
    }
    EXPECT_EQ( files.count(), 1 );
}

TEST( OsFsUtilsTest, TellsTheVolumesSpaceAndTheNullDevice ) {
    const TestFiles files;
    struct statvfs status {};
    ASSERT_EQ( ::statvfs( files.at( "" ).c_str(), &status ), 0 );
    EXPECT_EQ( OsFsUtils::getTotalSpace( files.path() ), status.f_blocks * status.f_frsize );
    EXPECT_LE( OsFsUtils::getFreeSpace( files.path() ), status.f_blocks * status.f_frsize );
    const OsFile nothing( OsFsUtils::getNullDevicePath() );
    EXPECT_EQ( nothing.getPath().toString(), "/dev/null" );
    EXPECT_TRUE( nothing.isFile() );
    EXPECT_EQ( nothing.getAccess( 3 ), 3 );
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
    "40 22 8:65 / /hidden/disk rw - ext4 /dev/sdf1 rw\n"
    "41 22 0:54 / /hidden rw - autofs none rw\n"
    "42 44 8:81 / /moved/here rw - ext4 /dev/sdg1 rw\n"
    "43 22 8:97 / /moved/lost rw - ext4 /dev/sdh1 rw\n"
    "44 22 0:55 / /moved rw - autofs none rw\n"
    "torn\n39 22 0:53 / - -\n";

TEST( OsDriveEntryDescriptorTest, FindsTheVolumesThatAPersonLooksForAndNamesThem ) {
    std::vector<std::string> labels;
    for( const Mount& mount :
         selectVolumes( parseMountTable( MOUNTS ), []( const Mount& ) { return true; } ) ) {
        const auto type = getDriveType( mount, mount.device == "8:33" );
        labels.push_back( std::to_string( type ) + " " +
                          makeDriveLabel( mount, type, mount.device == "8:17" ? "Data" : "" ) );
    }
    EXPECT_THAT( labels,
                 ElementsAre( "3 Local Disk (/)", "3 Data (/media/My Disk)",
                              "4 /plates/film on 'filer' (/net/plates)",
                              "4 share on 'server' (/net/win)", "4 Network Drive (/net/odd)",
                              "5 Compact Disc (/media/cd)", "6 RAM Disk (/ram)",
                              "2 Removable Media (/run/media/me/usb)", "3 Local Disk (/data)",
                              "3 Local Disk (/processing)", "3 Local Disk (/moved/here)" ) );
}

TEST( OsDriveEntryDescriptorTest, ListsThisMachinesVolumes ) {
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
    std::size_t nbSeen = 1;
    for( ; !OPtr<OsDriveInfo>( clone->getNextEntry() ).isNull(); ++nbSeen ) {}
    EXPECT_EQ( nbSeen, drives->size() );
}

TEST( OsDriveEntryDescriptorTest, AVolumeThatCannotBeAskedIsStillTold ) {
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
}

TEST( OsFileUtilsTest, UniqueNamesDifferAndKeepTheirParts ) {
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

TEST( OsFileUtilsTest, OnlyRegularFilesUpToTheBoundAreRead ) {
    const TestFiles files( "file=content empty folder/ link>file pipe|" );
    constexpr std::size_t MOST = 7;
    std::optional<std::string> text;
    const std::pair<const char*, const char*> contents[] = {
        { "file", "content" }, { "link", "content" }, { "empty", "" }, { "/dev/null", "" } };
    for( const auto& [name, content] : contents ) {
        OsFileUtils::readRegularFile( files.at( name ).string(), MOST, text );
        EXPECT_EQ( text, content ) << name;
    }
    files.write( "large", "contents" );
    const std::tuple<const char*, const char*, bool> refused[] = {
        { "large", "It is larger than 7 bytes", false },
        // It has no size until it is read.
        { "/proc/self/status", "It is larger than 7 bytes", true },
        { "pipe", "It isn't a regular file", false },
        { "folder", "It isn't a regular file", false },
        { "none", "No such file", false },
        // Opening it succeeds.
        { "/proc/self/mem", "Input/output error", true } };
    for( const auto& [name, reason, isOpen] : refused ) {
        const OsFilePath path( files.at( name ).string() );
        EXPECT_THAT(
            raisedBy<ExSysError>( [&] { OsFileUtils::readRegularFile( path, MOST, text ); } ),
            tells( "", "OsFileUtils::readRegularFile", path.toString(), reason ) );
        EXPECT_EQ( text.has_value(), isOpen ) << name;
    }
}

TEST( OsFileUtilsTest, WalkDividesAPathIntoWhatExistsAndWhatIsMissing ) {
    const TestFiles files( "a/b/file" );
    const OsWorkingDirectory::Guard working( files.path() );
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
    // In time and memory that grow with the length, not with its square.
    std::string text = "a/b";
    for( int i = 0; i < 1'000'000; ++i ) {
        text += "/c";
    }
    EXPECT_EQ( OsFileUtils::walk( text ).second.getNbComponents(), 1'000'000U );
}

} // namespace
} // namespace Qv
