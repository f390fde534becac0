#include <resmgt/osal/osFileFilter.h>
#include <resmgt/osal/test/testFiles.h>

namespace Qv {
namespace {

using Names = std::vector<const char*>;

TEST( OsFileFilterTest, KeepsWhatItsKindPromises ) {
    const TestFiles files( "a.tif a.TIF a.log a.Log plain .log dir/ dir.d/ x.tif/" );
    Set<std::string> tif;
    tif.insert( "tif" );
    const auto expectKept = [&]( const OsFileFilter& filter, const Names& kept,
                                 const Names& dropped ) {
        const OPtr<OsFileFilter> clone( filter.clone() );
        for( const OsFileFilter* const one :
             { &filter, static_cast<const OsFileFilter*>( &*clone ) } ) {
            for( const char* name : kept ) {
                EXPECT_TRUE( one->filter( files.path( name ) ) ) << name;
            }
            for( const char* name : dropped ) {
                EXPECT_FALSE( one->filter( files.path( name ) ) ) << name;
            }
        }
    };
    expectKept( OsPassThroughFilter(), { "a.tif", "dir", "nothing" }, {} );
    expectKept( OsDirectoryFilter(), { "dir", "dir.d" }, { "a.tif", "nothing" } );
    expectKept( OsLogFileFilter(), { "a.log" }, { "a.Log", ".log", "dir" } );
    expectKept( OsLeafFileFilter(), { "a.tif", "plain" }, { "x.tif", "dir" } );
    expectKept( OsLeafFileFilter( L".tif" ), { "a.tif" }, { "a.TIF", "x.tif", "plain" } );
    expectKept( OsShowOnlyFileFilter( tif ), { "dir", "a.tif" }, { "dir.d", "a.TIF", "plain" } );
    expectKept( OsExcludeFileFilter( tif ), { "a.TIF", "plain", "dir" }, { "a.tif", "x.tif" } );
    expectKept( OsWildcardFilter( L"*.t?f" ), { "a.tif", "x.tif" }, { "a.TIF", "plain" } );
    expectKept( OsWildcardFilter(), {}, { "a.tif", "dir" } );
}

TEST( OsWildcardFilterTest, MatchesTheLastComponentCharacterByCharacter ) {
    const std::tuple<const wchar_t*, Names, Names> cases[] = {
        { L"*", { "abc", ".hidden" }, {} },
        { L"a?c", { "abc" }, { "ac", "aBC" } },
        { L"a*c", { "ac" }, { "abcd" } },
        { L"a*b*c", { "aXbYbZc" }, { "acb" } },
        { L"*ab", { "aab", "ab" }, { "abb" } },
        { L"a**", { "a" }, { "ba" } },
        { L"", {}, { "a" } },
        { L"file", { "dir/file" }, { "file/dir" } },
        { L"?", { "\xc3\xa4", "\xff" }, { "\xff\xfe" } },
        { L"\xe4", { "\xc3\xa4" }, {} },
        { L"c:", { "./c:" }, {} } };
    for( const auto& [pattern, kept, dropped] : cases ) {
        const OsWildcardFilter filter( pattern );
        for( const char* name : kept ) {
            EXPECT_TRUE( filter.filter( OsFilePath( name ) ) ) << name;
        }
        for( const char* name : dropped ) {
            EXPECT_FALSE( filter.filter( OsFilePath( name ) ) ) << name;
        }
    }
    // One level of going back is enough, and more would take for ever here.
    const OsWildcardFilter slow( L"*a*a*a*a*a*a*a*a*b" );
    EXPECT_FALSE( slow.filter( OsFilePath( std::string( 5000, 'a' ) ) ) );
}

} // namespace
} // namespace Qv
