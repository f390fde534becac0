#include <resmgt/osal/osDirectory.h>
#include <resmgt/osal/osFileUtils.h>
#include <resmgt/osal/osFileWriter.h>
#include <resmgt/osal/osFsUtils.h>
#include <resmgt/osal/test/testFiles.h>

/// What others do to a path while an operation works on it.

namespace Qv {
namespace {

constexpr OsFileTypes::Permissions PERMISSIONS( 3, 1, 1 );

using OnFiles = void ( * )( const TestFiles& files );

void copyFile( const TestFiles& files ) {
    OsFile( files.path( "file" ) ).copyTo( files.path( "to" ) );
}

void copyHierarchy( const TestFiles& files ) {
    OsDirectory::copyHierarchy( files.path( "from" ), files.path( "to" ) );
}

void copyToOtherVolume( const TestFiles& files ) {
    const FailingCall otherVolume( "linkat", EXDEV );
    OsFsUtils::hardLinkOrCopy( files.path( "file" ), files.path( "to" ) );
}

/// Puts a link to `target` in the place of whatever is called `name`, which is called "moved" then.
void replaceByLink( const TestFiles& files, const char* name, const char* target ) {
    if( files.has( name ) ) {
        fs::rename( files.at( name ), files.at( "moved" ) );
    }
    fs::create_symlink( files.at( target ), files.at( name ) );
}

struct Intrusion {
    const char* name;
    const char* entries;
    OnFiles operation;
    std::function<void( const TestFiles& files )> intrude;
    /// The first call of the system before which somebody may come: what happens before the
    /// operation has looked at a path is none of its business.
    long first;
    /// A call before which nobody comes. Nothing removes a file by its descriptor: who comes
    /// between the last look at it and the removal isn't seen.
    const char* tooLate = "";
    /// A call that fails, and how.
    const char* failing = nullptr;
    int error = 0;
};

/// Runs the operation in files of its own again and again: at first undisturbed, then each time
/// with the intrusion just before the next of its calls of the system. It may raise anything.
void forEachMoment( const Intrusion& intrusion, const OnFiles check ) {
    long nbCalls = intrusion.first;
    for( long number = intrusion.first - 1; number <= nbCalls; ++number ) {
        const TestFiles files( intrusion.entries );
        std::string call = "none";
        {
            const CallHook hook( nullptr, [&]( const SystemCall& next ) {
                nbCalls = std::max( nbCalls, next.number );
                if( next.number == number && number >= intrusion.first &&
                    next.name != std::string( intrusion.tooLate ) ) {
                    call = next.name;
                    intrusion.intrude( files );
                }
                return 0;
            } );
            std::optional<FailingCall> failing;
            if( intrusion.failing != nullptr ) {
                failing.emplace( intrusion.failing, intrusion.error );
            }
            raisedBy<ExBase>( [&] { intrusion.operation( files ); } );
        }
        SCOPED_TRACE( std::string( intrusion.name ) + ", before call " + std::to_string( number ) +
                      ": " + call );
        check( files );
    }
    EXPECT_GT( nbCalls, intrusion.first ) << intrusion.name;
}

std::function<void( const TestFiles& files )> linking( const char* name, const char* target ) {
    return [name, target]( const TestFiles& files ) { replaceByLink( files, name, target ); };
}

const Intrusion followingLinks[] = {
    { "removeChildren", "top/file outside/file=stays",
      []( const TestFiles& files ) {
          OsDirectory( files.path( "top" ) ).removeChildren( OsPassThroughFilter() );
      },
      linking( "top", "outside" ), 2 },
    { "copyHierarchy to a folder", "from/sub/file=new to/ outside/file=stays", copyHierarchy,
      linking( "to/sub", "outside" ), 1 },
    { "copyHierarchy to its own folder", "from/file=new outside/file=stays", copyHierarchy,
      linking( "to", "outside" ), 1 },
    { "copyHierarchy to a file", "from/file=new to/ outside/file=stays", copyHierarchy,
      linking( "to/file", "outside/file" ), 1 },
    { "copyTo", "file=new outside/file=stays", copyFile, linking( "to", "outside/file" ), 4 },
    { "copyTo an existing file", "file=new to=old outside/file=stays", copyFile,
      linking( "to", "outside/file" ), 4 },
    { "hardLinkOrCopy", "file=new outside/file=stays", copyToOtherVolume,
      linking( "to", "outside/file" ), 1 },
    { "createFilePath", "outside/file=stays",
      []( const TestFiles& files ) {
          OsFsUtils::createFilePath( files.path( "a/b/file" ), OsFilePath(), PERMISSIONS );
      },
      []( const TestFiles& files ) {
          // Where it is there already, a link is a way like any other.
          if( files.has( "a" ) ) {
              replaceByLink( files, "a", "outside" );
          }
      },
      1 } };

TEST( OsFileRaceTest, NoLinkThatComesUpMeanwhileLeadsOutside ) {
    for( const Intrusion& intrusion : followingLinks ) {
        forEachMoment( intrusion, []( const TestFiles& files ) {
            EXPECT_EQ( files.read( "outside/file" ), "stays" );
            EXPECT_EQ( std::distance( fs::directory_iterator( files.at( "outside" ) ), {} ), 1 );
        } );
    }
}

void giveToOther( const TestFiles& files ) {
    fs::rename( files.at( "other" ), files.at( "to" ) );
}

/// Each ends with a failure once it has made "to".
const Intrusion failing[] = {
    { "copyTo", "file=new other=other's", copyFile, giveToOther, 1, "unlinkat", "write", ENOSPC },
    { "copyTo that can't close", "file=new other=other's", copyFile, giveToOther, 1, "unlinkat",
      "close", EIO },
    { "hardLinkOrCopy", "file=new other=other's", copyToOtherVolume, giveToOther, 1, "unlinkat",
      "write", ENOSPC },
    { "createFile", "other=other's",
      []( const TestFiles& files ) {
          OsFsUtils::createFile( files.path( "to" ), PERMISSIONS, true );
      },
      giveToOther, 1, "unlinkat", "close", EIO },
    { "an unbuffered writer", "other=other's",
      []( const TestFiles& files ) { OsFileWriter( files.path( "to" ), PERMISSIONS, true, true ); },
      giveToOther, 1, "unlinkat", "fcntl", EIO } };

TEST( OsFileRaceTest, AFailureRemovesNobodyElsesFile ) {
    for( const Intrusion& intrusion : failing ) {
        forEachMoment( intrusion, []( const TestFiles& files ) {
            EXPECT_TRUE( files.has( "to" ) || files.has( "other" ) );
        } );
    }
}

TEST( OsFileRaceTest, WhatIsUniqueIsNewOrAFailure ) {
    const TestFiles files;
    const auto expectRefused = [&]( const char* call, const auto& makeUnique ) {
        const FailingCall taken( call, EEXIST, FailingCall::ONCE );
        EXPECT_THROW( makeUnique( files.path(), "x", PERMISSIONS ), OsFileEx::ExFileExists );
    };
    expectRefused( "openat", OsFileUtils::createUniqueFile );
    expectRefused( "mkdirat", OsFileUtils::createUniqueDir );
    EXPECT_EQ( files.count(), 0 );
}

TEST( OsFileRaceTest, CopyingADirectoryRefusesWhatIsInItsWay ) {
    const struct {
        const char *_entries, *_inTheWay;
    } cases[] = { { "to>outside", "to" },
                  { "to/ to/sub>../outside", "to/sub" },
                  { "to/ to/file>../outside/file", "to/file" },
                  { "to/ to/file>nothing", "to/file" },
                  { "to/ to/file|", "to/file" },
                  { "to/ to/file/ to/file/file>../../outside/file", "to/file/file" } };
    for( const auto& [entries, inTheWay] : cases ) {
        const TestFiles files( std::string( "from/file=new from/sub/file outside/file=stays " ) +
                               entries );
        EXPECT_EQ( raisedBy<OsFileEx::ExFileExists>( [&] {
                       OsDirectory::copyHierarchy( files.path( "from" ), files.path( "to" ) );
                   } ),
                   "OsDirectory::copyHierarchy: File '" + files.path( inTheWay ).toString() +
                       "' already exists." );
        EXPECT_EQ( files.read( "outside/file" ), "stays" );
    }
}

TEST( OsFileRaceTest, APathBelowAFolderThatRefusesEndsAsThat ) {
    const TestFiles files( "closed/" );
    files.setMode( "closed", 0555 );
    const WithoutPowers powerless;
    const OsFilePath path = files.path( "closed/a/b/c" );
    const auto expectDenied = [&]( const std::function<void()>& make ) {
        EXPECT_THAT( raisedBy<Sys>( make ),
                     tells( "OsFsUtils::createFilePath", "/closed/a'", "Permission denied" ) );
    };
    expectDenied( [&] { OsFsUtils::createDirPath( path, OsFilePath() ); } );
    expectDenied( [&] { OsFsUtils::createDirPath( path, files.path( "closed" ) ); } );
    expectDenied( [&] { OsFsUtils::createFilePath( path, OsFilePath(), PERMISSIONS ); } );
}

} // namespace
} // namespace Qv
