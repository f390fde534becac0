#include <resmgt/osal/osFileProbe.h>

#include <resmgt/osal/osFile.h>
#include <resmgt/osal/test/testFiles.h>
#include <tests/support/processCounts.h>

#include <fcntl.h>

namespace Qv {
namespace {

bool isStill( OsFileProbe& probe, const OsFilePath& path,
              const std::optional<OsFileStatus>& last ) {
    return probe.isStill( OsFileProbe::Place( path ), last );
}

TEST( OsFileProbeTest, FindsWhatThePathLeadsToAndSaysOfItWhatAFileDoes ) {
    const TestFiles files( "x=123 d/ link>x gone>nothing round>round pipe| *" );
    for( const char* const name : { "x", "d", "link", "pipe", "*", "" } ) {
        const OsFilePath path = files.path( name );
        const auto status = OsFileProbe::find( path );
        ASSERT_TRUE( status ) << name;
        EXPECT_EQ( OsFileProbe::makeInfo( path, *status ), OsFile( path ).getInfo() ) << name;
    }
    const std::string longest( 255, 'n' );
    const OsFilePath missing[] = { files.path( "gone" ),
                                   files.path( "round" ),
                                   files.path( "nothing" ),
                                   files.path( "x/y" ),
                                   files.path( "nothing/y" ),
                                   files.path( "?" ),
                                   files.path( longest ),
                                   files.path( longest + "n" ),
                                   files.path( std::string( "x\0y", 3 ) ),
                                   "C:/x",
                                   std::string( 5000, 'n' ) };
    for( const OsFilePath& path : missing ) {
        EXPECT_FALSE( OsFileProbe::find( path ) ) << path.toString();
    }
    EXPECT_THROW( OsFileProbe::find( "" ), OsFileEx::ExNullFilePath );
    for( const int error : { EACCES, EIO, ESTALE, EMFILE, ENOMEM } ) {
        const FailingCall failing( "statx", error );
        EXPECT_THAT( raisedBy<Sys>( [&] { OsFileProbe::find( files.path( "x" ) ); } ),
                     tells( "OsFileProbe::find", files.path( "x" ).toString() ) );
    }
}

TEST( OsFileProbeTest, StillAnswersAsFindDoesThroughTheDirectoryToo ) {
    const TestFiles files( "x=1 y=22 d/x=333 gone>nothing" );
    const char* const names[] = { "x",    "y",    "missing", "gone", "d/x", "d/missing", "d/x/y",
                                  "no/a", "no/b", "x",       "y",    "d",   "" };
    OsFileProbe probe;
    const auto check = [&]( const char* name ) {
        const OsFilePath path = files.path( name );
        const auto status = OsFileProbe::find( path );
        auto other = status.value_or( OsFileStatus() );
        ++other.size;
        EXPECT_TRUE( isStill( probe, path, status ) ) << name;
        EXPECT_FALSE( isStill( probe, path, other ) ) << name;
        EXPECT_EQ( isStill( probe, path, std::nullopt ), !status ) << name;
    };
    for( int round = 0; round < 2; ++round ) {
        for( const char* const name : names ) {
            check( name );
        }
        // Without a descriptor the whole path serves.
        const FailingCall failing( "open", EMFILE );
        probe.leaveDirectory();
        for( const char* const name : names ) {
            check( name );
        }
        probe.leaveDirectory();
    }
    for( const char* const odd : { "", ".", "/", "C:/x", "x" } ) {
        for( int i = 0; i < 3; ++i ) {
            EXPECT_EQ( isStill( probe, odd, std::nullopt ),
                       *odd == '\0' || !OsFileProbe::find( odd ) );
        }
    }
    const OsFilePath zero = files.path( std::string( "x\0y", 3 ) );
    EXPECT_TRUE( isStill( probe, files.path( "x" ), OsFileProbe::find( files.path( "x" ) ) ) );
    EXPECT_TRUE( isStill( probe, zero, std::nullopt ) );
    EXPECT_TRUE( isStill( probe, zero, std::nullopt ) );
}

TEST( OsFileProbeTest, KeepsADirectoryOpenUntilItLeavesIt ) {
    const TestFiles files( "d/x=1 d/y=1 e/x=1" );
    const int nbOpen = countDescriptors();
    const auto x = OsFileProbe::find( files.path( "d/x" ) );
    const auto y = OsFileProbe::find( files.path( "d/y" ) );
    {
        OsFileProbe probe;
        EXPECT_TRUE( isStill( probe, files.path( "d/x" ), x ) );
        EXPECT_TRUE( isStill( probe, files.path( "d/y" ), y ) );
        EXPECT_EQ( countDescriptors(), nbOpen + 1 );
        // The directory that was opened is the one that is asked, under whatever name.
        fs::rename( files.at( "d" ), files.at( "aside" ) );
        EXPECT_TRUE( isStill( probe, files.path( "d/x" ), x ) );
        EXPECT_FALSE( isStill( probe, files.path( "e/x" ), x ) );
        EXPECT_EQ( countDescriptors(), nbOpen );
        EXPECT_TRUE( isStill( probe, files.path( "d/x" ), std::nullopt ) );
        EXPECT_TRUE( isStill( probe, files.path( "aside/x" ), x ) );
        EXPECT_TRUE( isStill( probe, files.path( "aside/y" ), y ) );
        EXPECT_EQ( countDescriptors(), nbOpen + 1 );
    }
    EXPECT_EQ( countDescriptors(), nbOpen );
}

} // namespace
} // namespace Qv
