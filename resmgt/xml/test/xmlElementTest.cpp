#include <resmgt/xml/xmlElement.h>

#include <base/failure/assertions.h>
#include <base/ownership/rcEx.h>
#include <base/values/dtTime.h>
#include <base/values/gePoint3.h>
#include <base/values/ixPixelFormat.h>
#include <resmgt/xml/xmlChildrenFinder.h>
#include <resmgt/xml/xmlDocument.h>
#include <resmgt/xml/xmlDocumentBuilder.h>
#include <resmgt/xml/xmlEx.h>
#include <resmgt/xml/xmlUtil.h>
#include <resmgt/xml/xmlWriter.h>
#include <tests/support/failingNew.h>
#include <tests/support/raisedBy.h>
#include <tests/support/testSettings.h>
#include <tests/support/testThread.h>

#include <gmock/gmock.h>

#include <algorithm>
#include <functional>
#include <limits>
#include <random>
#include <sstream>
#include <thread>
#include <utility>
#include <vector>

namespace Qv {
namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;

using Element = RCShdPtr<XmlElement>;

Element make( const char* name, const std::vector<Element>& children = {} ) {
    const Element element( new XmlElement( name ) );
    for( const Element& child : children ) {
        element->appendChild( child );
    }
    return element;
}

template <class Range>
std::vector<std::string> namesOf( const Range& elements ) {
    std::vector<std::string> names;
    for( const Element& element : elements ) {
        names.push_back( element->getNodeName() );
    }
    return names;
}

std::vector<std::string> childNames( const XmlElement& element ) {
    return namesOf( XmlChildrenFinder( element ).find( []( const XmlElement& ) { return true; } ) );
}

/// The attributes as a list of pairs would have them.
class AttributeModel {
public:
    void set( const std::string& name, const std::string& value ) {
        const auto found = find( name );
        if( found != _all.end() ) {
            found->second = value;
        } else {
            _all.emplace_back( name, value );
        }
    }
    void remove( const std::string& name ) {
        std::erase_if( _all, [&]( auto& a ) { return a.first == name; } );
    }
    void check( const XmlElement& element ) const {
        const Vector<XmlAttribute> attributes = element.getAttributes();
        ASSERT_EQ( attributes.size(), _all.size() );
        for( std::size_t i = 0; i < _all.size(); ++i ) {
            ASSERT_EQ( attributes[i].getNodeName(), _all[i].first );
            ASSERT_EQ( attributes[i].getValueMB(), _all[i].second );
            ASSERT_EQ( element.getAttributeMB( _all[i].first ), _all[i].second );
        }
    }

private:
    std::vector<std::pair<std::string, std::string>>::iterator find( const std::string& name ) {
        return std::ranges::find( _all, name, &std::pair<std::string, std::string>::first );
    }

    std::vector<std::pair<std::string, std::string>> _all;
};

/// Few and many, short and long ones; set while the element is being read, and later.
TEST( XmlElementTest, AttributesAreThoseOfAListWhateverIsDoneToThem ) {
    std::mt19937_64 random( testSeed() );
    for( int round = 0; round < scaledCount( 300 ); ++round ) {
        XmlDocument document;
        XmlDocumentBuilder builder( document );
        builder.notifyBeginElement( "e", 1 );
        const Element element = document.getRoot();
        AttributeModel model;
        const std::size_t nbNames = 1 + random() % ( round % 3 == 0 ? 120 : 12 );
        const std::size_t longest = round % 5 == 0 ? 3000 : 40;
        const std::size_t nbRead = random() % 60;
        for( std::size_t step = 0; step < 120; ++step ) {
            const std::string name = "n" + std::to_string( random() % nbNames );
            const std::string value( random() % longest, static_cast<char>( 'a' + step % 26 ) );
            if( step < nbRead ) {
                builder.pushAttribute( name, value, 1 );
                model.set( name, value );
            } else if( step == nbRead ) {
                // What comes next lies behind the attributes.
                builder.notifyBeginElement( "child", 1 );
                builder.pushAttribute( "of", "the child", 1 );
            } else if( random() % 4 != 0 ) {
                // An empty text may lie nowhere.
                element->setAttribute( name, value.empty() ? std::string_view() : value );
                model.set( name, value );
            } else {
                element->removeAttribute( name );
                model.remove( name );
            }
            std::string there;
            EXPECT_EQ( element->getAttributeMB( "missing", there ), false );
        }
        model.check( *element );
        model.check( *element->clone() );
        EXPECT_EQ( element->clone()->toString(), element->toString() );
        element->removeAttribute( "missing" );
        model.check( *element );
    }
}

TEST( XmlElementTest, ChildrenStandWhereTheyWerePut ) {
    const Element a = make( "a" );
    const Element b = make( "b" );
    const Element c = make( "c" );
    const Element d = make( "d" );
    const Element root = make( "root", { a, c } );
    root->insertBefore( b, c );
    EXPECT_THAT( childNames( *root ), ElementsAre( "a", "b", "c" ) );
    root->replaceChild( d, a );
    EXPECT_THAT( childNames( *root ), ElementsAre( "d", "b", "c" ) );
    root->replaceChild( b, b );
    root->removeChild( c );
    EXPECT_THAT( childNames( *root ), ElementsAre( "d", "b" ) );
    EXPECT_EQ( root->getNbChildren(), 2 );
    EXPECT_EQ( a->getRefCount(), 1 );

    // Shared, and twice in one place.
    root->appendChild( d );
    a->appendChild( d );
    d->setData( "both" );
    EXPECT_EQ( root->toString(), "<root><d>both</d><b/><d>both</d></root>" );
    EXPECT_EQ( a->toString(), "<a><d>both</d></a>" );
    root->removeChild( d );
    EXPECT_THAT( childNames( *root ), ElementsAre( "b", "d" ) );

    for( const Element& foreign : { c, Element(), root } ) {
        EXPECT_THROW( root->removeChild( foreign ), XmlEx::ExChildNotFound );
        EXPECT_THROW( root->insertBefore( a, foreign ), XmlEx::ExChildNotFound );
        EXPECT_THROW( root->replaceChild( a, foreign ), XmlEx::ExChildNotFound );
    }
    EXPECT_THROW( root->appendChild( Element() ), ExNullPtr );
    EXPECT_THAT( childNames( *root ), ElementsAre( "b", "d" ) );
}

TEST( XmlElementTest, NothingIsPutBelowItself ) {
    const Element leaf = make( "leaf" );
    const Element middle = make( "middle", { make( "other" ), leaf } );
    const Element root = make( "root", { middle, middle } );
    for( const Element& above : { leaf, middle, root } ) {
        EXPECT_THROW( leaf->appendChild( above ), ExAssertionFailed );
    }
    EXPECT_THROW( middle->insertBefore( root, leaf ), ExAssertionFailed );
    EXPECT_THROW( middle->replaceChild( root, leaf ), ExAssertionFailed );
    // An element may still go where it was, and a tree that shares much is asked in no time.
    leaf->appendChild( make( "x" ) );
    Element shared = make( "shared" );
    for( int i = 0; i < 200; ++i ) {
        shared = make( "s", { shared, shared } );
    }
    root->appendChild( shared );
    EXPECT_THROW( leaf->appendChild( root ), ExAssertionFailed );
    middle->removeChild( leaf );
    leaf->appendChild( root );
    EXPECT_EQ( leaf->getNbChildren(), 2 );
    leaf->removeChild( root );
}

TEST( XmlElementTest, SearchesFindByNameInTheDocumentsOrder ) {
    const Element root =
        make( "x", { make( "a", { make( "x", { make( "b" ) } ) } ), make( "x" ),
                     make( "c", { make( "d", { make( "x" ) } ) } ), make( "x" ) } );
    int number = 0;
    for( const Element& found : root->getAllElementsByTagName( "x" ) ) {
        found->setAttribute( "n", ++number );
    }
    EXPECT_EQ( root->toString(), "<x><a><x n=\"1\"><b/></x></a><x n=\"2\"/><c><d><x n=\"3\"/></d>"
                                 "</c><x n=\"4\"/></x>" );
    EXPECT_EQ( root->getElementByTagName( "x" )->getAttributeMB( "n" ), "2" );
    EXPECT_TRUE( root->getElementByTagName( "b" ).isNull() );
    EXPECT_EQ( root->getElementsByTagName( "x" ).size(), 2U );
    const XmlChildrenFinder find( *root );
    EXPECT_EQ( find( "x" )[1]->getAttributeMB( "n" ), "4" );
    EXPECT_THAT( namesOf( find( []( const XmlElement& e ) { return e.getNbChildren() > 0; } ) ),
                 ElementsAre( "a", "c" ) );
    auto child = root->getChildren();
    const auto first = child;
    ++child;
    EXPECT_EQ( ( *first )->getNodeName() + ( *child )->getNodeName(), "ax" );
    root->removeChild( *child );
    EXPECT_EQ( ( *++child )->getNodeName(), "x" );
    ++child;
    EXPECT_THROW( ++child, IteratorEx::ExOutOfRange );
}

template <class T>
std::string roundTrip( const T& value ) {
    XmlElement element( "e" );
    element.setAttribute( "a", value );
    element.setData( value );
    T attribute{};
    T data{};
    T present{};
    T absent{};
    EXPECT_TRUE( element.getAttribute( "a", attribute ) );
    EXPECT_TRUE( element.getAttribute( "a", present, T{} ) );
    EXPECT_FALSE( element.getAttribute( "b", absent ) );
    EXPECT_EQ( absent, T{} );
    EXPECT_FALSE( element.getAttribute( "b", absent, value ) );
    EXPECT_EQ( absent, value );
    EXPECT_EQ( attribute, value );
    EXPECT_EQ( present, value );
    element.getData( data );
    EXPECT_EQ( data, value );
    EXPECT_EQ( element.getAttributeMB( "a" ), element.getDataMB() );
    return element.getDataMB();
}

TEST( XmlElementTest, ValuesSurviveAsAttributesAndAsText ) {
    EXPECT_EQ( roundTrip( true ), "True" );
    EXPECT_EQ( roundTrip( false ), "False" );
    EXPECT_EQ( roundTrip( std::numeric_limits<int>::min() ), "-2147483648" );
    EXPECT_EQ( roundTrip( std::numeric_limits<unsigned>::max() ), "4294967295" );
    EXPECT_EQ( roundTrip( std::numeric_limits<long long>::min() ), "-9223372036854775808" );
    roundTrip( std::numeric_limits<float>::denorm_min() );
    roundTrip( std::numeric_limits<double>::max() );
    roundTrip( 0.1 + 0.2 );
    EXPECT_EQ( roundTrip( 16777217.0F ), "16777216" );

    XmlElement element( "e" );
    element.setAttribute( "c", "yes" );
    element.setAttribute( "w", L"\u00e9\U0001F600" );
    std::wstring wide;
    std::string narrow;
    EXPECT_TRUE( element.getAttribute( "w", wide ) );
    EXPECT_EQ( wide, L"\u00e9\U0001F600" );
    EXPECT_EQ( element.getAttribute( "w" ), wide );
    EXPECT_EQ( element.getAttribute( "c" ), L"yes" );
    EXPECT_FALSE( element.getAttributeMB( "x", narrow, "default" ) );
    EXPECT_EQ( narrow, "default" );
    element.setData( wide );
    EXPECT_EQ( element.getDataMB(), "\xc3\xa9\xf0\x9f\x98\x80" );
    EXPECT_EQ( element.getData(), wide );
    EXPECT_THROW( element.getAttribute( "x" ), XmlEx::ExNonExistentAttribute );
    EXPECT_THROW( element.getAttributeMB( "C" ), XmlEx::ExNonExistentAttribute );

    XmlAttribute attribute( "a" );
    attribute.setValue( wide );
    EXPECT_EQ( OPtr<XmlAttribute>( attribute.clone() )->getValue(), wide );
}

TEST( XmlElementTest, TextThatIsNoNumberOfTheTypeIsRefused ) {
    XmlElement element( "e" );
    const auto isRefused = [&]<class T>( T value ) {
        const T before = value;
        EXPECT_THROW( element.getData( value ), XmlEx::ExConversionError );
        EXPECT_THROW( element.getAttribute( "a", value ), XmlEx::ExConversionError );
        EXPECT_THROW( element.getAttribute( "a", value, T{} ), XmlEx::ExConversionError );
        EXPECT_EQ( value, before );
    };
    for( const char* text : { "", "x", "1x", "1,5", "nan", "inf", "0x10", "--1" } ) {
        element.setData( text );
        element.setAttribute( "a", text );
        isRefused( 7 );
        isRefused( 7U );
        isRefused( 7LL );
        isRefused( 7.0F );
        isRefused( 7.0 );
    }
    element.setData( -1 );
    element.setAttribute( "a", -1 );
    isRefused( 7U );
    element.setData( 1e300 );
    element.setAttribute( "a", 1e300 );
    isRefused( 7.0F );
    isRefused( 7LL );
}

TEST( XmlElementTest, OnlyTrueInAnyCaseIsTrue ) {
    const std::pair<const char*, bool> cases[] = {
        { "TRUE", true }, { "true", true },   { "True", true }, { "1", false },
        { "", false },    { " true", false }, { "yes", false } };
    for( const auto& c : cases ) {
        const Element child = make( "flag" );
        child->setData( c.first );
        const Element second = make( "flag" );
        second->setData( !c.second );
        const Element root = make( "r", { make( "x" ), child, second } );
        for( const bool byDefault : { true, false } ) {
            EXPECT_EQ( root->isTrue( "flag", byDefault ), c.second ) << c.first;
            EXPECT_EQ( root->isTrue( "none", byDefault ), byDefault );
        }
    }
}

TEST( XmlElementTest, ACloneSharesNothing ) {
    const Element grandchild = make( "g" );
    const Element root = make( "r", { make( "c", { grandchild } ), make( "c" ) } );
    root->setAttribute( "a", 1 );
    grandchild->setData( "text" );
    const std::string before = root->toString();
    const Element copy = root->clone();
    EXPECT_EQ( copy->toString(), before );
    copy->setAttribute( "a", 2 );
    copy->getElementByTagName( "c" )->getElementByTagName( "g" )->setData( "other" );
    copy->getElementByTagName( "c" )->appendChild( make( "new" ) );
    EXPECT_EQ( root->toString(), before );
}

/// What is kept of a document stays whole when the rest goes, and nothing of it is lost.
TEST( XmlElementTest, ElementsOutliveTheirDocumentInAnyOrder ) {
    std::mt19937_64 random( testSeed() );
    std::vector<Element> kept;
    {
        XmlDocument document;
        XmlDocumentBuilder builder( document );
        builder.notifyBeginElement( "root", 1 );
        for( int i = 0; i < 5000; ++i ) {
            builder.notifyBeginElement( "element-with-a-name", i );
            builder.pushAttribute( "number", std::to_string( i ), i );
            builder.pushAttribute( "text", std::string( random() % 700, 'x' ), i );
            if( random() % 50 == 0 ) {
                kept.push_back(
                    document.getRoot()->getChildren().isAtEnd()
                        ? document.getRoot()
                        : document.getRoot()->getElementsByTagName( "element-with-a-name" )[0] );
                document.getRoot()->removeChild( kept.back() );
            }
            builder.notifyEmptyElementEnd( i );
        }
    }
    std::ranges::shuffle( kept, random );
    while( !kept.empty() ) {
        const Element element = kept.back();
        kept.pop_back();
        EXPECT_EQ( element->getAttributeMB( "number" ), std::to_string( element->getLine() ) );
    }
}

TEST( XmlElementTest, AMillionLevelsTakeNoStack ) {
    constexpr int DEPTH = 1000000;
    XmlDocument document;
    {
        XmlDocumentBuilder builder( document );
        for( int i = 0; i < DEPTH; ++i ) {
            builder.notifyBeginElement( i % 2 == 0 ? "a" : "b", 1 );
        }
    }
    EXPECT_FALSE( document.isComplete() );
    Element copy = document.releaseRoot()->clone();
    EXPECT_EQ( copy->getAllElementsByTagName( "b" ).size(), DEPTH / 2U );
    EXPECT_EQ( copy->toString().size(), DEPTH / 2U * 7 * 2 - 3 );
    EXPECT_THROW( copy->getElementByTagName( "b" )->appendChild( copy ), ExAssertionFailed );
    // One in the middle that somebody else holds ends the destruction there.
    const Element middle = copy->getElementByTagName( "b" )->getElementByTagName( "a" );
    copy.reset();
    EXPECT_EQ( middle->getRefCount(), 1 );
}

TEST( XmlElementTest, WithoutMemoryNothingIsChanged ) {
    const Element root = make( "root", { make( "child-with-a-long-name" ), make( "second" ) } );
    for( int i = 0; i < 60; ++i ) {
        root->setAttribute( "attribute-with-a-long-name-" + std::to_string( i ),
                            std::string( 30, 'v' ) );
    }
    const Element packed = make( "packed" );
    packed->setAttribute( "a", "1" );
    const Element child = make( "new" );
    const std::string large( 5000, 'x' );
    const std::pair<const char*, std::function<void()>> operations[] = {
        { "clone", [&] { root->clone(); } },
        { "append", [&] { root->appendChild( child ), root->removeChild( child ); } },
        { "grow",
          [&] { packed->setAttribute( "b", std::string_view( large ).substr( 0, 900 ) ); } },
        { "index", [&] { packed->setAttribute( "c", large ); } },
        { "set", [&] { root->setAttribute( "another-attribute-with-a-name", large ); } },
        { "replace", [&] { root->setAttribute( "attribute-with-a-long-name-7", large ); } },
        { "search", [&] { root->getAllElementsByTagName( "second" ); } },
        { "write", [&] { root->toString(); } },
    };
    for( const auto& operation : operations ) {
        const std::string before = root->toString() + packed->toString();
        forEachFailingNew( operation.second, [&]( bool hasFailed ) {
            ASSERT_TRUE( !hasFailed || root->toString() + packed->toString() == before )
                << operation.first;
        } );
    }
}

TEST( XmlElementTest, SeveralThreadsMayReadATree ) {
    Element root = make( "root" );
    for( int i = 0; i < 50; ++i ) {
        root->appendChild( make( "a", { make( "b" ) } ) );
    }
    std::vector<Element> shares( 4, root );
    const TestThreads threads( 4, [&shares]( unsigned int number ) {
        Element& share = shares[number];
        for( int i = 0; i < 200; ++i ) {
            for( auto child = share->getChildren(); !child.isAtEnd(); ++child ) {
                EXPECT_FALSE( ( *child )->getElementByTagName( "b" ).isNull() );
            }
            EXPECT_EQ( share->clone()->getAllElementsByTagName( "b" ).size(), 50U );
        }
        share.reset();
    } );
    root.reset();
}

/// Neighbours in memory that nobody shares, of which the second one ends at the first one's edge.
TEST( XmlElementTest, ElementsOfOneDocumentBelongToDifferentThreads ) {
    for( const std::string value : { "", "1234", "12345678" } ) {
        XmlDocument document;
        document.loadText( "<r><a name=\"" + value + "\"/><b/></r>" );
        const Element first = document.getRoot()->getElementByTagName( "a" );
        Element second = document.getRoot()->getElementByTagName( "b" );
        document.setRoot( {} );
        std::thread other( [taken = std::exchange( second, {} )]() mutable { taken.reset(); } );
        EXPECT_EQ( first->toString(), "<a name=\"" + value + "\"/>" );
        other.join();
    }
}

TEST( XmlNodeTest, NamesAreThoseOfXml ) {
    const std::pair<std::string_view, bool> cases[] = {
        { "a", true },           { "_", true },
        { ":a", true },          { "a-1.b", true },
        { "\xc3\xa9t", true },   { "a\xc2\xb7", true },
        { "", false },           { "1a", false },
        { "-a", false },         { ".a", false },
        { "a b", false },        { "a>", false },
        { "a/", false },         { "?a", false },
        { "a\"", false },        { "\xc2\xb7", false },
        { "\xc3\x97", false },   { "a\xc3", false },
        { "\xc0\x80", false },   { "a\xff", false },
        { { "a\0", 2 }, false }, { "\xed\xa0\x80", false } };
    for( const auto& c : cases ) {
        EXPECT_EQ( XmlNode::isName( c.first ), c.second ) << c.first;
    }
}

/// What `toXml` writes, and what `fromXml` reads of that.
template <class T>
std::pair<std::string, T> convert( const T& value ) {
    std::ostringstream stream;
    XmlWriter writer( stream, 0 );
    XmlUtil<T>::toXml( writer, "v", value );
    std::istringstream text( stream.str() );
    return { stream.str(), XmlUtil<T>::fromXml( *XmlDocument( text ).getRoot() ) };
}

TEST( XmlUtilTest, EachTypeHasItsFormAndSurvives ) {
    constexpr int MIN = std::numeric_limits<int>::min();
    const auto rational = convert( Rational( -50, MIN ) );
    EXPECT_EQ( rational.first, "<v Num=\"-50\" Denom=\"-2147483648\"/>" );
    EXPECT_EQ( rational.second.getNumerator(), -50 );
    EXPECT_EQ( rational.second.getDenominator(), MIN );

    const GePoint3<float> point{ 0.1F, -1e-40F, 3e38F };
    EXPECT_EQ( convert( point ).second, point );
    EXPECT_EQ( convert( GePoint3<float>{ 1, 2.5F, -3 } ).first,
               "<v><X>1</X><Y>2.5</Y><Z>-3</Z></v>" );

    const IxPixelFormat format( IxPixelFormat::RGBA, IxPixelFormat::FLOAT16, { 4, 3 } );
    EXPECT_EQ( convert( format ).second, format );
    EXPECT_EQ( convert( format ).first, "<v><Comps>4</Comps><Depth>16</Depth>"
                                        "<Ratio Num=\"4\" Denom=\"3\"/></v>" );

    using Limits = std::numeric_limits<std::int64_t>;
    for( const std::int64_t index :
         { Limits::min(), Limits::max(), std::int64_t{ -1 }, std::int64_t{ 0 },
           std::int64_t{ 1 } << 32, std::int64_t{ -1 } << 32, ( std::int64_t{ -1 } << 32 ) - 1,
           std::int64_t{ 1 } << 31 } ) {
        const DtTime time = convert( DtTime( index, 30000, 1001 ) ).second;
        EXPECT_EQ( time.getIndex().getValue(), index );
        EXPECT_EQ( time.getRate(), Rational( 30000, 1001 ) );
    }
    EXPECT_EQ( convert( DtTime( -1, 25, 1 ) ).first,
               "<v><Numerator>25</Numerator><Denominator>1</Denominator><cHi>-1</cHi>"
               "<cLo>4294967295</cLo></v>" );
}

template <class T>
std::string refusal( const char* xml ) {
    std::istringstream text( xml );
    const XmlDocument document( text );
    return raisedBy<ExAssertionFailed>( [&] { XmlUtil<T>::fromXml( *document.getRoot() ); } );
}

TEST( XmlUtilTest, WhatIsMissingOrOutOfRangeIsAnAssertion ) {
    EXPECT_THAT( refusal<Rational>( "<v Denom=\"1\"/>" ),
                 HasSubstr( "xml.getAttribute( RATIONAL_NUMERATOR, numerator )" ) );
    EXPECT_THAT( refusal<Rational>( "<v Num=\"1\"/>" ),
                 HasSubstr( "xml.getAttribute( RATIONAL_DENOMINATOR, denominator )" ) );
    EXPECT_THAT( refusal<GePoint3<float>>( "<v><X>1</X><Y>1</Y></v>" ), HasSubstr( "\"Z\"" ) );
    EXPECT_THAT( refusal<DtTime>( "<v><cHi>1</cHi><cLo>1</cLo></v>" ), HasSubstr( "Numerator" ) );

    const std::string comps = "_comps == ALPHA || _comps == RGB || _comps == RGBA";
    const std::string depth =
        "_depth == UINT8 || _depth == FLOAT16 || _depth == FLOAT32 || _depth == COMPLEX";
    const std::string ratio = "aspectRatio.getFloat() is greater than ";
    const struct {
        int comps;
        int depth;
        Rational ratio;
        std::string text;
    } cases[] = {
        { 1, 8, { 1, 1 }, "" },    { 3, 32, { 1, 1 << 30 }, "" }, { 4, 64, { -2, -1 }, "" },
        { 2, 8, { 1, 1 }, comps }, { 0, 8, { 1, 1 }, comps },     { 5, 8, { 1, 1 }, comps },
        { 3, 0, { 1, 1 }, depth }, { 3, 24, { 1, 1 }, depth },    { 3, 65, { 1, 1 }, depth },
        { 3, 8, { 0, 1 }, ratio }, { 3, 8, { -1, 1 }, ratio },    { 3, 8, { 1, 0 }, ratio },
        { 3, 8, { 0, 0 }, ratio }, { 3, 8, { -1, 0 }, ratio } };
    for( const auto& c : cases ) {
        std::ostringstream stream;
        XmlWriter writer( stream, 0 );
        {
            const XmlWriter::ElementGuard element( writer, "v" );
            writer.writeTag( "Comps", c.comps );
            writer.writeTag( "Depth", c.depth );
            XmlUtil<Rational>::toXml( writer, "Ratio", c.ratio );
        }
        const std::string text = refusal<IxPixelFormat>( stream.str().c_str() );
        EXPECT_THAT( text, HasSubstr( c.text ) );
        EXPECT_EQ( text.empty(), c.text.empty() ) << stream.str();
    }
}

} // namespace
} // namespace Qv
