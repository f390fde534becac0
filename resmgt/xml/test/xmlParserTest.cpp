#include <resmgt/xml/xmlParser.h>

#include <resmgt/osal/osFileReader.h>
#include <resmgt/xml/test/xmlOutcome.h>
#include <tests/support/tempDirectory.h>

#include <gtest/gtest.h>

using namespace std::string_literals;

namespace Qv {

namespace {

constexpr std::size_t REFILLS[] = { 1, 2, 3, 7, 16, 4096 };

struct Case {
    std::string input;
    std::string events;
    std::string message = {};
    int line = 0;
};

constexpr const char* INVALID_START = "Invalid character found. Expecting '<' or EOF.";
constexpr const char* NO_DECLARATION_END = "Error in XML declaration, ?> not found.";
constexpr const char* NO_QUESTION_MARK = "Error in XML declaration, ? expected before >.";
constexpr const char* BEHIND_QUESTION_MARK = "Error in XML declaration, > expected after ?.";
constexpr const char* NO_DOCTYPE = "Bad XML syntax, -- or DOCTYPE expected after <!.";
constexpr const char* NO_DOCTYPE_END = "Error in XML DOCTYPE, > not found.";
constexpr const char* BAD_COMMENT = "Bad XML comment opening syntax, <!-- expected.";
constexpr const char* NO_COMMENT_END = "Reached end of file while processing comment.";
constexpr const char* INVALID_NAME = "Error, name started with an invalid character.";
constexpr const char* LONE_SLASH = "Error, got a / not followed by >";
constexpr const char* NO_TAG_END = "Error in XML element tag, no '>' found";
constexpr const char* NO_EQUALS = "Error in attribute definition: Invalid character or EoF found.";
constexpr const char* NO_QUOTE = "Error in attribute definition, no quote found.";
constexpr const char* BAD_VALUE = "Error in attribute definition, invalid character or EoF found.";
constexpr const char* NO_CLOSING_END = "Error in attribute definition, no closing tag > found.";
constexpr const char* NO_DATA_END = "End-of-File reached while handling data.";
constexpr const char* NO_CLOSING = "Expected element closing tag '</...>'";
constexpr const char* BAD_BEHIND_AMPERSAND = "Invalid escape sequence after '&'";
constexpr const char* BAD_REFERENCE = "Invalid escape sequence between '&' and ';'";
constexpr const char* NO_DIGITS = "Invalid Ascii escape sequence - No digits.";
constexpr const char* NO_DIGITS_LEFT = "No digits found in Ascii escape sequence";
constexpr const char* OUT_OF_RANGE = "Ascii representation not between 0 and 65535";

const std::vector<Case> CASES = {
    // Before the root
    { "", "" },
    { " \t\r\n", "" },
    { "x", "", INVALID_START, 1 },
    { "\n\n  x", "", INVALID_START, 3 },
    { "\v<a/>", "", INVALID_START, 1 },
    { "\xEF\xBB\xBF<a/>", "", INVALID_START, 1 },
    { "<?xml version=\"1.0\"?>\n<a/>", "(a:2 /:2" },
    { "<?anything\n?><?xml version=\"9\"?> <a/>", "(a:2 /:2" },
    { "<?" "?><a/>", "(a:1 /:1" },
    { "<?xml", "", NO_DECLARATION_END, 1 },
    { "<?\n\n", "", NO_DECLARATION_END, 3 },
    { "<?xml\n>", "", NO_QUESTION_MARK, 2 },
    { "<?xml ?x>", "", BEHIND_QUESTION_MARK, 1 },
    { "<?xml\n?\n>", "", BEHIND_QUESTION_MARK, 2 },
    { "<?xml ?", "", BEHIND_QUESTION_MARK, 1 },
    { "<!DOCTYPE a><!DOCTYPE><a/>", "(a:1 /:1" },
    { "<!DOCTYPE a\nSYSTEM 'b'>\n<a/>", "(a:3 /:3" },
    { "<!DOCTYPE a [<!ELEMENT a ANY>]><a/>", "", INVALID_START, 1 },
    { "<!DOCTYPE a SYSTEM \"x>y\"><a/>", "", INVALID_START, 1 },
    { "<!doctype a>", "", NO_DOCTYPE, 1 },
    { "<!DOCTYP>", "", NO_DOCTYPE, 1 },
    { "<!DOC", "", NO_DOCTYPE, 1 },
    { "<!", "", NO_DOCTYPE, 1 },
    { "<![CDATA[x]]>", "", NO_DOCTYPE, 1 },
    { "<!DOCTYPE", "", NO_DOCTYPE_END, 1 },
    { "<!DOCTYPE a\n", "", NO_DOCTYPE_END, 2 },
    // Comments
    { "<!-- \n -- a - > --->\n<a/>", "(a:3 /:3" },
    { "<!----><a/>", "(a:1 /:1" },
    { "<!------><a/>", "(a:1 /:1" },
    { "<!--->", "", NO_COMMENT_END, 1 },
    { "<!-->", "", NO_COMMENT_END, 1 },
    { "<!--\n--", "", NO_COMMENT_END, 2 },
    { "<!-", "", BAD_COMMENT, 1 },
    { "<!-x-->", "", BAD_COMMENT, 1 },
    { "<a><!-- x --><b/><!-- y --></a><!-- z -->", "(a:1 (b:1 /:1 )a:1" },
    { "<a> <!x", "(a:1", BAD_COMMENT, 1 },
    { "<a><![CDATA[x]]></a>", "(a:1", BAD_COMMENT, 1 },
    { "<a/><!DOCTYPE a>", "(a:1 /:1", BAD_COMMENT, 1 },
    { "<a/><!", "(a:1 /:1", BAD_COMMENT, 1 },
    // Names of elements
    { "<", "" },
    { "<a", "" },
    { "<a/", "" },
    { "<a\n", "(a:1", NO_TAG_END, 2 },
    { "<>", "(:1" },
    { "</>", "):1" },
    { "<a>", "(a:1" },
    { "<a\n>\n", "(a:1 >:2" },
    { "<a/>", "(a:1 /:1" },
    { "<a\t\r\n />", "(a:1 /:2" },
    { "<a/b>", "(a/b:1" },
    { "<a//b/ ", "(a//b/:1", NO_TAG_END, 1 },
    { "<a//>", "(a/:1 /:1" },
    { "<a//b///c", "" },
    { "<a<b&c=\"\v\xC3\xE4?>", "(a<b&c=\"\v\xC3\xE4?:1" },
    { "< a>", "(:1", NO_EQUALS, 1 },
    { "<a/><?pi?>", "(a:1 /:1", INVALID_NAME, 1 },
    { "<a>\n<?pi?></a>", "(a:1", INVALID_NAME, 2 },
    { "<an.element-name_of:more.than.sixteen/><another-one-of-sixteen.and.more>",
      "(an.element-name_of:more.than.sixteen:1 /:1 (another-one-of-sixteen.and.more:1" },
    // Attributes
    { "<a b='1' c=\"2\">", "(a:1 b=1:1 c=2:1 >:1" },
    { "<a b='1'c=\"2\"/>", "(a:1 b=1:1 c=2:1 /:1" },
    { "<a\nb=\"x\ny\"\nc=''\n>", "(a:1 b=x\ny:3 c=:4 >:5" },
    { "<a b='x\"&apos;' c=\"'\"/>", "(a:1 b=x\"':1 c=':1 /:1" },
    { "<a b ='1' c d='2'\n='3' ?='4' ='5'>", "(a:1 b =1:1 c d=2:1 =3:2 ?=4:2 =5:2 >:2", "", 0 },
    { "<a b='an attribute whose value has more bytes than sixteen\r\n\xFF\x01'/>",
      "(a:1 b=an attribute whose value has more bytes than sixteen\r\n\xFF\x01:2 /:2" },
    { "<a /x>", "(a:1", LONE_SLASH, 1 },
    { "<a b='1'/\n>", "(a:1 b=1:1", LONE_SLASH, 1 },
    { "<a /", "(a:1", LONE_SLASH, 1 },
    { "<a\n<b>", "(a:1", INVALID_NAME, 2 },
    { "<a b='1'", "(a:1 b=1:1", NO_TAG_END, 1 },
    { "<a b>", "(a:1", NO_EQUALS, 1 },
    { "<a b\nc<", "(a:1", NO_EQUALS, 2 },
    { "<a b", "(a:1", NO_EQUALS, 1 },
    { "<a b= 'x'>", "(a:1", NO_QUOTE, 1 },
    { "<a b=\n'x'>", "(a:1", NO_QUOTE, 1 },
    { "<a b=x>", "(a:1", NO_QUOTE, 1 },
    { "<a b=", "(a:1", NO_QUOTE, 1 },
    { "<a b='1>0'>", "(a:1", BAD_VALUE, 1 },
    { "<a b='\n<'>", "(a:1", BAD_VALUE, 2 },
    { "<a b='x\">", "(a:1", BAD_VALUE, 1 },
    { "<a b='\n\n", "(a:1", BAD_VALUE, 3 },
    // End tags
    { "</a><b></c>", ")a:1 (b:1 )c:1" },
    { "<a></a ></a/></?pi>", "(a:1 )a :1 )a/:1 )?pi:1" },
    { "</\na\n>", ")\na\n:3" },
    { "</", "", NO_CLOSING_END, 1 },
    { "<a></a\n", "(a:1", NO_CLOSING_END, 2 },
    // Texts
    { "<a>t</a>", "(a:1 't':1 )a:1" },
    { "<a>\n\r\t t \n</a\n>", "(a:1 't \n':2 )a\n:4" },
    { "<a>t\n\n</a>", "(a:1 't\n\n':2 )a:3" },
    { "<a><b>>]]>='\"</b></a>", "(a:1 (b:1 '>]]>='\"':1 )b:1 )a:1" },
    { "<a> \n</a>", "(a:1 )a:2" },
    { "<a>\r\n\xE4\r\n\tb\x7F</a>", "(a:1 '\xE4\r\n\tb\x7F':3 )a:3" },
    { "<a>a text of more than sixteen bytes in one line &lt; another</a>",
      "(a:1 'a text of more than sixteen bytes in one line < another':1 )a:1" },
    { "<a>t<b/></a>", "(a:1", NO_CLOSING, 1 },
    { "<a>t\n<!-- x --></a>", "(a:1", NO_CLOSING, 2 },
    { "<a>t<", "(a:1", NO_CLOSING, 1 },
    { "<a>t\n", "(a:1", NO_DATA_END, 2 },
    { "<a> <", "(a:1" },
    { "<a><b/></a", "(a:1 (b:1 /:1", NO_CLOSING_END, 1 },
    // Behind elements
    { "<a><b/>junk &none; >\n<c/>junk</a>junk", "(a:1 (b:1 /:1 (c:2 /:2 )a:2" },
    { "<a/>\n<b/>\n<", "(a:1 /:1 (b:2 /:2" },
    // A NUL is the end
    { "\0<a/>"s, "" },
    { "<a/>\0<b/>"s, "(a:1 /:1" },
    { "<a b='\0'/>"s, "(a:1", BAD_VALUE, 1 },
    { "<a>\n\0</a>"s, "(a:1" },
    { "<a>t\0</a>"s, "(a:1", NO_DATA_END, 1 },
    { "<a\0/>"s, "" },
    { "<!--\0-->"s, "", NO_COMMENT_END, 1 },
    // References
    { "<a b='&lt;&gt;&amp;&apos;&quot;x&#65;&#x42;'/>", "(a:1 b=<>&'\"xAB:1 /:1" },
    { "<a b='&#12abc;&#9;|&#+67;|&#\t68;|&#x0x45;|&#x0X46;|&#x+47;|&#-00;&#256;&#65535;'/>",
      "(a:1 b=\f\t|C|D|E|F|G|\0\0\xFF:1 /:1"s },
    { "<a>&amp;amp;</a>", "(a:1 '&amp;':1 )a:1" },
    { "<a>\n\n&amp ;</a>", "(a:1", BAD_BEHIND_AMPERSAND, 3 },
    { "<a>x\n&amp\n</a\n>", "(a:1", BAD_BEHIND_AMPERSAND, 2 },
    { "<a b='&lt;\n&'/>", "(a:1", BAD_BEHIND_AMPERSAND, 2 },
    { "<a b='&'/>", "(a:1", BAD_BEHIND_AMPERSAND, 1 },
    { "<a b='&# 65;'/>", "(a:1", BAD_BEHIND_AMPERSAND, 1 },
    { "<a b='&;'/>", "(a:1", BAD_REFERENCE, 1 },
    { "<a b='&LT;'/>", "(a:1", BAD_REFERENCE, 1 },
    { "<a b='&none;'/>", "(a:1", BAD_REFERENCE, 1 },
    { "<a b='&&lt;'/>", "(a:1", BAD_REFERENCE, 1 },
    { "<a b='&#;'/>", "(a:1", NO_DIGITS, 1 },
    { "<a b='&#x;'/>", "(a:1", NO_DIGITS_LEFT, 1 },
    { "<a b='&#X41;'/>", "(a:1", OUT_OF_RANGE, 1 },
    { "<a b='&#abc;'/>", "(a:1", OUT_OF_RANGE, 1 },
    { "<a b='&#-1;'/>", "(a:1", OUT_OF_RANGE, 1 },
    { "<a b='&#x-0x1;'/>", "(a:1", OUT_OF_RANGE, 1 },
    { "<a b='&#+-1;'/>", "(a:1", OUT_OF_RANGE, 1 },
    { "<a b='&#65536;'/>", "(a:1", OUT_OF_RANGE, 1 },
    { "<a b='&#99999999999999999999;'/>", "(a:1", OUT_OF_RANGE, 1 },
};

class XmlParserTest : public testing::Test {
protected:
    std::string write( const std::string& text ) const {
        const std::string path = ( _directory.path() / "document.xml" ).string();
        writeFile( path, text );
        return path;
    }

private:
    TempDirectory _directory;
};

} // namespace

TEST_F( XmlParserTest, events_messages_and_lines_are_as_in_the_table_from_each_source ) {
    for( const Case& expected : CASES ) {
        SCOPED_TRACE( testing::PrintToString( expected.input ) );
        const XmlOutcome outcome = parseText( expected.input );
        EXPECT_EQ( outcome.events, expected.events );
        EXPECT_EQ( outcome.message, expected.message );
        EXPECT_EQ( outcome.line, expected.line );
        const std::string path = write( expected.input );
        for( const std::size_t refill : REFILLS ) {
            EXPECT_EQ( parseFile( path, refill ), outcome ) << refill;
        }
    }
}

TEST_F( XmlParserTest, a_document_that_ends_at_any_byte_gives_the_same_from_each_source ) {
    for( const bool strict : { false, true } ) {
        XmlReadOptions options;
        options.strict = strict;
        for( const Case& whole : CASES ) {
            for( std::size_t size = 0; size < whole.input.size(); ++size ) {
                const std::string part = whole.input.substr( 0, size );
                const XmlOutcome outcome = parseText( part, options );
                const std::string path = write( part );
                EXPECT_EQ( parseFile( path, 1, options ), outcome ) << part;
                EXPECT_EQ( parseFile( path, 3, options ), outcome ) << part;
            }
        }
    }
}

} // namespace Qv
