#include <resmgt/xml/xmlParser.h>

#include <base/failure/exSysError.h>
#include <base/failure/qvHere.h>
#include <resmgt/osal/osFileReader.h>
#include <resmgt/osal/test/failingCalls.h>
#include <resmgt/xml/src/xmlParserEngine.h>
#include <resmgt/xml/test/xmlOutcome.h>
#include <tests/support/failingNew.h>
#include <tests/support/raisedBy.h>
#include <tests/support/tempDirectory.h>

#include <gtest/gtest.h>

#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <filesystem>
#include <tuple>
#include <vector>

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
    { "<?"
      "?><a/>",
      "(a:1 /:1" },
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

class XmlParserFileTest : public testing::Test {
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

TEST_F( XmlParserFileTest, EventsMessagesAndLinesAreAsInTheTableFromEachSource ) {
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

TEST( XmlParserTest, ADocumentThatEndsAtAnyByteGivesTheSameFromPiecesOfAnySize ) {
    for( const bool strict : { false, true } ) {
        XmlReadOptions options;
        options.strict = strict;
        for( const Case& whole : CASES ) {
            for( std::size_t size = 0; size <= whole.input.size(); ++size ) {
                const std::string part = whole.input.substr( 0, size );
                const XmlOutcome outcome = parseText( part, options );
                for( const std::size_t piece : { 1U, 2U, 3U, 5U, 17U } ) {
                    EXPECT_EQ( parsePieces( part, piece, options ), outcome ) << part;
                }
            }
        }
    }
}

TEST( XmlParserTest, AnErrorHasMessageLineColumnOffsetAndDocument ) {
    try {
        XmlRecorder recorder;
        XmlParser::parse( recorder, "<a>\n  <b c='1'\n d=x/></a>" );
        FAIL();
    } catch( const XmlEx::ExSyntaxError& original ) {
        const XmlEx::ExSyntaxError copy( original );
        EXPECT_STREQ(
            copy.getReason(),
            "Syntax error (\"Error in attribute definition, no quote found.\") around line "
            "3 in <internal string>." );
        EXPECT_EQ( copy.getMessage(), NO_QUOTE );
        EXPECT_EQ( copy.getLine(), 3 );
        EXPECT_EQ( copy.getColumn(), 4 );
        EXPECT_EQ( copy.getOffset(), 18U );
        EXPECT_EQ( copy.getDocument(), "<internal string>" );
    }
}

TEST( XmlExTest, ReasonsAreTheTextsOfTheFamilyAlsoWhereOneIsRaisedAgain ) {
    const auto expectReason = []( const XmlEx& error, const char* reason ) {
        EXPECT_STREQ( error.getReason(), reason );
        EXPECT_EQ( raisedBy<XmlEx>( [&] { error.raise(); } ), reason );
    };
    expectReason( XmlEx( QV_HERE ), "XML Parser error occurs." );
    expectReason( XmlEx::ExFileNotFound( QV_HERE, "a.xml" ), "XML file not found: a.xml" );
    expectReason( XmlEx::ExConversionError( QV_HERE ), "Conversion error." );
    expectReason( XmlEx::ExNonExistentAttribute( QV_HERE ), "Non existent attribute." );
    expectReason( XmlEx::ExChildNotFound( QV_HERE ),
                  "The reference element is not a child of this element." );
    expectReason( XmlEx::ExXmlVersionNotSupported( QV_HERE ), "XML version not supported." );
    expectReason( XmlEx::ExXmlVersionNotSupported( QV_HERE, 7, "a.xml" ),
                  "XML version not supported, line 7 in a.xml." );
    expectReason( XmlEx::ExLexicalError( QV_HERE, "<<", 12 ),
                  "Lexical error around \"<<\" at line 12." );
    expectReason( XmlEx::ExSyntaxError( QV_HERE, "message", 12, "file.xml" ),
                  "Syntax error (\"message\") around line 12 in file.xml." );
}

namespace {

/// Where each event is, by the protocol.
class Places : public XmlRecorder {
public:
    std::string text;

protected:
    void add( const std::string& event, int ) override {
        const XmlPosition place = getPosition();
        text += event + "@" + std::to_string( place.line ) + ":" + std::to_string( place.column ) +
                "(" + std::to_string( place.offset ) + ") ";
    }
};

} // namespace

TEST( XmlParserTest, AProtocolCanAskForTheLastByteOfAnEvent ) {
    Places places;
    XmlParser::parse( places, "<a>\n<bc d='\n1'\n>t\n\n</bc><e/>\n</a>" );
    EXPECT_EQ( places.text, "(a@1:2(1) (bc@2:3(6) d=\n1@3:2(13) >@4:1(15) 't\n\n'@5:1(18) "
                            ")bc@6:5(23) (e@6:7(25) /@6:9(27) )a@7:4(32) " );
    EXPECT_EQ( places.getPosition().line, 0 );
}

namespace {

struct Stop {};

/// Ends the parse by an exception.
class Thrower : public XmlRecorder {
public:
    explicit Thrower( std::size_t nbWanted )
        : _nbLeft( nbWanted ) {}

protected:
    void add( const std::string& event, int line ) override {
        XmlRecorder::add( event, line );
        if( events.size() == _nbLeft ) {
            throw Stop();
        }
    }

private:
    const std::size_t _nbLeft;
};

} // namespace

TEST( XmlParserTest, AProtocolEndsTheParseAtAnyEvent ) {
    // The two events of "<c/>" are one step.
    const std::string text = "<a b='1' d='2'><c/><e f='3' /><g>t</g></a>junk</h><i ";
    XmlRecorder all;
    EXPECT_NE( raisedBy( [&] { XmlParser::parse( all, text ); } ), "" );
    ASSERT_EQ( all.events.size(), 15U );
    for( std::size_t nbWanted = 1; nbWanted <= all.events.size(); ++nbWanted ) {
        XmlRecorder stopping( nbWanted );
        XmlParser::parse( stopping, text );
        const bool isAmidStep = all.events[nbWanted - 1] == "(c:1";
        EXPECT_EQ( stopping.events.size(), nbWanted + ( isAmidStep ? 1 : 0 ) );
        Thrower throwing( nbWanted );
        EXPECT_THROW( XmlParser::parse( throwing, text ), Stop );
        EXPECT_EQ( throwing.events.size(), nbWanted );
    }
}

TEST( XmlParserTest, AProtocolThatHasHadEnoughHearsOfNoError ) {
    XmlRecorder none( 0 );
    XmlParser::parse( none, "x" );
    XmlRecorder one( 1 );
    XmlParser::parse( one, "<a x>" );
    EXPECT_EQ( one.events.size(), 1U );
}

TEST_F( XmlParserFileTest, ACallBackMayParseWithTheSameProtocol ) {
    class Nesting : public Places {
    protected:
        void add( const std::string& event, int line ) override {
            Places::add( event, line );
            if( event == "(b" ) {
                XmlParser::parse( *this, "\n\n<c/>" );
                Places::add( "back", line );
            }
        }
    };
    const std::string path = write( "<a><b/></a>" );
    OsFileReader reader( OsFilePath( path ), false );
    Nesting places;
    XmlParser::parse( places, reader );
    EXPECT_EQ( places.text,
               "(a@1:2(1) (b@1:5(4) (c@3:2(3) /@3:4(5) back@1:5(4) /@1:7(6) )a@1:11(10) " );
    EXPECT_EQ( places.getFileName(), path );
}

namespace {

/// Moves the reader at each event.
class Mover : public XmlRecorder {
public:
    /// It ends also where its moves aren't undone.
    explicit Mover( OsFileReader& reader )
        : XmlRecorder( 150'001 )
        , _reader( reader ) {}

protected:
    void add( const std::string& event, int line ) override {
        XmlRecorder::add( event, line );
        char byte = 0;
        _reader.seek( 1, OsFileTypes::FROM_BEGINNING );
        _reader.read( &byte, 1 );
        EXPECT_EQ( byte, 'u' );
    }

private:
    OsFileReader& _reader;
};

} // namespace

TEST_F( XmlParserFileTest, ReadingBeginsWhereTheReaderStandsAndCallBacksMayUseIt ) {
    std::string text = "junk";
    for( int i = 0; i < 50000; ++i ) {
        text += "<a b='1'/>";
    }
    OsFileReader reader( OsFilePath( write( text ) ), false );
    reader.seek( 4, OsFileTypes::FROM_BEGINNING );
    Mover mover( reader );
    XmlParser::parse( mover, reader );
    EXPECT_EQ( mover.events.size(), 150000U );
    EXPECT_EQ( mover.getFileName(), reader.getPath().toString() );
}

TEST_F( XmlParserFileTest, APipeIsReadAsItComes ) {
    int ends[2];
    ASSERT_EQ( ::pipe( ends ), 0 );
    const std::string text = "<a><b c='1'/></a>";
    ASSERT_EQ( ::write( ends[1], text.data(), text.size() ), ssize_t( text.size() ) );
    ::close( ends[1] );
    OsFileReader reader( OsFilePath( "/proc/self/fd/" + std::to_string( ends[0] ) ), false );
    ::close( ends[0] );
    XmlRecorder recorder;
    XmlParser::parse( recorder, reader );
    EXPECT_EQ( recorder.events.size(), 5U );
}

TEST_F( XmlParserFileTest, AnErrorOfReadingAtAnyRefillPassesThroughBehindTheEventsBeforeIt ) {
    const std::string path = write( "<a><b c='1'/><d>text</d></a>" );
    const std::size_t nbEvents = 8;
    std::size_t nbBefore = 0;
    for( long nth = 1;; ++nth ) {
        OsFileReader reader( OsFilePath( path ), false );
        XmlRecorder recorder;
        const FailingCall failing( "read", EIO, FailingCall::ONCE, nth );
        const std::string error = raisedBy<ExSysErrorWindows>(
            [&] { XmlFileParserEngine( recorder, {}, XmlFileSource( reader, 3 ) ).run(); } );
        EXPECT_GE( recorder.events.size(), nbBefore );
        nbBefore = recorder.events.size();
        if( failing.nbCalls() < nth ) {
            EXPECT_EQ( error, "" );
            break;
        }
        EXPECT_NE( error.find( "OsFileReader::performRead" ), std::string::npos ) << error;
    }
    EXPECT_EQ( nbBefore, nbEvents );
}

TEST_F( XmlParserFileTest, AFileThatShrinksMeanwhileEndsWhereItEnds ) {
    class Cutter : public XmlRecorder {
    public:
        explicit Cutter( const std::string& path )
            : _path( path ) {}

    protected:
        void add( const std::string& event, int line ) override {
            XmlRecorder::add( event, line );
            std::filesystem::resize_file( _path, 10 );
        }

    private:
        const std::string _path;
    };
    const std::string path = write( "<a b='1'/><c/><d/>" );
    OsFileReader reader( OsFilePath( path ), false );
    Cutter cutter( path );
    XmlFileParserEngine( cutter, {}, XmlFileSource( reader, 4 ) ).run();
    EXPECT_EQ( cutter.events.size(), 3U );
}

TEST( XmlParserTest, NoMemoryAtAnyAllocationEndsTheParseWithThatAlone ) {
    class Quiet : public XmlParserProtocol {};
    std::string text = "<a b='&lt;an attribute of more than thirty-two bytes, at least'";
    for( int i = 0; i < 40; ++i ) {
        text += " attribute-number-" + std::to_string( i ) + "='1'";
    }
    text += "><b>a text of more than thirty-two bytes, that too &amp; more</b></a>";
    for( const bool strict : { false, true } ) {
        XmlReadOptions options;
        options.strict = strict;
        const auto parse = [&] {
            Quiet protocol;
            XmlParser::parse( protocol, text, options );
        };
        EXPECT_GE( forEachFailingNew( parse ), strict ? 10 : 3 );
    }
}

TEST( XmlParserTest, TokensOfAnyLengthAndNumberPass ) {
    const std::string longest( 100'000'000, 'x' );
    const std::string tenth( 10'000'000, 'x' );
    class Sizes : public XmlParserProtocol {
    public:
        void notifyBeginElement( const std::string& name, int ) override { add( name ); }
        void pushAttribute( const std::string& name, const std::string& value, int ) override {
            add( name );
            add( value );
        }
        void notifyTextData( const std::string& text, int ) override { add( text ); }
        std::size_t largest = 0;
        std::size_t nb = 0;

    private:
        void add( const std::string& token ) {
            largest = std::max( largest, token.size() );
            ++nb;
        }
    };
    std::string attributes = "<a";
    std::string references = "<a>";
    std::string slashes = "<a";
    for( int i = 0; i < 1'000'000; ++i ) {
        attributes += " b" + std::to_string( i ) + "=''";
        references += "&amp;";
        slashes += "//";
    }
    const std::tuple<std::string, std::size_t, std::size_t> DOCUMENTS[] = {
        { "<" + tenth + "/>", tenth.size(), 1 },
        { "<a " + tenth + "=''/>", tenth.size(), 3 },
        { "<a b='" + longest + "'/>", longest.size(), 3 },
        { "<a>" + tenth + "</a>", tenth.size(), 2 },
        { "<!--" + tenth + "--><a/>", 1, 1 },
        { attributes + "/>", 7, 2'000'001 },
        { references + "</a>", 1'000'000, 2 },
        { slashes + "/>", 2'000'001, 1 },
    };
    for( const auto& [text, largest, nb] : DOCUMENTS ) {
        XmlReadOptions options;
        options.strict = text.substr( 0, 4 ) != "<a//";
        Sizes sizes;
        XmlParser::parse( sizes, text, options );
        EXPECT_EQ( sizes.largest, largest ) << text.substr( 0, 8 );
        EXPECT_EQ( sizes.nb, nb ) << text.substr( 0, 8 );
    }
}

TEST( XmlParserTest, LimitsHoldAtTheFirstByteOrElementBeyondThem ) {
    struct LimitCase {
        unsigned long long XmlReadOptions::*limit;
        unsigned long long value;
        std::string text;
        std::string events;
        std::string message = {};
        int column = 0;
    };
    const std::string deeper = "More elements are open at once than 2";
    const std::string more = "The document has more elements than 3";
    const std::string longer = "A name, value or text has more bytes than 4";
    const std::string larger = "The document has more bytes than 12";
    const LimitCase LIMITS[] = {
        { &XmlReadOptions::maxDepth, 2, "<a><b/><b/></a></a><a><c ",
          "(a:1 (b:1 /:1 (b:1 /:1 )a:1 )a:1 (a:1 (c:1", NO_TAG_END, 26 },
        { &XmlReadOptions::maxDepth, 2, "<a><b><c/>", "(a:1 (b:1", deeper, 8 },
        { &XmlReadOptions::maxDepth, 2, "</a></a><a><b/><b><c>", ")a:1 )a:1 (a:1 (b:1 /:1 (b:1",
          deeper, 20 },
        { &XmlReadOptions::maxElements, 3, "<a><b/></a><c/>", "(a:1 (b:1 /:1 )a:1 (c:1 /:1" },
        { &XmlReadOptions::maxElements, 3, "<a><b/><b/><c/>", "(a:1 (b:1 /:1 (b:1 /:1", more, 13 },
        { &XmlReadOptions::maxTokenSize, 4, "<abcd efgh='ijkl'>mnop</abcd>",
          "(abcd:1 efgh=ijkl:1 >:1 'mnop':1 )abcd:1" },
        { &XmlReadOptions::maxTokenSize, 4, "<abcde", "", longer, 6 },
        { &XmlReadOptions::maxTokenSize, 4, "<ab//c>", "", longer, 6 },
        { &XmlReadOptions::maxTokenSize, 4, "<a bcdef=''>", "(a:1", longer, 8 },
        { &XmlReadOptions::maxTokenSize, 4, "<a b='&amp;'>", "(a:1", longer, 11 },
        { &XmlReadOptions::maxTokenSize, 4, "<a>\nb\nc\nde</a>", "(a:1", longer, 1 },
        { &XmlReadOptions::maxTokenSize, 4, "<?xml version='1.0'?><!-- comment --><a/>",
          "(a:1 /:1" },
        { &XmlReadOptions::maxBytes, 12, "<a><bcd/></a>", "(a:1 (bcd:1 /:1", larger, 13 },
        { &XmlReadOptions::maxBytes, 12, "<a><bc/></a>", "(a:1 (bc:1 /:1 )a:1" },
    };
    for( const LimitCase& expected : LIMITS ) {
        XmlReadOptions options;
        options.*expected.limit = expected.value;
        const XmlOutcome outcome = parseText( expected.text, options );
        EXPECT_EQ( outcome.events, expected.events ) << expected.text;
        EXPECT_EQ( outcome.message, expected.message ) << expected.text;
        EXPECT_EQ( outcome.column, expected.column ) << expected.text;
        for( const std::size_t piece : { 1U, 2U, 3U, 7U } ) {
            EXPECT_EQ( parsePieces( expected.text, piece, options ), outcome ) << expected.text;
        }
    }
    XmlReadOptions options;
    options.maxElements = 0;
    XmlRecorder recorder;
    EXPECT_THROW( XmlParser::parse( recorder, "<a/>", options ), XmlEx::ExLimitExceeded );
    options = {};
    options.strict = true;
    options.maxTokenSize = 4;
    EXPECT_EQ( parseText( "<!-- ab - cd --><a/>", options ).message, "" );
    EXPECT_EQ( parseText( "<!-- abc - d --><a/>", options ).column, 9 );
}

} // namespace Qv
