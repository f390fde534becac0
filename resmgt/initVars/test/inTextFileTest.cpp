#include <resmgt/initVars/inTextFile.h>
#include <resmgt/initVars/inTextFileEx.h>
#include <resmgt/osal/test/failingCalls.h>
#include <tests/support/raisedBy.h>
#include <tests/support/tempDirectory.h>
#include <tests/support/testSettings.h>

#include <gmock/gmock.h>
#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <random>
#include <set>
#include <string>
#include <utility>

extern "C" int LLVMFuzzerTestOneInput( const std::uint8_t* data, std::size_t size );

namespace Qv {
namespace {

namespace fs = std::filesystem;
using namespace InTextFileEx;
using Pairs = HashMap<std::string, std::string>;
using ::testing::AllOf;
using ::testing::EndsWith;
using ::testing::HasSubstr;
using ::testing::StartsWith;
using ::testing::UnorderedElementsAre;

class InTextFileTest : public ::testing::Test {
protected:
    void store( const std::string& content ) const {
        std::ofstream( _path, std::ios::binary ) << content;
    }
    static std::string load( const fs::path& path ) {
        std::ifstream stream( path, std::ios::binary );
        return { std::istreambuf_iterator<char>( stream ), std::istreambuf_iterator<char>() };
    }
    std::string load() const { return load( _path ); }
    Pairs read( bool stripComments = true ) const {
        Pairs pairs;
        InTextFile::readNameValuePair( _path.c_str(), pairs, stripComments );
        return pairs;
    }
    void write( const Pairs& pairs ) const {
        InTextFile::writeNameValuePair( _path.c_str(), pairs );
    }

    const TempDirectory _directory;
    const fs::path _path = _directory.path() / "@test.ini";
    const fs::path _backup = _directory.path() / "@test.tt~";
};

TEST_F( InTextFileTest, LinesBecomePairs ) {
    const std::string longest( InTextFile::MAX_LINE - 4, 'x' );
    const std::pair<std::string, Pairs> cases[] = {
        { "", {} },
        { "\n \t\r\n", {} },
        { "a=b=c", { { "a", "b=c" } } },
        { "name = value\nx=y\nb c d\n", { { "name", "value" }, { "x", "y" }, { "b", "c d" } } },
        { "a==b\nc\t=\t= d", { { "a", "=b" }, { "c", "= d" } } },
        { "a\nb =\n", { { "a", "" }, { "b", "" } } },
        { "\t a \t = \v b \f\r\n", { { "a", "b" } } },
        { "a=1\na=2\n", { { "a", "2" } } },
        { "ombra::x_1.Y = ja", { { "ombra::x_1.Y", "ja" } } },
        { "\xef\xbb\xbf"
          "a = \xc3\xa4\n",
          { { "a", "\xc3\xa4" } } },
        { "\xef\xbb\xbf# note\n", {} },
        { "#a=b\n# c\n", {} },
        { "a = x # note", { { "a", "x" } } },
        { "a = x \\# note", { { "a", "x \\# note" } } },
        { "a = x \\# y # z # w", { { "a", "x \\# y" } } },
        { "a = #fff # white", { { "a", "#fff" } } },
        { "a = x\\\ny", { { "a", "x y" } } },
        { "a = x\\  \r\n   y \t\r\nb=z", { { "a", "x y" }, { "b", "z" } } },
        { "a = x\\n\\\ny", { { "a", "x\\ny" } } },
        { "a = x\\#\\\ny", { { "a", "x\\#y" } } },
        { "a = x\\q\\\ny", { { "a", "x\\q y" } } },
        { "a \\\n \\\n= b", { { "a", "b" } } },
        { "a = b\\\n\nc = d", { { "a", "b" }, { "c", "d" } } },
        { "\\\na = b", { { "a", "b" } } },
        { "abc=" + longest, { { "abc", longest } } },
    };
    for( const auto& [content, pairs] : cases ) {
        store( content );
        EXPECT_EQ( read(), pairs ) << content;
    }
    store( "a = x # note\nb = \\# # c" );
    EXPECT_EQ( read( false ), ( Pairs{ { "a", "x # note" }, { "b", "\\# # c" } } ) );
}

TEST_F( InTextFileTest, WhatIsMalformedIsRefusedWithFileAndLineAndChangesNoPair ) {
    const std::string half( 260, 'x' );
    const std::string ofFile = " of message file " + _path.string();
    const std::string isInvalid = "Invalid syntax encountered at line ";
    const std::string isTooLong = "Line too long encountered at line  ";
    const std::pair<std::string, std::string> cases[] = {
        { "a=1\nb-c = 2", "Invalid token 'b-c' encountered at line 2" + ofFile },
        { " # no comment", "Invalid token '#' encountered at line 1" + ofFile },
        { "\n\n\xc3\xa4=1", "Invalid token '\xc3\xa4' encountered at line 3" + ofFile },
        { std::string( "a\0b=1", 5 ), "Invalid token 'a?b' encountered at line 1" + ofFile },
        { std::string( "a=1\nb=\0", 7 ), isInvalid + "2" + ofFile },
        { "= value", isInvalid + "1" + ofFile },
        { "a = b\\\n# note\n", isInvalid + "2" + ofFile },
        { "a = b\\", isInvalid + "1" + ofFile },
        { "a = b\\\nc \\\n", isInvalid + "2" + ofFile },
        { "\\\n\n", isInvalid + "2" + ofFile },
        { "a=1\n#" + half + half, isTooLong + "2" + ofFile },
        { "ab=" + half + half.substr( 11 ), isTooLong + "1" + ofFile },
        { "a=" + half + "\\\n\\\n" + half, isTooLong + "3" + ofFile },
    };
    for( const auto& [content, reason] : cases ) {
        store( content );
        Pairs pairs{ { "a", "before" } };
        EXPECT_EQ( raisedBy( [&] { InTextFile::readNameValuePair( _path.c_str(), pairs, true ); } ),
                   reason );
        EXPECT_EQ( pairs, ( Pairs{ { "a", "before" } } ) );
    }
}

TEST_F( InTextFileTest, NamesTakeLettersDigitsAndThreeSignsAndNothingElse ) {
    const std::string taken = "0123456789ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz_.:";
    for( int i = 0; i < 256; ++i ) {
        const char c = static_cast<char>( i );
        const bool separates = c == ' ' || c == '\t' || c == '=' || c == '\n';
        const std::string name = std::string( "a" ) + c + "b";
        store( name + "=1" );
        if( separates || taken.find( c ) != std::string::npos ) {
            EXPECT_TRUE( read().contains( separates ? "a" : name ) ) << i;
        } else {
            EXPECT_THROW( read(), ExInvalidToken ) << i;
        }
    }
}

TEST_F( InTextFileTest, AFileThatCantBeReadIsRefusedWithTheSystemsWords ) {
    EXPECT_THAT( raisedBy<ExCannotOpen>( [&] { read(); } ),
                 AllOf( StartsWith( "Cannot open message file " + _path.string() ),
                        HasSubstr( "No such file" ) ) );
    store( std::string( 100'000, '\n' ) );
    const FailingCall second( "read", EIO, FailingCall::ONCE, 2 );
    EXPECT_THAT( raisedBy<ExFileError>( [&] { read(); } ),
                 StartsWith( "Error reading line 65537of message file " + _path.string() ) );
    EXPECT_THAT( raisedBy<ExCannotOpen>( [&] {
                     Pairs pairs;
                     InTextFile::readNameValuePair( _directory.path().c_str(), pairs, true );
                 } ),
                 HasSubstr( "It isn't a regular file" ) );
    fs::remove( _path );
    ASSERT_EQ( ::mkfifo( _path.c_str(), 0600 ), 0 );
    EXPECT_THAT( raisedBy<ExCannotOpen>( [&] { read(); } ),
                 AllOf( HasSubstr( _path.string() ), HasSubstr( "It isn't a regular file" ) ) )
        << "a pipe isn't waited for";
    fs::remove( _path );
    store( "" );
    fs::resize_file( _path, InTextFile::MAX_SIZE + 1 );
    EXPECT_THAT( raisedBy<ExCannotOpen>( [&] { read(); } ), HasSubstr( "larger than" ) );
}

TEST_F( InTextFileTest, ReadingAddsToTheMapAndSurvivesManyLines ) {
    std::string content;
    for( int i = 0; i < 100'000; ++i ) {
        content += "name" + std::to_string( i ) + " = " + std::to_string( 2 * i ) + "\n";
    }
    store( content );
    Pairs pairs{ { "name5", "before" }, { "other", "stays" } };
    InTextFile::readNameValuePair( _path.c_str(), pairs, true );
    EXPECT_EQ( pairs.size(), 100'001U );
    EXPECT_EQ( pairs["name5"], "10" );
    EXPECT_EQ( pairs["name99999"], "199998" );
    EXPECT_EQ( pairs["other"], "stays" );
}

TEST_F( InTextFileTest, WritingChangesValuesAloneAndAddsWhatIsMissing ) {
    const struct {
        const char* _before;
        const char* _after;
    } cases[] = {
        { "", "a = 1\nb = x y\nc = \n" },
        { "# head\n\na=0\n", "# head\n\na=1\nb = x y\nc = \n" },
        { "  a  =  0  # note\r\nz = 5 # z\n", "  a  =  1  # note\r\nz = 5 # z\nb = x y\nc = \n" },
        { "b = x y # kept\nc = 7 # none behind nothing\na\n", "b = x y # kept\nc = \na = 1\n" },
        { "a = 5\\\n 6\nb = x\\\ny\nd = 1 \\\n2\nc=\n", "a = 1\nb = x\\\ny\nd = 1 \\\n2\nc=\n" },
        { "a=2\nb=3\na=4\nc", "a=1\nb=x y\na=1\nc\n" },
    };
    for( const auto& c : cases ) {
        store( c._before );
        write( { { "a", "1" }, { "b", "x y" }, { "c", "" } } );
        EXPECT_EQ( load(), c._after );
        EXPECT_FALSE( fs::exists( _backup ) );
    }
    store( "\xef\xbb\xbfz = 1 # note\nb 3\n" );
    write( { { "z", "2 \\# 3" }, { "b", "=4" } } );
    EXPECT_EQ( load(), "\xef\xbb\xbfz = 2 \\# 3 # note\nb = =4\n" );
    write( { { "z", "#fff" }, { "b", "#" } } );
    EXPECT_EQ( load(), "\xef\xbb\xbfz = #fff # note\nb = #\n" );
    EXPECT_EQ( read(), ( Pairs{ { "z", "#fff" }, { "b", "#" } } ) );
    store( "\xef\xbb\xbfz\n" );
    const std::string longest( InTextFile::MAX_LINE - 4, 'x' );
    write( { { "z", longest } } );
    EXPECT_EQ( read()["z"], longest ) << "the byte order mark takes no room of the line";
}

TEST_F( InTextFileTest, WhatCouldntBeReadBackIsRefusedBeforeAnythingIsChanged ) {
    const std::string content = "# head\na = 1\n";
    const Pairs refused[] = {
        { { "", "x" } },
        { { "a-b", "x" } },
        { { "a b", "x" } },
        { { "a", " x" } },
        { { "a", "x\t" } },
        { { "a", "x\ny" } },
        { { "a", "x\\" } },
        { { "a", "x # y" } },
        { { "a", "x#" } },
        { { "a", "##" } },
        { { "a", std::string( "x\0", 2 ) } },
        { { "b", "x" }, { "a", std::string( 508, 'x' ) } },
        { { "b", std::string( 508, 'x' ) } },
    };
    for( const Pairs& pairs : refused ) {
        store( content );
        std::ofstream( _backup ) << "an older backup";
        EXPECT_THAT( raisedBy( [&] { write( pairs ); } ), HasSubstr( _path.string() ) );
        EXPECT_EQ( load(), content );
        EXPECT_EQ( load( _backup ), "an older backup" );
    }
    store( "no-name = 1\n" );
    EXPECT_THROW( write( { { "a", "1" } } ), ExInvalidToken );
    EXPECT_EQ( load(), "no-name = 1\n" );
}

TEST_F( InTextFileTest, ReplacingAFileKeepsItsPermissionsAndNeverItsBackup ) {
    store( "a = 1\n" );
    fs::permissions( _path, fs::perms::owner_read | fs::perms::owner_write );
    // A second name of the file in the backup's place.
    fs::create_hard_link( _path, _backup );
    write( { { "a", "2" } } );
    EXPECT_EQ( load(), "a = 2\n" );
    EXPECT_EQ( fs::status( _path ).permissions(), fs::perms::owner_read | fs::perms::owner_write );
    EXPECT_FALSE( fs::exists( _backup ) );

    // A backup that may be all that is left.
    fs::rename( _path, _backup );
    write( { { "b", "3" } } );
    EXPECT_EQ( load(), "b = 3\n" );
    EXPECT_EQ( load( _backup ), "a = 2\n" );

    const fs::path odd = _directory.path() / "odd.tt~";
    std::ofstream( odd ) << "a = 1\n";
    InTextFile::writeNameValuePair( odd.c_str(), { { "a", "3" } } );
    EXPECT_EQ( load( odd ), "a = 3\n" );
}

TEST_F( InTextFileTest, ALinkToAFileStaysAndTheBackupIsBesideTheFile ) {
    const fs::path folder = _directory.path() / "elsewhere";
    fs::create_directory( folder );
    std::ofstream( folder / "real.ini" ) << "a = 1\n";
    fs::create_symlink( "elsewhere/real.ini", _path );
    const CallHook hook( "renameat", [&]( const SystemCall& ) {
        EXPECT_EQ( load( folder / "real.tt~" ), "a = 1\n" );
        return 0;
    } );
    write( { { "a", "2" } } );
    EXPECT_EQ( hook.nbCalls(), 1 );
    EXPECT_EQ( fs::read_symlink( _path ), "elsewhere/real.ini" );
    EXPECT_EQ( load( folder / "real.ini" ), "a = 2\n" );
    fs::remove( folder / "real.ini" );
    EXPECT_THAT( raisedBy<ExCannotOpen>( [&] {
                     write( { { "a", "3" } } );
                 } ),
                 HasSubstr( _path.string() ) );
    EXPECT_TRUE( fs::is_empty( folder ) );
}

TEST_F( InTextFileTest, WhateverCallFailsThereIsAWholeFileAndTheMessageSaysWhich ) {
    for( const bool existed : { true, false } ) {
        const std::string old = existed ? "# head\na = 1\n" : "";
        const std::string written = existed ? "# head\na = 2\n" : "a = 2\n";
        std::set<std::string> endings;
        std::string reason;
        forEachFailingCall(
            ENOSPC,
            [&] {
                fs::remove( _backup );
                fs::remove( _path );
                if( existed ) {
                    store( old );
                }
                reason = raisedBy( [&] { write( { { "a", "2" } } ); } );
            },
            [&]( const FailedRun& run ) {
                const std::string context = std::string( run.call ? run.call : "none" ) + ' ' +
                                            std::to_string( run.number ) + ": " + reason;
                const bool isWritten =
                    reason.empty() || reason.find( "; the file is written" ) != std::string::npos;
                EXPECT_EQ( load(), isWritten ? written : old ) << context;
                if( reason.empty() || reason.ends_with( "still there" ) ) {
                    EXPECT_EQ( load( _backup ), reason.empty() ? "" : old ) << context;
                }
                endings.insert( reason.substr( std::min( reason.rfind( "; " ), reason.size() ) ) );
            } );
        EXPECT_TRUE(
            endings.contains( existed ? "; the file is as it was" : "; nothing is written" ) );
        EXPECT_TRUE( endings.contains( existed ? "; the file is written, and its former content is "
                                                 "still there"
                                               : "; the file is written" ) );
    }
}

TEST_F( InTextFileTest, RandomFilesKeepTheirPromises ) {
    std::mt19937_64 random( testSeed() );
    const std::string pieces[] = { "a",    "b:",
                                   "=",    " = ",
                                   "#",    " # ",
                                   "\\",   "\\\n",
                                   "\\n",  "\n",
                                   "\n",   "\r\n",
                                   "\t",   "-",
                                   "\x1",  std::string( 1, '\0' ),
                                   "\xc3", std::string( 200, 'x' ) };
    for( long i = scaledCount( 500 ); i > 0; --i ) {
        std::string input;
        for( auto count = random() % 24; count > 0; --count ) {
            input += pieces[random() % std::size( pieces )];
        }
        ASSERT_NO_THROW( LLVMFuzzerTestOneInput(
            reinterpret_cast<const std::uint8_t*>( input.data() ), input.size() ) )
            << input;
    }
}

} // namespace
} // namespace Qv
