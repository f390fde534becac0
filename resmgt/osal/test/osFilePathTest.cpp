#include <resmgt/osal/osFilePathUtils.h>
#include <resmgt/osal/test/testFiles.h>
#include <tests/support/gate.h>
#include <tests/support/testSettings.h>
#include <tests/support/testThread.h>

#include <array>
#include <cstdint>
#include <random>

extern "C" int LLVMFuzzerTestOneInput( const std::uint8_t* data, std::size_t size );

namespace Qv {
namespace {

/// Rows of `NB_COLUMNS` words that blanks separate; '' is the empty word.
template <std::size_t NB_COLUMNS>
std::vector<std::array<std::string, NB_COLUMNS>> rowsOf( const char* table ) {
    std::vector<std::array<std::string, NB_COLUMNS>> rows;
    std::istringstream words( table );
    std::size_t nbWords = 0;
    for( std::string word; words >> word; ++nbWords ) {
        if( nbWords % NB_COLUMNS == 0 ) {
            rows.emplace_back();
        }
        rows.back()[nbWords % NB_COLUMNS] = word == "''" ? "" : word;
    }
    EXPECT_EQ( nbWords % NB_COLUMNS, 0U );
    return rows;
}

std::string componentsOf( const OsFilePath& path ) {
    std::string components;
    for( unsigned int i = 0; i < path.getNbComponents(); ++i ) {
        components += ( i > 0 ? "|" : "" ) + path.getComponent( i );
    }
    return components;
}

TEST( OsFilePathTest, EveryTextHasItsNormalForm ) {
    const auto rows = rowsOf<3>( R"(
        ''         ''     ''         a//b    a|b    a/b       a\b/      a|b        a/b
        a/./b      a|b    a/b        ./a     a      a         .//.      .          .
        a/..       .      .          a/../b  b      b         a/../..   ..         ..
        ../a       ..|a   ../a       ../..   .      .         ../../a   a          a
        ../../..   ..     ..         ...     ...    ...       /         /          /
        \a         /|a    /a         /..     /|..   /..       /../..    /          /
        /../a      /|..|a /../a      /.      /      /         ///       /          /
        c:         C:/    C:/        c:/..   C:/|.. C:/..     c:foo     c:foo      c:foo
        1:/a       1:|a   1:/a       ./c:/a  c:|a   ./c:/a    a/../c:   c:         ./c:
        /c:        /|c:   /c:        C:\dir\.\sub\             C:/|dir|sub           C:/dir/sub
        //server                     //server/                //server/
        \\server\share\dir          //server/share/|dir      //server/share/dir
        ////server//share            //server/share/          //server/share/
        //server/./share/..          //server/share/|..       //server/share/..
        //server/..                  //server/../             //server/../
        //server/share/../../a       //server/share/|a        //server/share/a )" );
    for( const auto& [text, components, printed] : rows ) {
        const OsFilePath path( text );
        EXPECT_EQ( componentsOf( path ), components ) << text;
        EXPECT_EQ( path.toString(), printed ) << text;
    }
    const std::string bytes( "a\0b/\xff\0", 6 );
    EXPECT_EQ( componentsOf( bytes ), std::string( "a\0b|\xff\0", 6 ) );
    EXPECT_EQ( OsFilePath( OsFilePath( bytes ).toWString() ).toString(), bytes );
    EXPECT_EQ( OsFilePath( bytes ).length(), bytes.size() );
    EXPECT_EQ( componentsOf( "\xc3:/a" ), "\xc3:|a" );
    EXPECT_TRUE( OsFilePath( static_cast<const char*>( nullptr ) ).isEmpty() );
    EXPECT_TRUE( OsFilePath( static_cast<const wchar_t*>( nullptr ) ).isEmpty() );
    EXPECT_EQ( OsFilePath( L"/gr\u00fcn" ).toString(), "/gr\xc3\xbcn" );
    EXPECT_THROW( OsFilePath( "a" ).getComponent( 1 ), ExAssertionFailed );
}

TEST( OsFilePathTest, KnowsItsRoot ) {
    const auto rows = rowsOf<4>( R"(
        ''         ''   no   no        .      ''   no   yes        c:foo  ''   no   yes
        ./c:       ''   no   yes       /      /    yes  no         /a     /    no   no
        c:/        C:/  yes  yes       c:/a   C:/  no   yes
        //server          //server/        yes  yes
        //server/share    //server/share/  yes  yes
        //server/share/a  //server/share/  no   yes )" );
    for( const auto& [text, root, isRoot, isNative] : rows ) {
        const OsFilePath path( text );
        EXPECT_EQ( path.getRoot().toString(), root ) << text;
        EXPECT_EQ( path.isRoot(), isRoot == "yes" ) << text;
        EXPECT_EQ( path.isNative(), isNative == "yes" ) << text;
        EXPECT_EQ( path.isAbsolute(), !root.empty() ) << text;
        EXPECT_EQ( path.isRelative(), root.empty() && !text.empty() ) << text;
    }
}

TEST( OsFilePathTest, ComposesByComponents ) {
    const auto rows = rowsOf<3>( R"(
        ''   ''     ''       ''   /abs     /abs       ''        //s/sh/a  //s/sh/a
        a    ''     a        a    b/c      a/b/c      a         ../b      b
        .    a      a        .    ../a     ../a       ..        ../a      a
        /    ../a   /../a    /a   ../..    /a         //server  share     //server/share/
        /a   ./c:   /a/c:    .    ./c:     ./c:       C:        a         C:/a )" );
    for( const auto& [left, right, expected] : rows ) {
        OsFilePath sum( left );
        sum.toWString(); // what is kept of it must go
        EXPECT_EQ( ( sum + right ).toString(), expected ) << left;
        EXPECT_EQ( ( sum += right ).toWString(), OsFilePath( expected ).toWString() ) << left;
    }
    OsFilePath path( "../a" );
    EXPECT_EQ( ( path += path ).toString(), "../a" );
    // In a time that grows with the length, not with its square.
    OsFilePath deep( "/" );
    for( int i = 0; i < 1'000'000; ++i ) {
        deep += "a";
    }
    EXPECT_EQ( deep.getNbComponents(), 1'000'001U );
    for( const char* absolute : { "/abs", "c:", "//server" } ) {
        EXPECT_EQ( raisedBy<OsFileEx::ExIllegalPathConcat>( [&] { path += absolute; } ),
                   "OsFilePath::operator+=: Attempt to concatenate absolute path: '../a'." );
        EXPECT_EQ( path.toString(), "../a" );
    }
}

TEST( OsFilePathTest, ComesApartIntoDirectoryNameAndExtension ) {
    // Text, directory, name, name without extension, extension, text without extension.
    const auto rows = rowsOf<6>( R"(
        ''      ''      ''    ''     ''  ''           a         .     a         a   ''  a
        a.t.gz  .       a.t.gz  a.t  gz  a.t        /d.x/a    /d.x  a         a   ''  /d.x/a
        d/a.    d       a.    a      ''  d/a          .profile  .     .profile  ''  ''  ''
        d/..x   d       ..x   .      x   d            d/.prof   d     .prof     ''  ''  d
        d/...x  d       ...x  ..     x   .            d/c:.x    d     c:.x      ./c:  x  d/c:
        .       .       .     ''     ''  .            ..        .     ..        .   ''  ..
        /       /       /     /      ''  /            /..       /     ..        .   ''  /..
        C:/a.b  C:/     a.b   a      b   C:/a         //s/sh/a  //s/sh/  a      a   ''  //s/sh/a
        //a.b/c  //a.b/c/  //a.b/c/  //a/  ''  //a.b/c/ )" );
    for( const auto& [text, directory, name, stem, extension, stripped] : rows ) {
        SCOPED_TRACE( text );
        OsFilePath path( text );
        EXPECT_EQ( path.getDirectoryName().toString(), directory );
        EXPECT_EQ( path.getBaseName( OsFilePath::WITH_EXTENSION ).toString(), name );
        EXPECT_EQ( path.getBaseNameNoExt().toString(), stem );
        EXPECT_EQ( path.getExtension(), extension );
        EXPECT_EQ( OsFilePath::stripExtension( text ), stem );
        EXPECT_EQ( path.stripExtension().toString(), stripped );
    }
    EXPECT_EQ( OsFilePath( "a.gr\xc3\xbcn" ).getExtensionW(), L"gr\u00fcn" );
}

TEST( OsFilePathTest, TakesAnExtension ) {
    // Text, extension, with it added, with it enforced.
    const auto rows = rowsOf<4>( R"(
        a         tif   a.tif         a.tif             a.TIF  tif  a.TIF.tif  a.tif
        d/a.tif   tif   d/a.tif.tif   d/a.tif           a.jpg  tif  a.jpg.tif  a.jpg.tif
        /.prof    .tif  /.prof.tif    /.prof.tif        a.tif  ''   a.tif      a.tif
        d/..x     X     d/..x.X       d/..X             ...x   X    ...x.X     ...X
        a         b/../c\   a.b/../c  c )" );
    for( const auto& [text, extension, added, enforced] : rows ) {
        OsFilePath path( text );
        path.toString(); // what is kept of it must go
        EXPECT_EQ( path.addExtension( extension.c_str() ), OsFilePath( added ) ) << text;
        EXPECT_EQ( path.toString(), OsFilePath( added ).toString() ) << text;
        EXPECT_EQ( OsFilePath::enforceExtension( text, extension ).toString(), enforced ) << text;
    }
    EXPECT_EQ( OsFilePath( "a" ).addExtension( L"\u00fc" ).toString(), "a.\xc3\xbc" );
    EXPECT_EQ( OsFilePath( "a" ).addExtension( static_cast<char*>( nullptr ) ).toString(), "a" );
    EXPECT_TRUE( OsFilePath::enforceExtension( "", "tif" ).isEmpty() );
    for( const std::string text : { "", ".", "..", "/", "/..", "C:/", "//server/share/" } ) {
        OsFilePath path( text );
        EXPECT_EQ( raisedBy<OsFileEx::ExIllegalPathConcat>( [&] { path.addExtension( "tif" ); } ),
                   "OsFilePath::addExtension: Attempt to concatenate absolute path: '" + text +
                       "'." );
        EXPECT_EQ( path.toString(), text );
    }
}

TEST( OsFilePathTest, OrdersByBytesComponentByComponent ) {
    const char* const ordered[] = { "",    ".",   "..",   "/", "/a",      "/a/b",
                                    "/b",  "A",   "C:/x", "a", "a/b",     "a/bc",
                                    "a/c", "a-b", "ab",   "b", "\xc3\xa9" };
    for( std::size_t i = 0; i < std::size( ordered ); ++i ) {
        for( std::size_t j = 0; j < std::size( ordered ); ++j ) {
            const int expected = ( i > j ) - ( i < j );
            EXPECT_EQ( OsFilePath( ordered[i] ).compare( ordered[j] ), expected )
                << ordered[i] << " and " << ordered[j];
        }
    }
    EXPECT_EQ( OsFilePath( "a//b" ).compare( L"a\\b" ), 0 );
}

TEST( OsFilePathTest, PrintsItselfOnBothKindsOfStream ) {
    std::ostringstream narrow;
    std::wostringstream wide;
    const OsFilePath path( "/\xc3\xbc\\a" );
    path.dump( narrow ) << "!";
    path.dump( wide ) << "!";
    EXPECT_EQ( narrow.str(), "/\xc3\xbc/a!" );
    EXPECT_EQ( wide.str(), L"/\u00fc/a!" );
    EXPECT_EQ( path.getChars(), path.toUTF8() );
}

TEST( OsFilePathTest, ThreadsThatPrintOnePathAtOnceGetOneText ) {
    constexpr std::size_t NB_THREADS = 4;
    const std::vector<OsFilePath> paths( 500, OsFilePath( "/a/\xc3\xbc/some name" ) );
    std::array<std::vector<std::pair<const std::string*, const std::wstring*>>, NB_THREADS> texts;
    {
        Gate start( "start" );
        const TestThreads threads( NB_THREADS, [&]( unsigned int number ) {
            start.wait();
            for( const OsFilePath& path : paths ) {
                texts[number].emplace_back( &path.toString(), &path.toWString() );
                EXPECT_STREQ( path.getChars(), "/a/\xc3\xbc/some name" );
            }
        } );
        start.open();
    }
    for( const auto& own : texts ) {
        EXPECT_EQ( own, texts[0] );
    }
}

TEST( OsFilePathTest, ACopyAndAnAssignmentPrintWhatTheyAre ) {
    OsFilePath path( "a/b" );
    EXPECT_EQ( path.toString() + std::to_string( path.toWString().size() ), "a/b3" );
    const OsFilePath copy( path );
    const std::string* const text = &path.toString();
    const OsFilePath& same = path;
    path = same;
    EXPECT_EQ( &path.toString(), text );
    path += "longer";
    EXPECT_EQ( path.toString(), "a/b/longer" );
    EXPECT_EQ( path.toWString(), L"a/b/longer" );
    OsFilePath taken( std::move( path ) );
    EXPECT_EQ( taken.toString(), "a/b/longer" );
    path = copy;
    EXPECT_EQ( path.toString(), "a/b" );
    taken = std::move( path );
    EXPECT_EQ( taken.toString(), "a/b" );
    EXPECT_EQ( OsFilePath().toString() + OsFilePath().getChars(), "" );
}

TEST( OsFilePathUtilsTest, AncestorsAndRelocationGoByWholeComponents ) {
    // From, to, path, whether from is an ancestor, the relocated path; "stays" where it isn't
    // below.
    const auto rows = rowsOf<5>( R"(
        /a    /b   /a/c  yes  /b/c          /a  /b/d  /a       no   /b/d
        /a    /b   /ab   no   stays         /a/b  /c  /a       no   stays
        ''    /x   a/b   yes  /x/a/b        ''  ''    ''       no   ''
        ''    ''   /a    yes  /a            //s /x    //s/sh/a no   stays
        /     //s  /sh/a yes  //s/sh/a      /   /b    /../c    yes  /c
        a     ''   a/c:  yes  ./c: )" );
    for( const auto& [from, to, text, isAncestor, moved] : rows ) {
        OsFilePath path( text );
        path.toString(); // what is kept of it must go
        EXPECT_EQ( OsFilePathUtils::isAncestor( from, path ), isAncestor == "yes" ) << text;
        EXPECT_EQ( OsFilePathUtils::relocate( from, to, path ), moved != "stays" ) << text;
        EXPECT_EQ( path.toString(), moved != "stays" ? moved : text );
    }
    OsFilePath absolute( "/a" );
    EXPECT_THROW( OsFilePathUtils::relocate( "", "b", absolute ), OsFileEx::ExIllegalPathConcat );
    EXPECT_EQ( absolute.toString(), "/a" );
}

// A text of pieces that mean something to a path, and of any bytes.
std::string randomText( std::mt19937_64& random ) {
    static const std::string pieces[] = {
        "/",   "\\", ".",  "..", "./", "../",      "a",
        "b.c", "c:", "//", "\n", "Z:", "\xc3\xbc", std::string( 1, '\0' ) };
    std::string text;
    for( std::uint64_t i = random() % 24; i > 0; --i ) {
        const std::uint64_t choice = random() % ( std::size( pieces ) + 2 );
        text += choice < std::size( pieces ) ? pieces[choice]
                                             : std::string( 1, static_cast<char>( random() ) );
    }
    return text;
}

TEST( OsFilePathTest, WhatHoldsForEveryTextHoldsForRandomOnes ) {
    std::mt19937_64 random( testSeed() );
    for( long i = 0; i < scaledCount( 100000 ); ++i ) {
        const std::string text = randomText( random );
        const std::vector<std::uint8_t> bytes( text.begin(), text.end() );
        ASSERT_NO_THROW( LLVMFuzzerTestOneInput( bytes.data(), bytes.size() ) ) << text;
    }
}

} // namespace
} // namespace Qv
