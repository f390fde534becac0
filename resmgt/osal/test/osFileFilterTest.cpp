#include <resmgt/osal/osFileFilter.h>
#include <resmgt/osal/test/testFiles.h>

#include <gtest/gtest.h>

#include <vector>

namespace Qv {
namespace {

struct FilterCase {
    const char* _name;
    bool _isKept;
};

void expectKept( const TestFiles& files, const OsFileFilter& filter,
                 const std::vector<FilterCase>& cases ) {
    const OPtr<OsFileFilter> clone( filter.clone() );
    for( const auto& [name, isKept] : cases ) {
        EXPECT_EQ( filter.filter( files.path( name ) ), isKept ) << name;
        EXPECT_EQ( clone->filter( files.path( name ) ), isKept ) << name << " by the clone";
    }
}

TEST( OsFileFilter, KeepsWhatItsKindPromises ) {
    const TestFiles files;
    for( const char* name : { "a.tif", "a.TIF", "a.log", "a.Log", "plain", ".log" } ) {
        files.write( name );
    }
    for( const char* name : { "dir", "dir.d", "x.tif" } ) {
        fs::create_directory( files.at( name ) );
    }
    const auto extensions = [] {
        Set<std::string> set;
        set.insert( "tif" );
        return set;
    }();
    expectKept( files, OsPassThroughFilter(), { { "a.tif", true }, { "nothing", true } } );
    expectKept( files, OsDirectoryFilter(),
                { { "dir", true }, { "a.tif", false }, { "nothing", false } } );
    expectKept( files, OsLogFileFilter(),
                { { "a.log", true }, { "a.Log", false }, { ".log", false }, { "dir", false } } );
    expectKept( files, OsLeafFileFilter(), { { "a.tif", true }, { "x.tif", false } } );
    expectKept( files, OsLeafFileFilter( L".tif" ),
                { { "a.tif", true }, { "a.TIF", false }, { "x.tif", false }, { "plain", false } } );
    expectKept( files, OsShowOnlyFileFilter( extensions ),
                { { "dir", true },
                  { "dir.d", false },
                  { "a.tif", true },
                  { "a.TIF", false },
                  { "plain", false } } );
    expectKept( files, OsExcludeFileFilter( extensions ),
                { { "a.tif", false }, { "a.TIF", true }, { "plain", true }, { "dir", true } } );
}

TEST( OsWildcardFilter, MatchesTheLastComponentCharacterByCharacter ) {
    const struct {
        const wchar_t* _pattern;
        const char* _name;
        bool _isKept;
    } cases[] = { { L"*", "abc", true },
                  { L"*", ".hidden", true },
                  { L"a?c", "abc", true },
                  { L"a?c", "ac", false },
                  { L"a?c", "aBC", false },
                  { L"a*c", "ac", true },
                  { L"a*c", "abcd", false },
                  { L"a*b*c", "aXbYbZc", true },
                  { L"*.t*f", "shot.0001.tif", true },
                  { L"*ab", "aab", true },
                  { L"**", "a", true },
                  { L"", "a", false },
                  { L"a**", "a", true },
                  { L"a?", "a", false },
                  { L"dir*", "dir/file", false },
                  { L"file", "dir/file", true },
                  { L"?", "\xc3\xa4", true },
                  { L"\xe4", "\xc3\xa4", true },
                  { L"??", "\xff\xfe", true },
                  { L"c:", "./c:", true } };
    for( const auto& expected : cases ) {
        EXPECT_EQ( OsWildcardFilter( expected._pattern ).filter( OsFilePath( expected._name ) ),
                   expected._isKept )
            << expected._name;
    }
    EXPECT_FALSE( OsWildcardFilter().filter( OsFilePath( "abc" ) ) );
    // One level of going back is enough, and more would take for ever here.
    const std::string text( 5000, 'a' );
    EXPECT_FALSE( OsWildcardFilter( L"*a*a*a*a*a*a*a*a*b" ).filter( OsFilePath( text ) ) );
}

} // namespace
} // namespace Qv
