#include <resmgt/xml/test/xmlOutcome.h>

#include <gtest/gtest.h>

#include <string>

using namespace std::string_literals;

namespace Qv {

namespace {

struct Case {
    std::string text;
    /// None is read.
    std::string message = {};
    int line = 0;
    int column = 0;
};

constexpr const char* NAME = "Invalid name";
constexpr const char* CHARACTER = "Invalid character";
constexpr const char* DECLARATION = "Bad XML declaration";
constexpr const char* DOCTYPE = "Bad document type";
constexpr const char* REFERENCE = "Reference to a character that XML doesn't allow";
constexpr const char* OPEN = "An element is left open";
constexpr const char* MISMATCH = "The end tag doesn't match a start tag";
constexpr const char* JUNK = "Text behind an end tag";

const Case CASES[] = {
    { "<a/>" },
    { "\n<!-- c --><a b='1' c=\"2\"\n/><!-- d -->\r\n\t" },
    { "<?xml version='1.0' encoding='UTF-8' standalone='yes' ?><a/>" },
    { "<?xml\tversion = \"1.10\"\n?><?style href='a'?><a/>" },
    { "<!DOCTYPE a><a/>" },
    { "<!DOCTYPE\na SYSTEM 'x' ><a/>" },
    { "<!DOCTYPE a PUBLIC \"-//X//Y 1.0\" ''><a/>" },
    { "<_:\xC3\xA9-.1 \xE4\xB8\x80='\xF0\x9F\x98\x80'/>" },
    { "<a><b>t</b> <b>]]&gt;\x7F</b></a>" },
    // Nothing that is whole
    { "", "There is no root element", 1, 1 },
    { "\n<!-- -->", "There is no root element", 2, 9 },
    { "<", "Error in XML element tag, no '>' found", 1, 2 },
    { "<a/><", "Error in XML element tag, no '>' found", 1, 6 },
    { "<a/><b", "Error in XML element tag, no '>' found", 1, 7 },
    { "<a>", OPEN, 1, 4 },
    { "<a><b/></a><a/>", "There are several root elements", 1, 13 },
    { "<a><b></b>\n", OPEN, 2, 1 },
    { "<a/>\0"s, CHARACTER, 1, 5 },
    // Tags
    { "<a></b>", MISMATCH, 1, 6 },
    { "<a><aa></a>", MISMATCH, 1, 10 },
    { "</a>", MISMATCH, 1, 3 },
    { "<a></a></a>", MISMATCH, 1, 10 },
    { "<a></a\n>", MISMATCH, 1, 6 },
    { "<a/>\njunk", JUNK, 2, 1 },
    { "<a><b/>junk</a>", JUNK, 1, 8 },
    { "<a><b></b>&lt;</a>", JUNK, 1, 11 },
    // Names
    { "<>", NAME, 1, 2 },
    { "<1a/>", NAME, 1, 2 },
    { "<-a/>", NAME, 1, 2 },
    { "<a/b/>", NAME, 1, 2 },
    { "<a<b>", NAME, 1, 2 },
    { "<\xC2\xB7/>", NAME, 1, 2 },
    { "<a\xC3/>", NAME, 1, 2 },
    { "<a b ='1'/>", NAME, 1, 4 },
    { "<a ='1'/>", NAME, 1, 4 },
    { "<a\nb='1'\n b='2'/>", "The attribute is there already", 3, 2 },
    { "<a b='1'c='2'/>", "White space expected before an attribute", 1, 9 },
    // Characters
    { "<a b='x\n\x01'/>", CHARACTER, 2, 1 },
    { "<a>\n\x1F</a>", CHARACTER, 2, 1 },
    { "<a>x\ny\xEF\xBF\xBEz\n</a>", CHARACTER, 2, 2 },
    { "<a>a text that has more than sixteen bytes in its line\xED\xA0\x80</a>", CHARACTER, 1, 55 },
    { "<a>\xC0\xAF</a>", CHARACTER, 1, 4 },
    { "<a>\xF4\x90\x80\x80</a>", CHARACTER, 1, 4 },
    { "<a b='\xE4\xB8'/>", CHARACTER, 1, 7 },
    { "<!--\n\x02--><a/>", CHARACTER, 2, 1 },
    { "<?p \xFF?><a/>", CHARACTER, 1, 5 },
    { "<!DOCTYPE a SYSTEM '\xFF'><a/>", CHARACTER, 1, 21 },
    { "<a>x]]></a>", "\"]]>\" in a text", 1, 5 },
    // References
    { "<a b='&#8;'/>", REFERENCE, 1, 7 },
    { "<a b='&#xFFFE;'/>", REFERENCE, 1, 7 },
    { "<a b='&#xD800;'/>", REFERENCE, 1, 7 },
    { "<a b='&#x110000;'/>", REFERENCE, 1, 7 },
    { "<a b='&#99999999999;'/>", REFERENCE, 1, 7 },
    { "<a b='&#12abc;'/>", "Invalid escape sequence between '&' and ';'", 1, 7 },
    { "<a b='&#x0x41;'/>", "Invalid escape sequence between '&' and ';'", 1, 7 },
    { "<a b='&#+65;'/>", "Invalid escape sequence between '&' and ';'", 1, 7 },
    // Comments
    { "<!-- -- --><a/>", "\"--\" in a comment", 1, 8 },
    { "<a/><!-- --->", "\"--\" in a comment", 1, 13 },
    // Declarations
    { " <?xml version='1.0'?><a/>", "The XML declaration isn't at the start", 1, 4 },
    { "<?xml?><a/>", DECLARATION, 1, 6 },
    { "<?xml version='2.0'?><a/>", DECLARATION, 1, 20 },
    { "<?xml version='1.'?><a/>", DECLARATION, 1, 19 },
    { "<?xml version=1.0?><a/>", DECLARATION, 1, 6 },
    { "<?xml encoding='UTF-8'?><a/>", DECLARATION, 1, 6 },
    { "<?xml version='1.0'encoding='UTF-8'?><a/>", DECLARATION, 1, 20 },
    { "<?xml version='1.0' standalone='maybe'?><a/>", DECLARATION, 1, 39 },
    { "<?xml version='1.0' standalone='no' encoding='UTF-8'?><a/>", DECLARATION, 1, 37 },
    { "<?xml version='1.0' more='1'?><a/>", DECLARATION, 1, 21 },
    { "<?XML version='1.0'?><a/>", NAME, 1, 3 },
    { "<? p?><a/>", NAME, 1, 3 },
    // Document types
    { "<!DOCTYPEa><a/>", DOCTYPE, 1, 10 },
    { "<!DOCTYPE ><a/>", DOCTYPE, 1, 11 },
    { "<!DOCTYPE a []><a/>", DOCTYPE, 1, 13 },
    { "<!DOCTYPE a SYSTEM><a/>", DOCTYPE, 1, 19 },
    { "<!DOCTYPE a SYSTEM'x'><a/>", DOCTYPE, 1, 19 },
    { "<!DOCTYPE a PUBLIC 'x'><a/>", DOCTYPE, 1, 23 },
    { "<!DOCTYPE a PUBLIC '\x7B' 'x'><a/>", DOCTYPE, 1, 23 },
    { "<!DOCTYPE a SYSTEM 'x' y><a/>", DOCTYPE, 1, 24 },
    { "<!DOCTYPE a><!DOCTYPE a><a/>", "There are two document types", 1, 22 },
};

XmlReadOptions strictly() {
    XmlReadOptions result;
    result.strict = true;
    return result;
}

} // namespace

TEST( XmlStrictTest, DocumentsThatAreNotWellFormedAreRefusedWithTheirPlace ) {
    for( const Case& expected : CASES ) {
        SCOPED_TRACE( testing::PrintToString( expected.text ) );
        const XmlOutcome outcome = parseText( expected.text, strictly() );
        EXPECT_EQ( outcome.message, expected.message );
        EXPECT_EQ( outcome.line, expected.line );
        EXPECT_EQ( outcome.column, expected.column );
        for( const std::size_t piece : { 1U, 2U, 3U, 7U } ) {
            EXPECT_EQ( parsePieces( expected.text, piece, strictly() ), outcome );
        }
    }
}

TEST( XmlStrictTest, ANumericReferenceIsTheCharacterInUTF8 ) {
    EXPECT_EQ( parseText( "<a b='&#233;&#x20AC;&#x1F600;&#10;&lt;'/>", strictly() ).events,
               "(a:1 b=\xC3\xA9\xE2\x82\xAC\xF0\x9F\x98\x80\n<:1 /:1" );
}

TEST( XmlStrictTest, AnEqualAttributeIsFoundAmongAnyNumber ) {
    for( const int nb : { 2, 8, 15, 16, 17, 18, 33, 100, 5000 } ) {
        for( const char* const stem : { "b", "an-attribute-of-some-length-" } ) {
            std::string text = "<a";
            for( int i = 0; i < nb; ++i ) {
                text += " " + ( stem + std::to_string( i ) ) + "=''";
            }
            EXPECT_EQ( parseText( text + "/>", strictly() ).message, "" ) << nb;
            for( const int again : { 0, 1, nb / 2, nb - 1 } ) {
                const std::string name = stem + std::to_string( again );
                EXPECT_EQ( parseText( text + " " + name + "=''/>", strictly() ).message,
                           "The attribute is there already" )
                    << nb;
            }
        }
    }
}

TEST( XmlEncodingsTest, WhatMarkAndDeclarationNameIsTurnedIntoUTF8 ) {
    const std::string euro = "<a b='\xE2\x82\xAC'/>";
    const std::string events = "(a:1 b=\xE2\x82\xAC:1 /:1";
    const std::string latin = "<?xml version='1.0' encoding='iso-8859-1'?><a b='\xE4\x80 x\xFF'/>";
    const std::u16string wide =
        u"<?xml version='1.0' encoding=\"utf-16\"?><a b='\u20AC\U0001F600'/>";
    const std::string wideEvents = "(a:1 b=\xE2\x82\xAC\xF0\x9F\x98\x80:1 /:1";
    const std::string padding( 4080, ' ' );
    const std::string unsupported = "Encoding \"Shift_JIS\" isn't supported";
    const std::string ill = "Ill-formed UTF-16";
    struct EncodingCase {
        std::string text;
        std::string events;
        std::string message = {};
    };
    const EncodingCase ENCODINGS[] = {
        { euro, events },
        { "\xEF\xBB\xBF" + euro, events },
        { "\xEF\xBB\xBF<?xml version='1.0' encoding = 'utf-8'?>" + euro, events },
        { "<?xml version='1.0'?>" + euro, events },
        { "<?xml-style encoding='none'?>" + euro, events },
        { latin, "(a:1 b=\xC3\xA4\xC2\x80 x\xC3\xBF:1 /:1" },
        { "<?xml " + padding + "encoding='ISO-8859-1'?><a b='\xE4'/>", "",
          "Error in XML declaration, ?> not found." },
        { utf16( u"\uFEFF" + wide, true ), wideEvents },
        { utf16( u"\uFEFF" + wide, false ), wideEvents },
        { utf16( wide, true ), wideEvents },
        { utf16( wide, false ), wideEvents },
        { utf16( u"\uFEFF<a/>", true ), "(a:1 /:1" },
        { utf16( u"\uFEFF<a/>", false ) + "<", "(a:1 /:1", ill },
        { utf16( u"\uFEFF<a/><b>\xD83D", false ), "(a:1 /:1 (b:1", ill },
        { utf16( u"\uFEFF<a/>\xDE00", false ), "(a:1 /:1", ill },
        { utf16( u"\uFEFF<a/>\xD83D\xD83D", true ), "(a:1 /:1", ill },
        { "<?xml version='1.0' encoding='Shift_JIS'?><a/>", "", unsupported },
        { utf16( u"\uFEFF<?xml encoding='Shift_JIS'?><a/>", true ), "", unsupported },
        { utf16( u"\uFEFF<?xml encoding='UTF-8'?><a/>", true ), "",
          "The document isn't in its encoding \"UTF-8\"" },
        { "<?xml version='1.0' encoding='UTF-16'?><a/>", "",
          "The document isn't in its encoding \"UTF-16\"" },
        { "\xEF\xBB\xBF<?xml version='1.0' encoding='ISO-8859-1'?><a/>", "",
          "The document isn't in its encoding \"ISO-8859-1\"" },
        { "\xFF\xFE\0\0<\0\0\0"s, "", "Encoding \"UTF-32\" isn't supported" },
        { "\0\0\xFE\xFF\0\0\0<"s, "", "Encoding \"UTF-32\" isn't supported" },
    };
    XmlReadOptions options;
    options.decode = true;
    for( const EncodingCase& expected : ENCODINGS ) {
        SCOPED_TRACE( testing::PrintToString( expected.text.substr( 0, 100 ) ) );
        const XmlOutcome outcome = parseText( expected.text, options );
        EXPECT_EQ( outcome.events, expected.events );
        EXPECT_EQ( outcome.message, expected.message );
        for( const std::size_t piece : { 1U, 2U, 3U, 7U } ) {
            EXPECT_EQ( parsePieces( expected.text, piece, options ), outcome );
        }
    }
    // Without the option the bytes pass as they are.
    EXPECT_EQ( parseText( latin ).events, "(a:1 b=\xE4\x80 x\xFF:1 /:1" );
}

TEST( XmlEncodingsTest, ALongDocumentIsConvertedPieceByPiece ) {
    std::string latin = "<?xml version='1.0' encoding='ISO-8859-1'?><a>";
    std::u16string wide = u"\uFEFF<a>";
    std::string expected = "(a:1 '";
    for( int i = 0; i < 100'000; ++i ) {
        latin += "x\xE4";
        wide += u"x\u00E4";
        expected += "x\xC3\xA4";
    }
    expected += "':1 )a:1";
    XmlReadOptions options;
    options.decode = true;
    EXPECT_EQ( parseText( latin + "</a>", options ).events, expected );
    EXPECT_EQ( parseText( utf16( wide + u"</a>", true ), options ).events, expected );
    EXPECT_EQ( parsePieces( utf16( wide + u"</a>", false ), 777, options ).events, expected );
}

} // namespace Qv
