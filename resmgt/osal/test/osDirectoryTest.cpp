#include <base/failure/exStandard.h>
#include <resmgt/osal/osDirectory.h>
#include <resmgt/osal/test/testFiles.h>
#include <tests/support/testSettings.h>

#include <malloc.h>

#include <set>

namespace Qv {
namespace {

using ::testing::UnorderedElementsAreArray;

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

TEST( OsDirectoryTest, EachWayOfListingTellsTheSameChildren ) {
    const TestFiles files( "file dir/ dirLink>dir lost>nothing loop>loop belowFile>file/below" );
    std::vector<std::string> names{ ".hidden", "...",      " blank ",
                                    "c:",      "\xff\xfe", "ne\nw",
                                    "*",       "\xc3\xa4", std::string( 255, 'n' ) };
    for( const std::string& name : names ) {
        files.write( name );
    }
    names.insert( names.end(), { "file", "dir", "dirLink", "lost", "loop", "belowFile" } );
    const OsDirectory directory( files.path() );
    const auto bare = directory.getChildrenPath( OsFileTypes::NAME_ONLY, everything );
    const auto full = directory.getChildrenPath( OsFileTypes::FULL_PATH, everything );
    const auto infos = directory.getChildrenInfo( everything );
    const auto children = directory.getChildren( everything );
    ASSERT_EQ( bare.size(), names.size() );
    ASSERT_TRUE( full.size() == bare.size() && infos.size() == bare.size() &&
                 children.size() == bare.size() );
    std::vector<std::string> found;
    for( std::size_t i = 0; i < bare.size(); ++i ) {
        ASSERT_EQ( bare[i].getNbComponents(), 1U );
        const std::string name = found.emplace_back( bare[i].getComponent( 0 ) );
        SCOPED_TRACE( name );
        EXPECT_TRUE( bare[i].isRelative() );
        EXPECT_EQ( full[i], files.path( name ) );
        EXPECT_EQ( infos[i].getPath(), full[i] );
        EXPECT_EQ( children[i]->getPath(), full[i] );
        EXPECT_TRUE( children[i]->exists() );
        const bool isDirectory = name.starts_with( "dir" );
        EXPECT_EQ( infos[i].getType() == OsFileTypes::DIRECTORY, isDirectory );
        EXPECT_EQ( dynamic_cast<OsDirectory*>( children[i].get() ) != nullptr, isDirectory );
    }
    EXPECT_THAT( found, UnorderedElementsAreArray( names ) );
}

TEST( OsDirectoryTest, FiltersSeeFullPaths ) {
    const TestFiles files( "a.tif b.log" );
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

TEST( OsDirectoryTest, AnEntryWithABackSlashNeverLeadsToAnotherFile ) {
    const TestFiles files( "top/a/b=stays top/a\\b=2 top/c" );
    OsDirectory top( files.path( "top" ) );
    top.removeChildren( OsLeafFileFilter() );
    EXPECT_FALSE( files.has( "top/c" ) );
    EXPECT_EQ( files.read( "top/a/b" ), "stays" );
    EXPECT_EQ( files.read( "top/a\\b" ), "2" );
    EXPECT_THAT( top.getChildrenPath( OsFileTypes::NAME_ONLY, everything ),
                 ElementsAre( OsFilePath( "a" ) ) );
    EXPECT_THAT( namesOf( *OPtr<OsFileEntryDescriptor>( entriesOf( top.getPath() ) ) ),
                 ElementsAre( "a" ) );
    // Not by a link's target either.
    fs::create_directory_symlink( "top/a\\b", files.at( "link" ) );
    EXPECT_FALSE( OsFile( files.path( "link" ) ).isDirectory() );
}

TEST( OsDirectoryTest, RemovesChildrenOfEachKindButNothingBelowThem ) {
    const TestFiles files( "top/c: top/d:/ outside/file=stays top/dirLink>../outside "
                           "top/fileLink>../outside/file top/lost>nothing" );
    OsDirectory top( files.path( "top" ) );
    top.removeChildren( everything );
    EXPECT_EQ( files.count(), 3 );
    EXPECT_THROW( OsDirectory( files.path() ).removeChildren( OsWildcardFilter( L"out*" ) ), Sys );
    EXPECT_EQ( files.read( "outside/file" ), "stays" );
    top.remove();
    EXPECT_EQ( files.count(), 2 );
}

TEST( OsDirectoryTest, WhatCannotBeReadIsAFailureWithItsReason ) {
    const TestFiles files( "hidden/file listed/file" );
    const OsDirectory hidden( files.path( "hidden" ) );
    const OsDirectory listed( files.path( "listed" ) );
    files.setMode( "hidden", 0 );
    files.setMode( "listed", 0444 );
    {
        const WithoutPowers powerless;
        EXPECT_THAT(
            raisedBy<Sys>( [&] { hidden.getChildrenPath( OsFileTypes::FULL_PATH, everything ); } ),
            tells( "OsDirectory::performGetChildrenPath", "/hidden'", "Permission denied" ) );
        EXPECT_THAT( raisedBy<Sys>( [&] { hidden.getChildrenInfo( everything ); } ),
                     tells( "OsFsUtilsWindows::getFirstChildInfo" ) );
        EXPECT_EQ( listed.getChildrenPath( OsFileTypes::FULL_PATH, everything ).size(), 1U );
        EXPECT_THAT( raisedBy<Sys>( [&] { listed.getChildrenInfo( everything ); } ),
                     tells( "OsFsUtilsWindows::getFirstChildInfo", "/listed/file'" ) );
    }
    files.setMode( "hidden", 0700 );
    files.setMode( "listed", 0700 );
}

TEST( OsDirectoryTest, CopiesAllThatItHoldsAndFollowsLinks ) {
    const TestFiles files(
        "from/file=1 from/deep/c:/file=2 elsewhere/file=3 from/empty/ from/dirLink>../elsewhere "
        "from/fileLink>file existing/from/other=stays" );
    OsDirectory from( files.path( "from" ) );
    from.copyTo( files.path( "to" ) );
    from.copyTo( files.path( "existing" ) );
    for( const std::string& top : { std::string( "to/" ), std::string( "existing/from/" ) } ) {
        EXPECT_EQ( files.read( top + "file" ), "1" );
        EXPECT_EQ( files.read( top + "deep/c:/file" ), "2" );
        EXPECT_EQ( files.read( top + "dirLink/file" ), "3" );
        EXPECT_EQ( files.read( top + "fileLink" ), "1" );
        EXPECT_TRUE( fs::is_empty( files.at( top + "empty" ) ) );
        EXPECT_FALSE( fs::is_symlink( files.at( top + "dirLink" ) ) );
    }
    EXPECT_EQ( files.read( "existing/from/other" ), "stays" );
    EXPECT_EQ( raisedBy<OsFileEx::ExFileExists>( [&] { from.copyTo( files.path( "to/file" ) ); } ),
               "OsDirectory::copyTo: File '" + files.path( "from" ).toString() +
                   "' already exists." );
    EXPECT_THROW( OsDirectory::copyHierarchy( files.path( "from" ), files.path( "to/file" ) ),
                  ExInternalError );
}

TEST( OsDirectoryTest, CopyingIntoItselfIsRefusedBeforeAnythingIsMade ) {
    const TestFiles files( "from/file=text from/sub/file=text link>from/sub" );
    const long nbBefore = files.count();
    for( const char* target : { "from", "from/new", "from/sub", "from/sub/n/e/w", "link/new" } ) {
        EXPECT_THAT( raisedBy<OsFileEx::ExInvalidPath>( [&] {
                         OsDirectory::copyHierarchy( files.path( "from" ), files.path( target ) );
                     } ),
                     tells( "OsDirectory::copyHierarchy", "/from'" ) )
            << target;
        EXPECT_EQ( files.count(), nbBefore ) << target;
    }
    // Its parent is a directory, into which it would go under its own name.
    EXPECT_THROW( OsDirectory( files.path( "from" ) ).copyTo( files.path() ),
                  OsFileEx::ExInvalidPath );
    EXPECT_EQ( files.read( "from/file" ), "text" );
}

TEST( OsDirectoryTest, CopyingAlongLinksThatLeadBackComesToAnEnd ) {
    for( const char* link : { "from/link>.", "from/sub/link>../..", "from/link>../to",
                              "from/sub/link>../../to/sub", "from/pipe|" } ) {
        const TestFiles files( std::string( "from/file=text from/sub/ " ) + link );
        const std::string name( link, std::strcspn( link, ">|" ) );
        EXPECT_THAT( raisedBy<OsFileEx::ExInvalidPath>( [&] {
                         OsDirectory::copyHierarchy( files.path( "from" ), files.path( "to" ) );
                     } ),
                     tells( "OsDirectory::copyHierarchy", name ) );
    }
}

TEST( OsFileEntryDescriptorTest, StaysAtTheEndUntilItIsReset ) {
    const TestFiles files( "a b" );
    const OPtr<OsFileEntryDescriptor> entries( entriesOf( files.path() ) );
    OPtr<OsFileInfo>( entries->getNextEntry() );
    entries->reset();
    EXPECT_THAT( namesOf( *entries ), ElementsAre( "a", "b" ) );
    EXPECT_THAT( namesOf( *entries ), ElementsAre() );
    entries->reset();
    EXPECT_THAT( namesOf( *entries ), ElementsAre( "a", "b" ) );
}

TEST( OsFileEntryDescriptorTest, PassesOverWhatVanishesMeanwhile ) {
    const TestFiles files( "a b" );
    const OPtr<OsFileEntryDescriptor> entries( entriesOf( files.path() ) );
    // Between the name and the look at the file; the second look is for a link that leads nowhere.
    const CallHook vanishing( "statx",
                              []( SystemCall& call ) { return call.number <= 2 ? ENOENT : 0; } );
    EXPECT_EQ( namesOf( *entries ).size(), 1U );
}

TEST( OsFileEntryDescriptorTest, GoesOnAfterAFailure ) {
    const TestFiles files( "a" );
    const OPtr<OsFileEntryDescriptor> entries( entriesOf( files.path() ) );
    for( const char* call : { "open", "readdir" } ) {
        const FailingCall failing( call, EIO );
        EXPECT_THROW( OPtr<OsFileInfo>( entries->getNextEntry() ), Sys );
    }
    EXPECT_THAT( namesOf( *entries ), ElementsAre( "a" ) );
    entries->reset();
    OPtr<OsFileInfo>( entries->getNextEntry() );
    const FailingCall closing( "closedir", EIO );
    EXPECT_THAT( raisedBy<Sys>( [&] { entries->reset(); } ),
                 tells( "OsFileEntryDescriptorWindows::reset()" ) );
}

TEST( OsFileEntryDescriptorTest, NeedsNoMoreMemoryForALargeDirectory ) {
    const TestFiles files;
    // A byte for each would be found; more would only take longer.
    const long nbFiles = scaledCount( 20'000 );
    for( long i = 0; i < nbFiles; ++i ) {
        files.write( std::to_string( i ) );
    }
    const OPtr<OsFileEntryDescriptor> entries( entriesOf( files.path() ) );
    // Sanitizers have their own allocator, which shows nothing here.
    std::vector<std::size_t> used( static_cast<std::size_t>( nbFiles ) );
    for( std::size_t& now : used ) {
        const OPtr<OsFileInfo> info( entries->getNextEntry() );
        ASSERT_FALSE( info.isNull() );
        now = static_cast<std::size_t>( ::mallinfo2().uordblks );
    }
    EXPECT_TRUE( OPtr<OsFileInfo>( entries->getNextEntry() ).isNull() );
    EXPECT_LE( *std::max_element( used.begin() + 100, used.end() ), used[100] + 1024 );
}

} // namespace
} // namespace Qv
