#include <resmgt/osal/osTypedPath.h>
#include <resmgt/osal/osWorkingDirectory.h>
#include <resmgt/osal/test/testFiles.h>

namespace Qv {
namespace {

/// Makes the file by the text itself, and looks for it by the path.
TEST( OsTypedPathTest, LeadsToTheFileThatTheSystemFinds ) {
    const TestFiles files( "a/b/c/ other/deep/ a/b/up>../../other/deep a/b/c:/ a/b/c:/x/ "
                           "a/b/..d/ a/b/d../" );
    const OsWorkingDirectory::Guard inside( files.path( "a/b" ) );
    const std::string top = files.at( "" ).string();
    for( const std::string& text : std::vector<std::string>{
             "x",
             "./x",
             "../x",
             "../../x",
             "../../a/../x",
             "../../../../../../../../tmp/../" + top.substr( 1 ) + "x",
             "up/x",
             "up/../x",
             "up/../../x",
             "up/../deep/x",
             "c/../up/..//./deep/../x",
             "c:/x/y",
             "c:/../x",
             "..d/x",
             "d../x",
             "..d/../x",
             "..x",
             "//" + top + "x",
             "///" + top + "a/x",
             "/.." + top + "a/b/up/../x",
             top + "a//b/./x",
             "c//x",
             "../b/../../other/deep/../x",
         } ) {
        SCOPED_TRACE( text );
        const OsFilePath path = OsTypedPath::resolve( text );
        EXPECT_FALSE( fs::exists( path.toString() ) );
        std::ofstream( text ) << text;
        EXPECT_TRUE( fs::exists( path.toString() ) ) << path.toString();
        fs::remove( text );
    }
}

TEST( OsTypedPathTest, TextWithoutAClimbStaysAsItWasTyped ) {
    for( const auto& [text, path] : std::initializer_list<std::pair<const char*, const char*>>{
             { "", "" },
             { ".", "." },
             { "a/b.exr", "a/b.exr" },
             { "c:", "./c:" },
             { "//", "/" },
             { "//server/share", "/server/share" },
             { "nowhere/x/", "nowhere/x" } } ) {
        EXPECT_EQ( OsTypedPath::resolve( text ).toString(), path ) << text;
    }
    EXPECT_EQ( OsTypedPath::resolve( "/.." ), "/" );
}

TEST( OsTypedPathTest, RefusesWhatLeadsNowhereAndWhatNoPathCanName ) {
    const TestFiles files( "file odd\\name/ nowhere>missing loop>loop" );
    const OsWorkingDirectory::Guard inside( files.path() );
    const struct {
        const char* text;
        const char* reason;
    } cases[] = { { "missing/../x", "No such file" },
                  { "file/../x", "Not a directory" },
                  { "nowhere/../x", "No such file" },
                  { "loop/..", "Too many levels" } };
    for( const auto& c : cases ) {
        EXPECT_THAT( raisedBy<Sys>( [&] { OsTypedPath::resolve( c.text ); } ),
                     ::testing::AllOf( HasSubstr( c.text ), HasSubstr( c.reason ) ) );
    }
    EXPECT_THROW( OsTypedPath::resolve( "odd\\name/x" ), OsFileEx::ExInvalidPath );
    EXPECT_THROW( OsTypedPath::resolve( std::string( "x\0y", 3 ) ), OsFileEx::ExInvalidPath );
    fs::current_path( "odd\\name" );
    EXPECT_THROW( OsTypedPath::resolve( "../odd\\name" ), OsFileEx::ExInvalidPath );
    EXPECT_EQ( OsTypedPath::resolve( "../x" ),
               OsFilePath( fs::current_path().parent_path() ) + "x" );
}

} // namespace
} // namespace Qv
