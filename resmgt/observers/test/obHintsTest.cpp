#include <resmgt/observers/obHints.h>

#include <gtest/gtest.h>

#include <sstream>
#include <string>

namespace Qv {

namespace {

class BoxHint : public ObPositionHint {
public:
    BoxHint( int width, std::string name )
        : _width( width )
        , _name( std::move( name ) ) {}
    const int _width;
    const std::string _name;
};

TEST( ObHintsTest, HintsAreFoundByTheirExactTypeAlone ) {
    ObHints hints;
    EXPECT_TRUE( hints.isEmpty() );
    hints.add<ObValueHint>().add<BoxHint>( 7, "first" ).add<BoxHint>( 8, "second" );
    const struct {
        const std::type_info& type;
        bool isFound;
    } cases[] = {
        { typeid( ObValueHint ), true },
        { typeid( BoxHint ), true },
        { typeid( ObHint ), false },
        { typeid( ObSubjectHint ), false },
        { typeid( ObUpdateHint ), false },
        { typeid( ObPositionHint ), false },
        { typeid( ObSelectionHint ), false },
        { typeid( ObDestroyHint ), false },
        { typeid( int ), false },
    };
    for( const auto& test : cases ) {
        EXPECT_EQ( hints.hasHint( test.type ), test.isFound ) << test.type.name();
    }
    ASSERT_NE( hints.find<BoxHint>(), nullptr );
    EXPECT_EQ( hints.find<BoxHint>()->_name, "first" );
    EXPECT_EQ( hints.find<ObPositionHint>(), nullptr );
}

TEST( ObHintsTest, CopiesShareTheirHintsButNotTheirNumber ) {
    ObHints hints;
    hints.add<ObValueHint>();
    ObHints copy( hints );
    const ObValueHint* const shared = hints.find<ObValueHint>();
    EXPECT_EQ( copy.find<ObValueHint>(), shared );
    hints.add<ObStructureHint>();
    EXPECT_FALSE( copy.hasHint( typeid( ObStructureHint ) ) );
    hints.clear();
    EXPECT_TRUE( hints.isEmpty() );
    EXPECT_EQ( shared->getRefCount(), 1 );
}

TEST( ObHintsTest, DumpWritesOneReadableNameALine ) {
    ObHints hints;
    std::ostringstream text;
    text << hints << hints.add<ObValueHint>().add<ObValueHint>().add<ObDestroyHint>();
    EXPECT_EQ( text.str(), "#hints = 0\n"
                           "#hints = 3\nhint = Qv::ObValueHint\nhint = Qv::ObValueHint\n"
                           "hint = Qv::ObDestroyHint\n" );
}

} // namespace

} // namespace Qv
