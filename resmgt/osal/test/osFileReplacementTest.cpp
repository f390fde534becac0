#include <resmgt/osal/osFileReplacement.h>
#include <resmgt/osal/test/testFiles.h>

#include <optional>
#include <string>
#include <vector>

namespace Qv {
namespace {

using ::testing::AnyOf;

void replace( const OsFilePath& path ) {
    OsFileReplacement next( path );
    next.create();
    next.write( "new", 3 );
    next.commit( "backup" );
    next.removeBackup();
}

TEST( OsFileReplacementTest,
      AtEachMomentThereIsAWholeFileWhichIsSyncedBeforeAndAfterItGetsTheName ) {
    for( const bool existed : { true, false } ) {
        const TestFiles files( existed ? "file=old" : "" );
        std::vector<std::string> steps;
        {
            const CallHook hook( nullptr, [&]( const SystemCall& call ) {
                const std::string name = call.name;
                if( name == "fsync" || name.starts_with( "rename" ) ||
                    name.ends_with( "linkat" ) ) {
                    steps.push_back( name );
                }
                // What a process that ends here leaves behind.
                if( files.has( "file" ) || existed ) {
                    EXPECT_THAT( files.read( "file" ), AnyOf( existed ? "old" : "new", "new" ) );
                }
                if( existed && name == "fsync" && steps.size() > 1 ) {
                    EXPECT_EQ( files.read( "backup" ), "old" );
                }
                return 0;
            } );
            replace( files.path( "file" ) );
        }
        EXPECT_EQ( steps, existed ? std::vector<std::string>( { "fsync", "unlinkat", "linkat",
                                                                "renameat", "fsync", "unlinkat" } )
                                  : std::vector<std::string>( { "fsync", "renameat2", "fsync" } ) );
        EXPECT_EQ( files.read( "file" ), "new" );
        EXPECT_EQ( files.count(), 1 );
    }
}

TEST( OsFileReplacementTest, WithoutABackupTheFormerFileHasNoSecondName ) {
    const TestFiles files( "file=old" );
    const CallHook hook( nullptr, []( const SystemCall& call ) {
        EXPECT_FALSE( std::string( call.name ).ends_with( "linkat" ) ) << call.name;
        return 0;
    } );
    OsFileReplacement next( files.path( "file" ) );
    next.create();
    next.write( "new", 3 );
    next.commit();
    EXPECT_FALSE( next.hasBackup() );
    next.removeBackup();
    EXPECT_EQ( files.read( "file" ), "new" );
    EXPECT_EQ( files.count(), 1 );
}

TEST( OsFileReplacementTest, WhateverCallFailsTheFormerFileIsThereUntilTheNewOneIs ) {
    for( const std::string old : { "old", "" } ) {
        std::optional<TestFiles> files;
        bool isCommitted = false;
        std::string reason;
        const auto operation = [&] {
            files.emplace( old.empty() ? "" : "file=old" );
            isCommitted = false;
            reason = raisedBy( [&] {
                OsFileReplacement next( files->path( "file" ) );
                next.create();
                next.write( "new", 3 );
                try {
                    next.commit( "backup" );
                } catch( const ExBase& ) {
                    isCommitted = next.isCommitted();
                    throw;
                }
                isCommitted = true;
                next.removeBackup();
            } );
        };
        forEachFailingCall( EIO, operation, [&]( const FailedRun& run ) {
            const std::string context =
                ( run.call ? run.call : "none " ) + std::to_string( run.number ) + reason;
            // What is closed at the very end is the directory.
            const bool isHarmless = context.starts_with( "close" ) && isCommitted;
            EXPECT_EQ( reason.empty(), run.call == nullptr || isHarmless ) << context;
            EXPECT_EQ( files->read( "file" ), isCommitted ? "new" : old ) << context;
            if( run.times == FailingCall::ONCE && !isCommitted ) {
                EXPECT_EQ( files->count(), old.empty() ? 0 : 1 ) << context;
            }
        } );
    }
}

TEST( OsFileReplacementTest, ALinkStaysAndTheFileThatItLeadsToIsReplaced ) {
    const TestFiles files( "other/target=old second>other/target file>second" );
    {
        OsFileReplacement next( files.path( "file" ) );
        EXPECT_EQ( next.getPath(), files.path( "other/target" ) );
        next.create();
        next.write( "new", 3 );
        next.commit( "backup" );
        EXPECT_EQ( files.read( "other/backup" ), "old" );
        next.removeBackup();
    }
    EXPECT_EQ( fs::read_symlink( files.at( "file" ) ), "second" );
    EXPECT_FALSE( fs::is_symlink( files.at( "other/target" ) ) );
    EXPECT_EQ( files.read( "file" ), "new" );
    EXPECT_EQ( files.count(), 4 );
    fs::remove( files.at( "other/target" ) );
    EXPECT_THAT( raisedBy<Sys>( [&] { replace( files.path( "file" ) ); } ),
                 HasSubstr( files.at( "file" ) ) );
    EXPECT_EQ( files.count(), 3 );
}

TEST( OsFileReplacementTest,
      OnlyARegularFileIsReplacedAndABackupTakesThePlaceOfALinkNotOfAFolder ) {
    const TestFiles files( "folder/ pipe| file=old stranger=hands-off backup>stranger" );
    for( const char* const name : { "folder", "pipe" } ) {
        EXPECT_THAT( raisedBy<ExSysErrorGeneric>( [&] { replace( files.path( name ) ); } ),
                     HasSubstr( "Only a regular file" ) );
    }
    EXPECT_THROW( replace( files.path( "none/file" ) ), Sys );
    EXPECT_THROW( replace( OsFilePath() ), Sys );
    replace( files.path( "file" ) );
    EXPECT_EQ( files.read( "stranger" ), "hands-off" );
    EXPECT_FALSE( files.has( "backup" ) );
    files.write( "backup/" );
    EXPECT_THROW( replace( files.path( "file" ) ), Sys );
    EXPECT_EQ( files.count(), 5 );
}

TEST( OsFileReplacementTest, WhatAVolumeCantDoIsDoneAnotherWay ) {
    const TestFiles files( "file=old" );
    {
        const FailingCall noLinks( "linkat", EPERM );
        replace( files.path( "file" ) );
    }
    EXPECT_EQ( files.read( "file" ), "new" );
    fs::remove( files.at( "file" ) );
    {
        const FailingCall noSync( "fsync", EINVAL );
        const FailingCall noExclusiveRename( "renameat2", EINVAL );
        replace( files.path( "file" ) );
    }
    EXPECT_EQ( files.read( "file" ), "new" );
    for( const int error : { 0, EINVAL } ) {
        fs::remove( files.at( "file" ) );
        const CallHook somebodyIsFaster( "renameat2", [&]( const SystemCall& ) {
            files.write( "file", "old" );
            return error;
        } );
        EXPECT_THROW( replace( files.path( "file" ) ), OsFileEx::ExFileExists );
        EXPECT_EQ( files.read( "file" ), "old" );
    }
    EXPECT_EQ( files.count(), 1 );
}

TEST( OsFileReplacementTest, TheModeStaysWhateverTheMaskIs ) {
    const TestFiles files( "file" );
    const mode_t mask = ::umask( 027 );
    for( const unsigned int mode : { 0600U, 0664U, 0444U, 0755U } ) {
        files.setMode( "file", mode );
        replace( files.path( "file" ) );
        EXPECT_EQ( files.mode( "file" ), mode );
    }
    replace( files.path( "other" ) );
    EXPECT_EQ( files.mode( "other" ), 0640U );
    ::umask( mask );
}

TEST( OsFileReplacementTest, OwnerAndGroupStayOrNobodyGainsByIt ) {
    if( ::geteuid() != 0 ) {
        GTEST_SKIP() << "only root can give files away";
    }
    constexpr unsigned int OWNER = 4711;
    constexpr unsigned int GROUP = 4712;
    const TestFiles files( "file=old" );
    ASSERT_EQ( ::chown( files.at( "file" ).c_str(), OWNER, GROUP ), 0 );
    files.setMode( "file", 0664 );
    {
        const FailingCall noOwner( "fchown", EPERM );
        EXPECT_THAT( raisedBy<ExSysErrorGeneric>( [&] { replace( files.path( "file" ) ); } ),
                     HasSubstr( "would change its owner" ) );
        EXPECT_EQ( files.read( "file" ), "old" );
    }
    const auto expect = [&]( bool isGroupKept, unsigned int mode ) {
        EXPECT_EQ( files.facts( "file" ).st_uid, OWNER );
        EXPECT_EQ( files.facts( "file" ).st_gid == GROUP, isGroupKept );
        EXPECT_EQ( files.mode( "file" ), mode );
    };
    replace( files.path( "file" ) );
    expect( true, 0664 );
    const FailingCall noGroup( "fchown", EPERM, FailingCall::ONCE, 2 );
    replace( files.path( "file" ) );
    expect( false, 0644 );
    EXPECT_EQ( files.count(), 1 );
}

} // namespace
} // namespace Qv
