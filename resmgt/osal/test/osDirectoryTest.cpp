#include <base/failure/exStandard.h>
#include <base/failure/exSysError.h>
#include <resmgt/osal/osDirectory.h>
#include <resmgt/osal/osFileEx.h>
#include <resmgt/osal/test/failingCalls.h>
#include <resmgt/osal/test/testFiles.h>
#include <tests/support/testSettings.h>

#include <gmock/gmock.h>
#include <malloc.h>

#include <cerrno>
#include <set>

namespace Qv {
namespace {

using ::testing::AllOf;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::StartsWith;
using ::testing::UnorderedElementsAreArray;
using Sys = ExSysErrorWindows;

const OsPassThroughFilter everything;

OPtrRet<OsFileEntryDescriptor> entriesOf( const OsFilePath& path,
                                          const OsFileFilter& filter = everything ) {
    OPtr<OsFileFilter> clone( filter.clone() );
    return OsFileEntryDescriptor::create( path, clone );
}

std::multiset<std::string> namesOf( OsFileEntryDescriptor& entries ) {
    std::multiset<std::string> names;
    for( OPtr<OsFileInfo> info( entries.getNextEntry() ); !info.isNull();
         info = entries.getNextEntry() ) {
        const OsFilePath& path = info->getPath();
        names.insert( path.getComponent( path.getNbComponents() - 1 ) );
    }
    return names;
}

TEST( OsDirectory, EachWayOfListingTellsTheSameChildren ) {
    const TestFiles files;
    std::vector<std::string> names{ "file",    ".hidden",
                                    "...",     " blank ",
                                    "c:",      "\xff\xfe",
                                    "ne\nw",   "dir",
                                    "*",       std::string( 255, 'n' ),
                                    "\xc3\xa4" };
    for( const std::string& name : names ) {
        files.write( name == "dir" ? "dir/" : name );
    }
    for( const auto& [name, target] :
         { std::pair( "dirLink", "dir" ), std::pair( "lost", "nothing" ),
           std::pair( "loop", "loop" ), std::pair( "belowFile", "file/below" ) } ) {
        files.link( target, name );
        names.emplace_back( name );
    }
    const OsDirectory directory( files.path() );

    std::vector<std::string> bare;
    for( const OsFilePath& path :
         directory.getChildrenPath( OsFileTypes::NAME_ONLY, everything ) ) {
        EXPECT_TRUE( path.isRelative() );
        ASSERT_EQ( path.getNbComponents(), 1U );
        bare.push_back( path.getComponent( 0 ) );
    }
    EXPECT_THAT( bare, UnorderedElementsAreArray( names ) );
    const auto full = directory.getChildrenPath( OsFileTypes::FULL_PATH, everything );
    const auto infos = directory.getChildrenInfo( everything );
    const auto children = directory.getChildren( everything );
    ASSERT_EQ( full.size(), bare.size() );
    ASSERT_EQ( infos.size(), bare.size() );
    ASSERT_EQ( children.size(), bare.size() );
    for( std::size_t i = 0; i < bare.size(); ++i ) {
        SCOPED_TRACE( bare[i] );
        EXPECT_EQ( full[i], files.path( bare[i] ) );
        EXPECT_EQ( infos[i].getPath(), full[i] );
        EXPECT_EQ( children[i]->getPath(), full[i] );
        const bool isDirectory = bare[i].starts_with( "dir" );
        EXPECT_EQ( infos[i].getType() == OsFileTypes::DIRECTORY, isDirectory );
        EXPECT_EQ( dynamic_cast<OsDirectory*>( children[i].get() ) != nullptr, isDirectory );
        EXPECT_TRUE( children[i]->exists() );
    }
}

TEST( OsDirectory, FiltersSeeFullPaths ) {
    const TestFiles files;
    files.write( "a.tif" );
    files.write( "b.log" );
    const OsDirectory directory( files.path() );
    EXPECT_THAT( directory.getChildrenPath( OsFileTypes::NAME_ONLY, OsLogFileFilter() ),
                 ElementsAre( OsFilePath( "b.log" ) ) );
    // Only under its full path can a child be seen to be no directory.
    EXPECT_EQ( directory.getChildrenInfo( OsLeafFileFilter( L".tif" ) ).size(), 1U );
    EXPECT_TRUE( directory.hasChildren( OsLogFileFilter() ) );
    EXPECT_FALSE( directory.hasChildren( OsDirectoryFilter() ) );
    const OPtr<OsFileEntryDescriptor> entries( entriesOf( files.path(), OsLogFileFilter() ) );
    EXPECT_EQ( OPtr<OsFileInfo>( directory.getChildInfo( *entries ) )->getPath(),
               files.path( "b.log" ) );
    EXPECT_TRUE( OPtr<OsFileInfo>( directory.getChildInfo( *entries ) ).isNull() );
}

TEST( OsDirectory, AnEntryWithABackSlashNeverLeadsToAnotherFile ) {
    const TestFiles files;
    files.write( "top/a/b", "stays" );
    files.write( "top/a\\b", "stays too" );
    files.write( "top/c" );
    OsDirectory top( files.path( "top" ) );
    top.removeChildren( OsLeafFileFilter() );
    EXPECT_FALSE( files.has( "top/c" ) );
    EXPECT_EQ( files.read( "top/a/b" ), "stays" );
    EXPECT_EQ( files.read( "top/a\\b" ), "stays too" );
    EXPECT_THAT( top.getChildrenPath( OsFileTypes::NAME_ONLY, everything ),
                 ElementsAre( OsFilePath( "a" ) ) );
    EXPECT_THAT( namesOf( *OPtr<OsFileEntryDescriptor>( entriesOf( top.getPath() ) ) ),
                 ElementsAre( "a" ) );
    // Not by a link's target either.
    fs::create_directory_symlink( "top/a\\b", files.at( "link" ) );
    EXPECT_FALSE( OsFile( files.path( "link" ) ).isDirectory() );
}

TEST( OsDirectory, RemovesChildrenOfEachKindButNothingBelowThem ) {
    const TestFiles files;
    files.write( "top/c:" );
    files.write( "top/d:/" );
    files.write( "outside/file", "stays" );
    files.link( "../outside", "top/dirLink" );
    files.link( "../outside/file", "top/fileLink" );
    files.link( "nothing", "top/lost" );
    OsDirectory( files.path( "top" ) ).removeChildren( everything );
    EXPECT_EQ( files.count(), 3 );
    EXPECT_THROW( OsDirectory( files.path() ).removeChildren( OsWildcardFilter( L"out*" ) ), Sys );
    EXPECT_EQ( files.read( "outside/file" ), "stays" );
    OsDirectory( files.path( "top" ) ).remove();
    for( const char* name : { "outside", "outside/file", "top" } ) {
        EXPECT_THAT( reasonOf<Sys>( [&] { OsDirectory( files.path( name ) ).remove(); } ),
                     AllOf( StartsWith( "OsDirectory::performRemove" ), HasSubstr( name ) ) );
    }
    EXPECT_EQ( files.count(), 2 );
}

TEST( OsDirectory, WhatCannotBeReadIsAFailureWithItsReason ) {
    const TestFiles files;
    files.write( "hidden/file" );
    files.write( "listed/file" );
    files.setMode( "hidden", 0 );
    files.setMode( "listed", 0444 );
    {
        const WithoutPowers powerless;
        const OsDirectory hidden( files.path( "hidden" ) );
        EXPECT_THAT(
            reasonOf<Sys>( [&] { hidden.getChildrenPath( OsFileTypes::FULL_PATH, everything ); } ),
            AllOf( StartsWith( "OsDirectory::performGetChildrenPath" ), HasSubstr( "/hidden'" ),
                   HasSubstr( "Permission denied" ) ) );
        EXPECT_THAT( reasonOf<Sys>( [&] { hidden.getChildrenInfo( everything ); } ),
                     StartsWith( "OsFsUtilsWindows::getFirstChildInfo" ) );
        const OsDirectory listed( files.path( "listed" ) );
        EXPECT_EQ( listed.getChildrenPath( OsFileTypes::FULL_PATH, everything ).size(), 1U );
        EXPECT_THAT( reasonOf<Sys>( [&] { listed.getChildrenInfo( everything ); } ),
                     AllOf( StartsWith( "OsFsUtilsWindows::getFirstChildInfo" ),
                            HasSubstr( "/listed/file'" ) ) );
    }
    files.setMode( "hidden", 0700 );
    files.setMode( "listed", 0700 );
}

TEST( OsDirectory, CopiesAllThatItHoldsAndFollowsLinks ) {
    const TestFiles files;
    files.write( "from/file", "1" );
    files.write( "from/deep/c:/file", "2" );
    files.write( "elsewhere/file", "3" );
    files.write( "from/empty/" );
    files.link( "../elsewhere", "from/dirLink" );
    files.link( "file", "from/fileLink" );
    files.write( "existing/from/other", "stays" );
    OsDirectory from( files.path( "from" ) );
    const std::pair<const char*, const char*> cases[] = { { "to", "to/" },
                                                          { "existing", "existing/from/" } };
    for( const auto& [target, result] : cases ) {
        from.copyTo( files.path( target ) );
        const std::string top( result );
        EXPECT_EQ( files.read( top + "file" ), "1" );
        EXPECT_EQ( files.read( top + "deep/c:/file" ), "2" );
        EXPECT_EQ( files.read( top + "dirLink/file" ), "3" );
        EXPECT_EQ( files.read( top + "fileLink" ), "1" );
        EXPECT_TRUE( fs::is_empty( files.at( top + "empty" ) ) );
        EXPECT_FALSE( fs::is_symlink( files.at( top + "dirLink" ) ) );
    }
    EXPECT_EQ( files.read( "existing/from/other" ), "stays" );
    EXPECT_EQ( reasonOf<OsFileEx::ExFileExists>( [&] { from.copyTo( files.path( "to/file" ) ); } ),
               "OsDirectory::copyTo: File '" + files.path( "from" ).toString() +
                   "' already exists." );
    EXPECT_THROW( OsDirectory::copyHierarchy( files.path( "from" ), files.path( "to/file" ) ),
                  ExInternalError );
}

TEST( OsDirectory, CopyingIntoItselfIsRefusedBeforeAnythingIsMade ) {
    const TestFiles files;
    files.write( "from/file", "text" );
    files.write( "from/sub/file", "text" );
    files.link( "from/sub", "link" );
    const long nbBefore = files.count();
    for( const char* target : { "from", "from/new", "from/sub", "from/sub/n/e/w", "link/new" } ) {
        EXPECT_THAT( reasonOf<OsFileEx::ExInvalidPath>( [&] {
                         OsDirectory::copyHierarchy( files.path( "from" ), files.path( target ) );
                     } ),
                     AllOf( StartsWith( "OsDirectory::copyHierarchy" ), HasSubstr( "/from'" ) ) )
            << target;
        EXPECT_EQ( files.count(), nbBefore ) << target;
    }
    // Its parent is a directory, into which it would go under its own name.
    EXPECT_THROW( OsDirectory( files.path( "from" ) ).copyTo( files.path() ),
                  OsFileEx::ExInvalidPath );
    EXPECT_EQ( files.read( "from/file" ), "text" );
}

TEST( OsDirectory, CopyingAlongLinksThatLeadBackComesToAnEnd ) {
    // Where the link in the source leads, and where it stands.
    const std::pair<const char*, const char*> cases[] = { { ".", "from/link" },
                                                          { "../..", "from/sub/link" },
                                                          { "../to", "from/link" },
                                                          { "../../to/sub", "from/sub/link" } };
    for( const auto& [target, link] : cases ) {
        SCOPED_TRACE( target );
        const TestFiles files;
        files.write( "from/file", "text" );
        files.write( "from/sub/" );
        files.link( target, link );
        EXPECT_THAT( reasonOf<OsFileEx::ExInvalidPath>( [&] {
                         OsDirectory::copyHierarchy( files.path( "from" ), files.path( "to" ) );
                     } ),
                     AllOf( StartsWith( "OsDirectory::copyHierarchy" ), HasSubstr( link ) ) );
    }
    // Nor does it wait for somebody to write into a pipe.
    const TestFiles files;
    files.write( "from/" );
    ASSERT_EQ( ::mkfifo( files.at( "from/pipe" ).c_str(), 0644 ), 0 );
    EXPECT_THROW( OsDirectory::copyHierarchy( files.path( "from" ), files.path( "to" ) ),
                  OsFileEx::ExInvalidPath );
}

TEST( OsFileEntryDescriptor, StaysAtTheEndUntilItIsReset ) {
    const TestFiles files;
    files.write( "a" );
    files.write( "b" );
    const OPtr<OsFileEntryDescriptor> entries( entriesOf( files.path() ) );
    OPtr<OsFileInfo>( entries->getNextEntry() );
    entries->reset();
    EXPECT_THAT( namesOf( *entries ), ElementsAre( "a", "b" ) );
    EXPECT_THAT( namesOf( *entries ), ElementsAre() );
    entries->reset();
    EXPECT_THAT( namesOf( *entries ), ElementsAre( "a", "b" ) );
}

TEST( OsFileEntryDescriptor, PassesOverWhatVanishesMeanwhile ) {
    const TestFiles files;
    files.write( "a" );
    files.write( "b" );
    const OPtr<OsFileEntryDescriptor> entries( entriesOf( files.path() ) );
    // Between the name and the look at the file; the second look is for a link that leads nowhere.
    const CallHook vanishing( "statx",
                              []( SystemCall& call ) { return call.number <= 2 ? ENOENT : 0; } );
    EXPECT_EQ( namesOf( *entries ).size(), 1U );
}

TEST( OsFileEntryDescriptor, GoesOnAfterAFailure ) {
    const TestFiles files;
    files.write( "a" );
    const OPtr<OsFileEntryDescriptor> entries( entriesOf( files.path() ) );
    for( const char* call : { "opendir", "readdir" } ) {
        const FailingCall failing( call, EIO );
        EXPECT_THAT( reasonOf<Sys>( [&] { OPtr<OsFileInfo>( entries->getNextEntry() ); } ),
                     HasSubstr( "ChildInfo" ) );
    }
    EXPECT_THAT( namesOf( *entries ), ElementsAre( "a" ) );
    const FailingCall closing( "closedir", EIO );
    EXPECT_EQ( reasonOf<Sys>( [&] {
                   entries->reset();
                   OPtr<OsFileInfo>( entries->getNextEntry() );
                   entries->reset();
               } ).find( "OsFileEntryDescriptorWindows::reset()" ),
               0U );
}

TEST( OsFileEntryDescriptor, NeedsNoMoreMemoryForALargeDirectory ) {
    const TestFiles files;
    const long nbFiles = scaledCount( 100000 );
    files.write( "0" );
    for( long i = 1; i < nbFiles; ++i ) {
        // File systems limit the names of one file; a new file every now and then.
        const std::string name = files.at( std::to_string( i ) ).string();
        if( i % 1000 == 0 ||
            ::link( files.at( std::to_string( i / 1000 * 1000 ) ).c_str(), name.c_str() ) != 0 ) {
            files.write( std::to_string( i ) );
        }
    }
    const OPtr<OsFileEntryDescriptor> entries( entriesOf( files.path() ) );
    long nbEntries = 0;
    std::size_t early = 0;
    std::size_t most = 0;
    for( OPtr<OsFileInfo> info( entries->getNextEntry() ); !info.isNull();
         info = entries->getNextEntry() ) {
        // Sanitizers have their own allocator, which tells nothing here.
        const auto used = static_cast<std::size_t>( ::mallinfo2().uordblks );
        if( ++nbEntries == 100 ) {
            early = used;
        } else if( nbEntries > 100 ) {
            most = std::max( most, used );
        }
    }
    EXPECT_EQ( nbEntries, nbFiles );
    EXPECT_LE( most, early + 1024 );
}

} // namespace
} // namespace Qv
