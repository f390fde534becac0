#include <resmgt/literals/liString.h>

#include <gtest/gtest.h>

#include <sstream>

namespace Qv {
namespace {

TEST( LiStringTest, IsMadeFromWhatTheLibraryHandsAround ) {
    std::ostringstream stream;
    stream << "tile " << 7;
    EXPECT_EQ( LiString( stream ), "tile 7" );
    EXPECT_EQ( LiString( stream ), "tile 7" ) << "the stream keeps its text";
    EXPECT_EQ( LiString( APtr<char>( new char[2]{ 'a' } ) ), "a" );
    EXPECT_EQ( LiString( static_cast<const char*>( nullptr ) ), "" );
    EXPECT_EQ( LiString( APtr<char>() ), "" );
}

TEST( LiStringTest, HashesAreTheSameEverywhere ) {
    // Published test vectors of FNV-1a.
    EXPECT_EQ( LiString( "" ).hashFunc(), 0xcbf29ce484222325u );
    EXPECT_EQ( LiString( "a" ).hashFunc(), 0xaf63dc4c8601ec8cu );
    EXPECT_EQ( LiString( "foobar" ).hashFunc(), 0x85944171f73967e8u );
}

TEST( LiStringTest, ReadsALineAtATime ) {
    std::istringstream stream( "first line\n\nlast" );
    LiString text( "before" );
    for( const char* line : { "first line", "", "last" } ) {
        EXPECT_TRUE( text.read( stream ) );
        EXPECT_EQ( text, line );
    }
    EXPECT_FALSE( text.read( stream ) );
    EXPECT_EQ( text, "" );
}

} // namespace
} // namespace Qv
