#include <resmgt/xml/xmlDocument.h>

#include <base/text/wideStringUtil.h>
#include <resmgt/osal/test/testFiles.h>
#include <resmgt/xml/xmlDocumentBuilder.h>
#include <resmgt/xml/xmlEx.h>
#include <resmgt/xml/xmlWriter.h>
#include <tests/support/failingNew.h>
#include <tests/support/processLimit.h>
#include <tests/support/testSettings.h>

#include <functional>
#include <optional>
#include <random>

namespace Qv {
namespace {

constexpr const char* DECLARATION = "<?xml version=\"1.0\" encoding=\"UTF-8\"?>";

/// What a call of the builder raises, without "Syntax error (...)".
std::string failureOf( const std::function<void()>& call ) {
    try {
        call();
    } catch( const XmlEx::ExSyntaxError& e ) {
        return e.getMessage() + " at " + std::to_string( e.getLine() ) + " of " + e.getDocument();
    }
    return "";
}

/// One step a character: a letter begins the element, an upper-case one ends it, / ends an empty
/// one, = is an attribute, . text and * character data.
void follow( const std::string& steps, XmlParserProtocol& builder ) {
    for( const char step : steps ) {
        if( step == '/' ) {
            builder.notifyEmptyElementEnd( 3 );
        } else if( step == '=' ) {
            builder.pushAttribute( "n", "v", 3 );
        } else if( step == '.' ) {
            builder.notifyTextData( "t", 3 );
        } else if( step == '*' ) {
            builder.notifyCharacterData( "c", 3 );
        } else if( step >= 'a' ) {
            builder.notifyBeginElement( std::string( 1, step ), 3 );
        } else {
            builder.notifyClosingElement( std::string( 1, static_cast<char>( step + 32 ) ), 3 );
        }
    }
}

TEST( XmlDocumentBuilderTest, EventsMakeATreeOrAreRefusedInItsOwnWords ) {
    const struct {
        const char* steps;
        const char* text;
        const char* failure;
        bool isComplete;
    } cases[] = {
        { "", "", "", true },
        { "a/", "<a/>", "", true },
        { "a=.A", "<a n=\"v\">t</a>", "", true },
        { "a.*A", "<a>c</a>", "", true },
        { "ab/c.CA", "<a><b/><c>t</c></a>", "", true },
        { "abc", "<a><b><c/></b></a>", "", false },
        { "ab/", "<a><b/></a>", "", false },
        // A second end of the root, and further roots.
        { "a/A", "<a/>", "", true },
        { "aAA", "<a/>", "", true },
        { "a/bc=/.", "<a/>", "", false },
        { "a/bcCB", "<a/>", "", true },
        { "aB", "<a/>", "at \"b\" element end tag. End tag a\" missing", false },
        { "ab/C", "<a><b/></a>", "at \"c\" element end tag. End tag a\" missing", false },
        { "A", "", "No root element", true },
        { "a/B", "<a/>", "b\" is not the root element, expected a", true },
        { "=", "", "Can't pushAttribute : No valid element", true },
        { "a/=", "<a/>", "Can't pushAttribute : No valid element", true },
        { ".", "", "No valid element for adding text data", true },
        { "aA*", "<a/>", "No valid element for adding character data", true },
    };
    for( const auto& c : cases ) {
        XmlDocument document;
        XmlDocumentBuilder builder( document );
        builder.setFileName( "f.xml" );
        const std::string failure = failureOf( [&] { follow( c.steps, builder ); } );
        EXPECT_EQ( failure, *c.failure == 0 ? "" : std::string( c.failure ) + " at 3 of f.xml" )
            << c.steps;
        EXPECT_EQ( document.streamToString( 0 ), c.text ) << c.steps;
        EXPECT_EQ( document.isComplete(), c.isComplete ) << c.steps;
    }
}

TEST( XmlDocumentBuilderTest, TheFirstElementReplacesARootThatWasThere ) {
    XmlDocument document;
    document.loadText( "<old/>" );
    XmlDocumentBuilder builder( document );
    follow( "a/b/", builder );
    EXPECT_EQ( document.streamToString( 0 ), "<a/>" );
}

TEST( XmlDocumentBuilderTest, DeclarationsAreCheckedAndTypesKept ) {
    XmlDocument document;
    XmlDocumentBuilder builder( document );
    builder.setFileName( "f.xml" );
    builder.createXmlDeclaration( "1.0", 1 );
    EXPECT_EQ( raisedBy<XmlEx::ExXmlVersionNotSupported>(
                   [&] { builder.createXmlDeclaration( "1.1", 7 ); } ),
               "XML version not supported, line 7 in f.xml." );
    EXPECT_EQ( document.getDocumentType(), nullptr );
    builder.createDocumentType( "first", 1 );
    builder.createDocumentType( "shots", 2 );
    EXPECT_EQ( OPtr<XmlDocumentType>( document.getDocumentType()->clone() )->getNodeName(),
               "shots" );
}

TEST( XmlDocumentTest, EveryConstructorReadsTheSame ) {
    const TestFiles files( "f\xc3\xa9.xml=<a><b>t</b></a>" );
    const std::string name = files.at( "f\xc3\xa9.xml" ).string();
    const std::wstring wide = WideStringUtil::widen( name );
    std::istringstream stream( "skipped <a><b>t</b></a>" );
    stream.ignore( 8 );
    const XmlDocument documents[] = { XmlDocument( OsFilePath( name ) ),
                                      XmlDocument( name.c_str() ),
                                      XmlDocument( name ),
                                      XmlDocument( wide ),
                                      XmlDocument( name, "type" ),
                                      XmlDocument( wide, L"type" ),
                                      XmlDocument( name, "" ),
                                      XmlDocument( stream ) };
    int nbTypes = 0;
    for( const XmlDocument& document : documents ) {
        EXPECT_EQ( document.streamToString( 0 ), "<a><b>t</b></a>" );
        EXPECT_EQ( document.getRoot()->getLine(), 1 );
        if( document.getDocumentType() != nullptr ) {
            EXPECT_EQ( document.getDocumentType()->getNodeName(), "type" );
            ++nbTypes;
        }
    }
    EXPECT_EQ( nbTypes, 2 );
}

TEST( XmlDocumentTest, WhatCantBeReadIsReportedAndALoadChangesNothingThen ) {
    const TestFiles files( "dir/ gone>nowhere.xml" );
    files.write( "broken", "<a>\n<b></a>" );
    const auto check = [&]<class Exception>( const char* name, const char* text, Exception* ) {
        EXPECT_THAT( raisedBy<Exception>( [&] { XmlDocument( files.path( name ) ); } ),
                     HasSubstr( text ) );
        XmlDocument document;
        document.loadText( "<old/>" );
        EXPECT_THAT( raisedBy<Exception>( [&] { document.load( files.path( name ) ); } ),
                     HasSubstr( text ) );
        EXPECT_EQ( document.streamToString( 0 ), "<old/>" );
    };
    constexpr XmlEx::ExFileNotFound* MISSING = nullptr;
    check( "missing.xml", "XML file not found: ", MISSING );
    check( "missing.xml", "missing.xml", MISSING );
    check( "gone", "XML file not found: ", MISSING );
    constexpr ExSysErrorWindows* REFUSED = nullptr;
    check( "dir", "dir", REFUSED );
    for( const int error : { EACCES, EMFILE } ) {
        const FailingCall failing( "open", error );
        check( "broken", "OsFileReader::performOpen", REFUSED );
    }
    check( "broken",
           "Syntax error (\"at \"a\" element end tag. End tag b\" missing\") around line 2 in ",
           static_cast<XmlEx::ExSyntaxError*>( nullptr ) );
}

TEST( XmlDocumentTest, WithoutMemoryALoadChangesNothing ) {
    std::string text = "<root>";
    for( int i = 0; i < 60; ++i ) {
        text += "<child-with-a-long-name attribute=\"" + std::string( 300, 'v' ) +
                "\">some text of more than a few bytes</child-with-a-long-name>";
    }
    text += "</root><other><a/></other>";
    XmlDocument document;
    document.loadText( "<old/>" );
    forEachFailingNew( [&] { document.loadText( text ); },
                       [&]( bool hasFailed ) {
                           ASSERT_EQ( document.streamToString( 0 ) == "<old/>", hasFailed );
                       } );
    EXPECT_EQ( document.getRoot()->getNbChildren(), 60 );
}

TEST( XmlDocumentTest, AnUnterminatedDocumentIsATreeThatIsntComplete ) {
    const std::pair<const char*, bool> cases[] = {
        { "<a><b>", false },  { "<a><b/>", false }, { "<a><b/></a>", true }, { "<a/>", true },
        { "<a/><b>", false }, { "", true },         { " <!-- -->", true } };
    for( const auto& c : cases ) {
        std::istringstream text( c.first );
        EXPECT_EQ( XmlDocument( text ).isComplete(), c.second ) << c.first;
    }
    XmlDocument document;
    EXPECT_THROW( document.loadText( "<a><b>", { .strict = true } ), XmlEx::ExSyntaxError );
    EXPECT_THROW( document.loadText( "<a><b/></a>", { .maxDepth = 1 } ), XmlEx::ExLimitExceeded );
}

TEST( XmlDocumentTest, ErrorsOfTheBuilderKnowTheColumn ) {
    XmlDocument document;
    try {
        document.loadText( "<a>\n  <b></c></a>" );
        ADD_FAILURE();
    } catch( const XmlEx::ExSyntaxError& e ) {
        EXPECT_EQ( e.getLine(), 2 );
        EXPECT_EQ( e.getColumn(), 9 );
        EXPECT_EQ( e.getOffset(), 12U );
    }
}

class RandomTree {
public:
    RCShdPtr<XmlElement> make() {
        RCShdPtr<XmlElement> root = makeElement();
        std::vector<RCShdPtr<XmlElement>> all{ root };
        for( std::size_t n = _random() % 30; n > 0; --n ) {
            const RCShdPtr<XmlElement> parent = all[_random() % all.size()];
            // A text doesn't stand beside children.
            parent->setData( "" );
            all.push_back( makeElement() );
            parent->appendChild( all.back() );
        }
        return root;
    }

private:
    RCShdPtr<XmlElement> makeElement() {
        static const char* const NAMES[] = { "a", "long-name.of_an:element", "\xc3\xa9" };
        RCShdPtr<XmlElement> element( new XmlElement( NAMES[_random() % 3] ) );
        for( std::size_t n = _random() % 4; n > 0; --n ) {
            element->setAttribute( NAMES[_random() % 3] + std::to_string( n ), makeText() );
        }
        const std::string text = makeText();
        const bool isBlank = !text.empty() && std::string_view( " \t\r\n" ).find( text[0] ) !=
                                                  std::string_view::npos;
        element->setData( isBlank ? "" : text );
        return element;
    }
    std::string makeText() {
        std::string text( _random() % ( _random() % 8 == 0 ? 3000 : 12 ), ' ' );
        for( char& c : text ) {
            c = _random() % 3 == 0 ? "<>&'\"; \n\t#x"[_random() % 11]
                                   : static_cast<char>( 1 + _random() % 255 );
        }
        return text;
    }

    std::mt19937_64 _random{ testSeed() };
};

TEST( XmlDocumentTest, WhatIsReadAfterItWasWrittenIsEqualWithAnyIndentation ) {
    RandomTree trees;
    const TestFiles files;
    for( long i = scaledCount( 300 ); i > 0; --i ) {
        XmlDocument document;
        document.setRoot( trees.make() );
        const std::string text = document.streamToString( 0 );
        for( const int indentation : { 0, -1, 1, 3 } ) {
            std::istringstream stream( document.streamToString( indentation ) );
            ASSERT_EQ( XmlDocument( stream ).streamToString( 0 ), text );
        }
        if( i % 10 != 0 ) {
            continue;
        }
        document.save( files.path( "f.xml" ), static_cast<int>( i / 10 % 4 ) );
        XmlDocument saved( files.path( "f.xml" ) );
        ASSERT_EQ( saved.streamToString( 0 ), text );
        ASSERT_TRUE( saved.isComplete() );
    }
}

TEST( XmlDocumentTest, ASavedFileHasTheDeclarationAndKeepsItsModeAndLink ) {
    const TestFiles files( "old=x link>old" );
    files.setMode( "old", 0640 );
    XmlDocument document;
    document.loadText( "<a><b c='1'/></a>" );
    document.save( files.path( "link" ) );
    EXPECT_EQ( files.read( "old" ), std::string( DECLARATION ) + "\n<a>\n  <b c=\"1\"/>\n</a>\n" );
    EXPECT_EQ( files.mode( "old" ), 0640U );
    EXPECT_EQ( files.count(), 2 );
    document.load( files.path( "old" ), { .strict = true } );
    EXPECT_EQ( document.getRoot()->getElementByTagName( "b" )->getLine(), 3 );
}

TEST( XmlDocumentTest, WhatIsNoDocumentIsntSaved ) {
    const TestFiles files( "old=x" );
    const std::pair<std::function<void( XmlElement& )>, const char*> cases[] = {
        { []( XmlElement& e ) {
             e.appendChild( RCShdPtr<XmlElement>( new XmlElement( "b><c" ) ) );
         },
          "Lexical error around \"b><c\" at line 0." },
        { []( XmlElement& e ) { e.setAttribute( "a b", 1 ); },
          "Lexical error around \"a b\" at line 1." },
        { []( XmlElement& e ) { e.setData( std::string( 1, '\0' ) ); }, "Conversion error." } };
    for( const auto& c : cases ) {
        XmlDocument document;
        document.loadText( "<a/>" );
        c.first( *document.getRoot() );
        EXPECT_EQ( raisedBy<XmlEx>( [&] { document.save( files.path( "old" ) ); } ), c.second );
        EXPECT_EQ( files.read( "old" ), "x" );
        EXPECT_EQ( files.count(), 1 );
    }
    EXPECT_THROW( XmlDocument().save( files.path( "old" ) ), ExAssertionFailed );
}

TEST( XmlDocumentTest, AfterAFailedSaveTheOldFileIsThereAndNothingElse ) {
    XmlDocument document;
    document.loadText( "<a>" + std::string( 200000, 'x' ) + "</a>" );
    const std::string whole = DECLARATION + document.streamToString( -1 ) + "\n";
    std::optional<TestFiles> files;
    std::string reason;
    forEachFailingCall(
        ENOSPC,
        [&] {
            files.emplace( "file=old" );
            reason = raisedBy( [&] { document.save( files->path( "file" ), -1 ); } );
        },
        [&]( const FailedRun& run ) {
            const std::string context =
                ( run.call ? run.call : "none " ) + std::to_string( run.number ) + reason;
            // Only a sync or a close of the folder is left once the file has its name.
            const bool isReplaced = files->read( "file" ) == whole;
            EXPECT_TRUE( isReplaced || files->read( "file" ) == "old" ) << context;
            EXPECT_TRUE( isReplaced || !reason.empty() ) << context;
            EXPECT_EQ( run.call == nullptr,
                       reason.empty() && isReplaced && !context.starts_with( "close" ) )
                << context;
            // What can't be removed stays.
            const bool isRemovable =
                run.times == FailingCall::ONCE && !context.starts_with( "unlink" );
            EXPECT_LE( files->count(), isRemovable ? 1 : 2 ) << context;
        } );
    const TestFiles limited( "file=old" );
    {
        const ProcessLimit limit( RLIMIT_FSIZE, 100000 );
        EXPECT_THROW( document.save( limited.path( "file" ) ), ExSysErrorWindows );
    }
    EXPECT_EQ( limited.read( "file" ), "old" );
    EXPECT_EQ( limited.count(), 1 );
}

} // namespace
} // namespace Qv
