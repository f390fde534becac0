#include <resmgt/literals/liStringCompleter.h>
#include <resmgt/literals/liStringParser.h>
#include <resmgt/literals/liStringTokenizer.h>

#include <gmock/gmock.h>

namespace Qv {

using testing::ElementsAre;
using testing::ElementsAreArray;

TEST( LiStringTokenizerTest, DelimitersInARowSeparateOnceAndNoTokenIsEmpty ) {
    const std::tuple<const char*, const char*, std::vector<std::string>> cases[] = {
        { "a b", " ", { "a", "b" } },
        { ",;a,;b;", ",;", { "a", "b" } },
        { "", ",", {} },
        { ",,", ",", {} },
        { "one, two", "", { "one, two" } },
        { "one", ",", { "one" } },
    };
    for( const auto& [text, delimiters, tokens] : cases ) {
        const LiStringTokenizer tokenizer( text, delimiters );
        EXPECT_THAT( std::vector<std::string>( tokenizer.begin(), tokenizer.end() ),
                     ElementsAreArray( tokens ) );
        EXPECT_EQ( tokenizer.nbTokens(), tokens.size() );
    }
}

TEST( LiStringParserTest, SplitsAtTheFirstSeparatorAlsoInPlace ) {
    std::string left = "key == a == b";
    std::string right;
    EXPECT_TRUE( LiStringParser::splitString( left, " == ", left, right ) );
    EXPECT_EQ( left + "|" + right, "key|a == b" );
    EXPECT_TRUE( LiStringParser::splitString( right, "b", left, right ) );
    EXPECT_EQ( left + "|" + right, "a == |" );
    for( const char* const separator : { "x", "" } ) {
        EXPECT_FALSE( LiStringParser::splitString( "plain", separator, left, right ) );
        EXPECT_EQ( left + "|" + right, "plain|" );
    }
}

TEST( LiStringParserTest, TokensAreReadOneByOneToTheEnd ) {
    const std::string text = "  a bc ";
    std::size_t position = 0;
    EXPECT_EQ( LiStringParser::readToken( text, position, " " ), "a" );
    EXPECT_EQ( LiStringParser::readToken( text, position, " " ), "bc" );
    EXPECT_EQ( LiStringParser::readToken( text, position, " " ), "" );
    EXPECT_EQ( position, text.size() );
    position = text.size() + 5;
    EXPECT_EQ( LiStringParser::readToken( text, position, " " ), "" );
}

TEST( LiStringCompleterTest, GoesRoundTheMatchesEitherWayWhateverTheirCase ) {
    LiStringCompleter completer;
    EXPECT_FALSE( completer.complete( "g", true ) );
    Vector<std::string> entries;
    entries.assign( { "Glow", "blur", "grade", "GRAIN" } );
    completer.setDictionnary( entries );
    EXPECT_FALSE( completer.addDictionnaryEntry( "blur" ) );
    EXPECT_TRUE( completer.addDictionnaryEntry( "grid" ) );

    std::vector<std::string> seen;
    for( const bool isForward : { true, true, true, true, false, false } ) {
        EXPECT_TRUE( completer.complete( seen.size() % 2 == 0 ? "gr" : "GR", isForward ) );
        seen.push_back( completer.item() );
    }
    EXPECT_THAT( seen, ElementsAre( "grade", "GRAIN", "grid", "grade", "grid", "GRAIN" ) );
    EXPECT_TRUE( completer.complete( "g", false ) );
    EXPECT_EQ( completer.item(), "grid" );
    EXPECT_FALSE( completer.complete( "glows", true ) );
    EXPECT_EQ( completer.item(), "" );
    // A change of the dictionary is a new beginning.
    EXPECT_TRUE( completer.complete( "g", true ) );
    completer.addDictionnaryEntry( "Gamma" );
    EXPECT_EQ( completer.item(), "" );
    EXPECT_TRUE( completer.complete( "g", false ) );
    EXPECT_EQ( completer.item(), "Gamma" );
}

} // namespace Qv
