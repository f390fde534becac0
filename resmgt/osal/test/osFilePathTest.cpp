#include <base/failure/assertions.h>
#include <resmgt/osal/osFileEx.h>
#include <resmgt/osal/osFilePath.h>
#include <resmgt/osal/osFilePathUtils.h>
#include <tests/support/testSettings.h>

#include <gmock/gmock.h>

#include <cstdint>
#include <random>
#include <sstream>

extern "C" int LLVMFuzzerTestOneInput( const std::uint8_t* data, std::size_t size );

namespace Qv {
namespace {

std::string componentsOf( const OsFilePath& path ) {
    std::string components;
    for( unsigned int i = 0; i < path.getNbComponents(); ++i ) {
        components += ( i > 0 ? "|" : "" ) + path.getComponent( i );
    }
    return components;
}

template <class Body>
std::string reasonOf( const Body& body ) {
    try {
        body();
    } catch( const OsFileEx::ExIllegalPathConcat& exception ) {
        return exception.getReason();
    }
    return "nothing was raised";
}

TEST( OsFilePath, EveryTextHasItsNormalForm ) {
    const struct {
        const char *_text, *_components, *_printed;
    } cases[] = {
        { "", "", "" },
        { "a//b", "a|b", "a/b" },
        { "a\\b/", "a|b", "a/b" },
        { "a/./b", "a|b", "a/b" },
        { "./a", "a", "a" },
        { ".//.", ".", "." },
        { "a/..", ".", "." },
        { "a/../b", "b", "b" },
        { "a/../..", "..", ".." },
        { "../a", "..|a", "../a" },
        { "../..", ".", "." },
        { "../../a", "a", "a" },
        { "../../..", "..", ".." },
        { "...", "...", "..." },
        { "/", "/", "/" },
        { "\\a", "/|a", "/a" },
        { "/..", "/|..", "/.." },
        { "/../..", "/", "/" },
        { "/../a", "/|..|a", "/../a" },
        { "/.", "/", "/" },
        { "///", "/", "/" },
        { "C:\\dir\\.\\sub\\", "C:/|dir|sub", "C:/dir/sub" },
        { "c:", "C:/", "C:/" },
        { "c:/..", "C:/|..", "C:/.." },
        { "c:foo", "c:foo", "c:foo" },
        { "1:/a", "1:|a", "1:/a" },
        { "\xc3:/a", "\xc3:|a", "\xc3:/a" },
        { "./c:/a", "c:|a", "./c:/a" },
        { "a/../c:", "c:", "./c:" },
        { "/c:", "/|c:", "/c:" },
        { "//server", "//server/", "//server/" },
        { "\\\\server\\share\\dir", "//server/share/|dir", "//server/share/dir" },
        { "////server//share", "//server/share/", "//server/share/" },
        { "//server/./share/..", "//server/share/|..", "//server/share/.." },
        { "//server/..", "//server/../", "//server/../" },
        { "//server/share/../../a", "//server/share/|a", "//server/share/a" },
    };
    for( const auto& one : cases ) {
        const OsFilePath path( one._text );
        EXPECT_EQ( componentsOf( path ), one._components ) << one._text;
        EXPECT_EQ( path.toString(), one._printed ) << one._text;
    }
    const std::string bytes( "a\0b/\xff\0", 6 );
    EXPECT_EQ( componentsOf( bytes ), std::string( "a\0b|\xff\0", 6 ) );
    EXPECT_EQ( OsFilePath( OsFilePath( bytes ).toWString() ).toString(), bytes );
    EXPECT_EQ( OsFilePath( bytes ).length(), bytes.size() );
    EXPECT_TRUE( OsFilePath( static_cast<const char*>( nullptr ) ).isEmpty() );
    EXPECT_TRUE( OsFilePath( static_cast<const wchar_t*>( nullptr ) ).isEmpty() );
    EXPECT_EQ( OsFilePath( L"/gr\u00fcn" ).toString(), "/gr\xc3\xbcn" );
    EXPECT_THROW( OsFilePath( "a" ).getComponent( 1 ), ExAssertionFailed );
}

TEST( OsFilePath, KnowsItsRoot ) {
    const struct {
        const char *_text, *_root;
        bool _isRoot, _isNative;
    } cases[] = {
        { "", "", false, false },
        { ".", "", false, true },
        { "c:foo", "", false, true },
        { "./c:", "", false, true },
        { "/", "/", true, false },
        { "/a", "/", false, false },
        { "c:/", "C:/", true, true },
        { "c:/a", "C:/", false, true },
        { "//server", "//server/", true, true },
        { "//server/share", "//server/share/", true, true },
        { "//server/share/a", "//server/share/", false, true },
    };
    for( const auto& one : cases ) {
        const OsFilePath path( one._text );
        EXPECT_EQ( path.getRoot().toString(), one._root ) << one._text;
        EXPECT_EQ( path.isRoot(), one._isRoot ) << one._text;
        EXPECT_EQ( path.isNative(), one._isNative ) << one._text;
        EXPECT_EQ( path.isAbsolute(), *one._root != '\0' ) << one._text;
        EXPECT_EQ( path.isRelative(), !path.isAbsolute() && !path.isEmpty() ) << one._text;
    }
}

TEST( OsFilePath, ComposesByComponents ) {
    const struct {
        const char *_left, *_right, *_sum;
    } cases[] = {
        { "", "", "" },
        { "", "/abs", "/abs" },
        { "", "//s/sh/a", "//s/sh/a" },
        { "a", "", "a" },
        { "a", "b/c", "a/b/c" },
        { "a", "../b", "b" },
        { ".", "a", "a" },
        { ".", "../a", "../a" },
        { "..", "../a", "a" },
        { "/", "../a", "/../a" },
        { "/a", "../..", "/a" },
        { "//server", "share", "//server/share/" },
        { "/a", "./c:", "/a/c:" },
        { ".", "./c:", "./c:" },
        { "C:", "a", "C:/a" },
    };
    for( const auto& one : cases ) {
        OsFilePath sum( one._left );
        sum.toWString(); // what is kept of it must go
        EXPECT_EQ( ( sum + one._right ).toString(), one._sum ) << one._left;
        EXPECT_EQ( ( sum += one._right ).toWString(), OsFilePath( one._sum ).toWString() );
    }
    OsFilePath twice( "../a" );
    EXPECT_EQ( ( twice += twice ).toString(), "../a" );
    for( const char* absolute : { "/abs", "c:", "//server" } ) {
        OsFilePath path( "x\\y" );
        EXPECT_EQ( reasonOf( [&] { path += absolute; } ),
                   "OsFilePath::operator+=: Attempt to concatenate absolute path: 'x/y'." );
        EXPECT_EQ( path.toString(), "x/y" );
    }
}

TEST( OsFilePath, ComesApartIntoDirectoryNameAndExtension ) {
    const struct {
        const char *_text, *_directory, *_name, *_stem, *_extension, *_stripped;
    } cases[] = {
        { "", "", "", "", "", "" },
        { "a", ".", "a", "a", "", "a" },
        { "a.tar.gz", ".", "a.tar.gz", "a.tar", "gz", "a.tar" },
        { "/d.x/a", "/d.x", "a", "a", "", "/d.x/a" },
        { "d/a.", "d", "a.", "a", "", "d/a" },
        { ".profile", ".", ".profile", "", "", "" },
        { "d/.profile", "d", ".profile", "", "", "d" },
        { "d/..x", "d", "..x", ".", "x", "d" },
        { "d/...x", "d", "...x", "..", "x", "." },
        { "d/c:.x", "d", "c:.x", "./c:", "x", "d/c:" },
        { ".", ".", ".", "", "", "." },
        { "..", ".", "..", ".", "", ".." },
        { "/", "/", "/", "/", "", "/" },
        { "/..", "/", "..", ".", "", "/.." },
        { "C:/a.b", "C:/", "a.b", "a", "b", "C:/a" },
        { "//a.b/c", "//a.b/c/", "//a.b/c/", "//a/", "", "//a.b/c/" },
        { "//s/sh/a", "//s/sh/", "a", "a", "", "//s/sh/a" },
    };
    for( const auto& one : cases ) {
        OsFilePath path( one._text );
        EXPECT_EQ( path.getDirectoryName().toString(), one._directory ) << one._text;
        EXPECT_EQ( path.getBaseName( OsFilePath::WITH_EXTENSION ).toString(), one._name );
        EXPECT_EQ( path.getBaseNameNoExt().toString(), one._stem ) << one._text;
        EXPECT_EQ( path.getExtension(), one._extension ) << one._text;
        EXPECT_EQ( OsFilePath::stripExtension( one._text ), one._stem ) << one._text;
        EXPECT_EQ( path.stripExtension().toString(), one._stripped ) << one._text;
    }
    EXPECT_EQ( OsFilePath( "a.gr\xc3\xbcn" ).getExtensionW(), L"gr\u00fcn" );
}

TEST( OsFilePath, TakesAnExtension ) {
    const struct {
        const char *_text, *_extension, *_added, *_enforced;
    } cases[] = {
        { "a", "tif", "a.tif", "a.tif" },
        { "a.TIF", "tif", "a.TIF.tif", "a.tif" },
        { "d/a.tif", "tif", "d/a.tif.tif", "d/a.tif" },
        { "a.jpg", "tif", "a.jpg.tif", "a.jpg.tif" },
        { "/.profile", ".tif", "/.profile.tif", "/.profile.tif" },
        { "a.tif", "", "a.tif", "a.tif" },
        { "d/..x", "X", "d/..x.X", "d/..X" },
        { "...x", "X", "...x.X", "...X" },
        { "a", "b/../c\\", "a.b/../c", "c" },
    };
    for( const auto& one : cases ) {
        OsFilePath path( one._text );
        path.toString(); // what is kept of it must go
        EXPECT_EQ( path.addExtension( one._extension ), OsFilePath( one._added ) ) << one._text;
        EXPECT_EQ( path.toString(), OsFilePath( one._added ).toString() ) << one._text;
        EXPECT_EQ( OsFilePath::enforceExtension( one._text, one._extension ).toString(),
                   one._enforced )
            << one._text;
    }
    EXPECT_EQ( OsFilePath( "a" ).addExtension( L"\u00fc" ).toString(), "a.\xc3\xbc" );
    EXPECT_EQ( OsFilePath( "a" ).addExtension( static_cast<char*>( nullptr ) ).toString(), "a" );
    EXPECT_TRUE( OsFilePath::enforceExtension( "", "tif" ).isEmpty() );
    for( const char* text : { "", ".", "..", "/", "/..", "C:/", "//server/share/" } ) {
        OsFilePath path( text );
        EXPECT_EQ(
            reasonOf( [&] { path.addExtension( "tif" ); } ),
            std::string( "OsFilePath::addExtension: Attempt to concatenate absolute path: '" ) +
                text + "'." );
        EXPECT_EQ( path.toString(), text );
    }
}

TEST( OsFilePath, OrdersByBytesComponentByComponent ) {
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

TEST( OsFilePath, PrintsItselfOnBothKindsOfStream ) {
    std::ostringstream narrow;
    std::wostringstream wide;
    const OsFilePath path( "/\xc3\xbc\\a" );
    path.dump( narrow ) << "!";
    path.dump( wide ) << "!";
    EXPECT_EQ( narrow.str(), "/\xc3\xbc/a!" );
    EXPECT_EQ( wide.str(), L"/\u00fc/a!" );
    EXPECT_EQ( path.getChars(), path.toUTF8() );
}

TEST( OsFilePathUtils, AncestorsAndRelocationGoByWholeComponents ) {
    const struct {
        const char *_from, *_to, *_path;
        bool _isAncestor;
        const char* _moved; // null: it isn't below
    } cases[] = {
        { "/a", "/b", "/a/c", true, "/b/c" },
        { "/a", "/b/d", "/a", false, "/b/d" },
        { "/a", "/b", "/ab", false, nullptr },
        { "/a/b", "/c", "/a", false, nullptr },
        { "", "/x", "a/b", true, "/x/a/b" },
        { "", "", "", false, "" },
        { "", "", "/a", true, "/a" },
        { "//s", "/x", "//s/sh/a", false, nullptr },
        { "/", "//s", "/sh/a", true, "//s/sh/a" },
        { "/", "/b", "/../c", true, "/c" },
        { "a", "", "a/c:", true, "./c:" },
    };
    for( const auto& one : cases ) {
        OsFilePath path( one._path );
        path.toString(); // what is kept of it must go
        EXPECT_EQ( OsFilePathUtils::isAncestor( one._from, path ), one._isAncestor ) << one._path;
        EXPECT_EQ( OsFilePathUtils::relocate( one._from, one._to, path ), one._moved != nullptr );
        EXPECT_EQ( path.toString(), one._moved != nullptr ? one._moved : one._path );
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

TEST( OsFilePath, WhatHoldsForEveryTextHoldsForRandomOnes ) {
    std::mt19937_64 random( testSeed() );
    for( long i = 0; i < scaledCount( 100000 ); ++i ) {
        const std::string text = randomText( random );
        const std::vector<std::uint8_t> bytes( text.begin(), text.end() );
        ASSERT_NO_THROW( LLVMFuzzerTestOneInput( bytes.data(), bytes.size() ) ) << text;
    }
}

} // namespace
} // namespace Qv
