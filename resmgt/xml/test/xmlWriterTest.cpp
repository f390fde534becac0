#include <resmgt/xml/xmlWriter.h>

#include <base/failure/assertions.h>
#include <resmgt/xml/xmlElement.h>
#include <resmgt/xml/xmlEx.h>
#include <tests/support/raisedBy.h>
#include <tests/support/scopedEnvironment.h>

#include <gmock/gmock.h>

#include <functional>
#include <limits>
#include <locale>
#include <sstream>
#include <utility>

namespace Qv {
namespace {

using ::testing::EndsWith;
using ::testing::HasSubstr;

constexpr const char* VARIABLE = "QV_XML_WRITER_INDENTATION";

/// Writes 1234.5 as 1,2,3,4;5.
class OtherNumbers : public std::numpunct<char> {
    char do_decimal_point() const override { return ';'; }
    std::string do_grouping() const override { return "\1"; }
};

std::string write( int indentation, const std::function<void( XmlWriter& )>& use ) {
    std::ostringstream stream;
    stream.imbue( std::locale( std::locale::classic(), new OtherNumbers ) );
    XmlWriter writer( stream, indentation );
    use( writer );
    return stream.str();
}

/// One step a character: a to f open an element of that name, / closes one, = writes an attribute,
/// . text, ! the declaration, { inserts text, < an element, > one under another name, * its
/// children, + a tag with a value.
void follow( const char* steps, XmlWriter& writer ) {
    XmlElement element( "e" );
    element.appendChild( RCShdPtr<XmlElement>( new XmlElement( "f" ) ) );
    for( const char step : std::string_view( steps ) ) {
        switch( step ) {
        case '/':
            writer.closeTag();
            break;
        case '=':
            writer.writeAttrib( "n", 1 );
            break;
        case '.':
            writer.writeData( "t" );
            break;
        case '!':
            writer.writeDeclaration();
            break;
        case '{':
            writer.insertXml( "<i/>" );
            break;
        case '<':
            writer.insertXml( element );
            break;
        case '>':
            writer.insertXml( "x", element );
            break;
        case '*':
            element.streamChildren( writer );
            break;
        case '+':
            writer.writeTag( "w", 2U );
            break;
        default:
            writer.openTag( std::string( 1, step ) );
        }
    }
}

TEST( XmlWriterTest, LayoutIsThatOfEveryStateAndIndentation ) {
    const struct {
        const char* steps;
        int indentation;
        const char* text;
    } cases[] = {
        { "a/", 0, "<a/>" },
        { "!!a!/", 0, "<?xml version=\"1.0\" encoding=\"UTF-8\"?><a/>" },
        { "!a/", 2, "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<a/>" },
        { "a==/", 1, "\n<a n=\"1\" n=\"1\"/>" },
        { "a=./", 1, "\n<a n=\"1\">t</a>" },
        { "ab/c=//", 2, "\n<a>\n  <b/>\n  <c n=\"1\"/>\n</a>" },
        { "ab.//", 2, "\n<a>\n  <b>t</b>\n</a>" },
        { "a.b//", 2, "\n<a>t\n  <b/>\n</a>" },
        { "ab/./", 2, "\n<a>\n  <b/>t</a>" },
        { "abc./d///", 1, "\n<a>\n <b>\n  <c>t</c>\n  <d/>\n </b>\n</a>" },
        { "abc./d///", 0, "<a><b><c>t</c><d/></b></a>" },
        { "abc///", -7, "\n<a>\n<b>\n<c/>\n</b>\n</a>" },
        { "a/b/", 1, "\n<a/>\n<b/>" },
        { "a+/", 1, "\n<a>\n <w>2</w>\n</a>" },
        { "a.+/", 1, "\n<a>t\n <w>2</w>\n</a>" },
        { "a{/", 1, "\n<a><i/>\n</a>" },
        { "a.{/", 1, "\n<a>t<i/></a>" },
        { "{a/", 0, "<i/><a/>" },
        { "a</", 1, "\n<a>\n <e>\n  <f/>\n </e>\n</a>" },
        { "a.>b//", 1, "\n<a>t\n <x>\n  <f/>\n </x>\n <b/>\n</a>" },
        { "<", 0, "<e><f/></e>" },
        { ".", 3, "t" },
        { "a*b//", 1, "\n<a>\n <f/>\n <b/>\n</a>" },
    };
    for( const auto& c : cases ) {
        EXPECT_EQ( write( c.indentation, [&]( XmlWriter& w ) { follow( c.steps, w ); } ), c.text )
            << c.steps;
    }
}

TEST( XmlWriterTest, TheVariableReplacesTheIndentation ) {
    const std::pair<const char*, int> cases[] = { { "1", 1 },  { " 4 ", 4 }, { "0", 3 },
                                                  { "-2", 3 }, { "", 3 },    { "abc", 3 },
                                                  { "2x", 3 }, { "1.5", 3 }, { "2147483648", 3 } };
    for( const auto& [value, blanks] : cases ) {
        const ScopedEnvironment set( VARIABLE, value );
        for( const int argument : { 0, 7 } ) {
            EXPECT_EQ( write( argument, []( XmlWriter& w ) { follow( "ab//", w ); } ),
                       "\n<a>\n" + std::string( static_cast<std::size_t>( blanks ), ' ' ) +
                           "<b/>\n</a>" )
                << value;
        }
    }
}

/// Counts what it takes.
class CountingBuffer : public std::streambuf {
public:
    std::streamsize size = 0;
    std::streamsize largest = 0;
    bool isFull = false;

protected:
    std::streamsize xsputn( const char*, std::streamsize n ) override {
        largest = std::max( largest, n );
        size += isFull ? 0 : n;
        return isFull ? 0 : n;
    }
};

TEST( XmlWriterTest, AnIndentationBeyond32BitsTakesNoMemory ) {
    CountingBuffer buffer;
    std::ostream stream( &buffer );
    constexpr int LARGE = std::numeric_limits<int>::max();
    XmlWriter writer( stream, LARGE );
    follow( "ab/c", writer );
    EXPECT_EQ( buffer.size, 2LL * LARGE + 12 );
    EXPECT_LE( buffer.largest, 1 << 18 );
}

TEST( XmlWriterTest, EveryTypeOfValueIsWrittenAsItself ) {
    const std::string text = "narrow";
    const std::wstring wide = L"w\u00fcide\U0001F600";
    const void* const pointer = reinterpret_cast<const void*>( std::uintptr_t{ 0xbeef } );
    const auto values = write( 0, [&]( XmlWriter& w ) {
        w.openTag( std::string( "v" ) );
        w.writeAttrib( "b", true );
        w.writeAttrib( std::string( "B" ), false );
        w.writeAttrib( "i", std::numeric_limits<int>::min() );
        w.writeAttrib( "u", std::numeric_limits<unsigned>::max() );
        w.writeAttrib( "f", 0.1F );
        w.writeAttrib( "d", 0.1 );
        w.writeAttrib( "c", "yes" );
        w.writeAttrib( "s", text );
        w.writeAttrib( "W", L"y\u00e9" );
        w.writeAttrib( "w", wide );
        w.writeAttrib( "p", pointer );
        w.writeTag( "l", std::numeric_limits<long long>::min() );
        w.writeTag( "c", text.c_str() );
        w.writeTag( "W", wide.c_str() );
        w.writeTag( "f", 1e30F );
        w.writeTag( "b", true );
        w.closeTag();
    } );
    EXPECT_EQ( values, "<v b=\"True\" B=\"False\" i=\"-2147483648\" u=\"4294967295\" f=\"0.1\" "
                       "d=\"0.1\" c=\"yes\" s=\"narrow\" W=\"y\xc3\xa9\" "
                       "w=\"w\xc3\xbcide\xf0\x9f\x98\x80\" p=\"0xbeef\">"
                       "<l>-9223372036854775808</l><c>narrow</c>"
                       "<W>w\xc3\xbcide\xf0\x9f\x98\x80</W><f>1e+30</f><b>True</b></v>" );
    EXPECT_THROW( XmlValue( static_cast<const char*>( nullptr ) ), ExAssertionFailed );
    EXPECT_THROW( XmlValue( static_cast<const wchar_t*>( nullptr ) ), ExAssertionFailed );
}

/// Each byte is the first, the last and in between, alone and beside itself, at every place of a
/// word and beyond.
TEST( XmlWriterTest, EachOfTheFiveIsEscapedWhereverItStandsAndNothingElse ) {
    const auto escape = []( char c ) -> std::string {
        return c == '&'    ? "&amp;"
               : c == '<'  ? "&lt;"
               : c == '>'  ? "&gt;"
               : c == '\'' ? "&apos;"
               : c == '"'  ? "&quot;"
                           : std::string( 1, c );
    };
    for( int byte = 1; byte < 256; ++byte ) {
        const char c = static_cast<char>( byte );
        for( std::size_t size = 1; size < 20; ++size ) {
            for( std::size_t place = 0; place < size; ++place ) {
                std::string text( size, 'x' );
                text[place] = c;
                text[size - 1 - place / 2] = c;
                std::string expected;
                for( const char t : text ) {
                    expected += escape( t );
                }
                ASSERT_EQ( write( 0,
                                  [&]( XmlWriter& w ) {
                                      w.openTag( "a" );
                                      w.writeAttrib( "b", text );
                                      w.writeData( text );
                                  } ),
                           "<a b=\"" + expected + "\">" + expected );
            }
        }
    }
}

TEST( XmlWriterTest, ANulIsRefusedBeforeAnythingIsWritten ) {
    const std::string bad( "fine & long enough\0<markup>", 26 );
    const std::pair<const char*, std::function<void( XmlWriter& )>> cases[] = {
        { "attribute", [&]( XmlWriter& w ) { w.writeAttrib( "n", bad ); } },
        { "data", [&]( XmlWriter& w ) { w.writeData( bad ); } },
        { "wide", [&]( XmlWriter& w ) { w.writeData( std::wstring( L"\0", 1 ) ); } },
        { "tag", [&]( XmlWriter& w ) { w.writeTag( "n", bad ); } },
    };
    for( const auto& c : cases ) {
        for( const int indentation : { 2, 1 << 17 } ) {
            const std::string blanks( static_cast<std::size_t>( indentation ), ' ' );
            EXPECT_TRUE( write( indentation,
                                [&]( XmlWriter& w ) {
                                    follow( "a=", w );
                                    EXPECT_THROW( c.second( w ), XmlEx::ExConversionError );
                                    follow( "=b//", w );
                                } ) == "\n<a n=\"1\" n=\"1\">\n" + blanks + "<b/>\n</a>" )
                << c.first << indentation;
        }
    }
}

TEST( XmlWriterTest, MisuseIsAnAssertionThatWritesNothing ) {
    const struct {
        const char* before;
        const char* misuse;
        const char* text;
    } cases[] = { { "", "/", "" },          { "a/", "/", "<a/>" },       { "", "=", "" },
                  { "a.", "=", "<a>t" },    { "ab/", "=", "<a><b/>" },   { "a/", "=", "<a/>" },
                  { "a{", "=", "<a><i/>" }, { "a+", "=", "<a><w>2</w>" } };
    for( const auto& c : cases ) {
        EXPECT_EQ( write( 0,
                          [&]( XmlWriter& w ) {
                              follow( c.before, w );
                              EXPECT_THROW( follow( c.misuse, w ), ExAssertionFailed );
                          } ),
                   c.text );
    }
}

TEST( XmlWriterTest, AGuardClosesAtScopeExitAndNeverThrows ) {
    EXPECT_EQ( write( 0,
                      []( XmlWriter& w ) {
                          const XmlWriter::ElementGuard outer( w, "a" );
                          try {
                              const XmlWriter::ElementGuard inner( w, "b" );
                              throw 1;
                          } catch( int ) {}
                          w.writeData( "t" );
                      } ),
               "<a><b/>t</a>" );
    CountingBuffer buffer;
    std::ostream stream( &buffer );
    stream.exceptions( std::ios::badbit );
    XmlWriter writer( stream, 0 );
    EXPECT_NO_THROW( {
        const XmlWriter::ElementGuard misused( writer, "a" );
        writer.closeTag();
    } );
    EXPECT_NO_THROW( {
        const XmlWriter::ElementGuard unwritten( writer, "b" );
        buffer.isFull = true;
    } );
    EXPECT_TRUE( stream.bad() );
}

TEST( XmlWriterTest, AFailingStreamKeepsItsFailure ) {
    std::ostringstream stream;
    XmlWriter writer( stream, 0 );
    follow( "a", writer );
    stream.setstate( std::ios::badbit );
    EXPECT_NO_THROW( follow( "b//", writer ) );
    EXPECT_TRUE( stream.bad() );
    EXPECT_EQ( stream.str(), "<a" );
    stream.clear();
    EXPECT_NO_THROW( follow( "c/", writer ) );
    EXPECT_EQ( stream.str(), "<a<c/>" );
}

} // namespace
} // namespace Qv
