#include <base/failure/assertions.h>
#include <resmgt/osal/osComponentTypes.h>
#include <resmgt/osal/osFilePath.h>

#include <gmock/gmock.h>

namespace Qv {
namespace {

using ::testing::ElementsAre;
using Types = OsComponentTypes;

TEST( OsComponentTypesTest, EachTypeHasItsTextAndItsTreatment ) {
    const struct {
        int _type;
        const char* _text;
        bool _isHierarchic, _isLeaf, _isGraphBased;
    } cases[] = { { 0, "FOLDER", true, false, false }, { 1, "COMPOSITION", true, true, true },
                  { 2, "GRAPH", true, true, true },    { 3, "PROJECT", true, true, false },
                  { 4, "USER", true, true, false },    { 5, "MACHINE", true, true, false },
                  { 6, "SETUP", true, true, false },   { -1, "UNKNOWN", false, false, false } };
    for( const auto& row : cases ) {
        const auto type = Types::ComponentType( row._type );
        EXPECT_EQ( Types::toString( type ), row._text );
        EXPECT_EQ( Types::fromString( row._text ), type );
        EXPECT_EQ( Types::isHierarchic( type ), row._isHierarchic ) << row._text;
        EXPECT_EQ( Types::isLeaf( type ), row._isLeaf ) << row._text;
        EXPECT_EQ( Types::isGraphBased( type ), row._isGraphBased ) << row._text;
    }
    for( const char* const text : { "graph", "GRAPH ", "" } ) {
        EXPECT_EQ( Types::fromString( text ), Types::UNKNOWN ) << text;
    }
    EXPECT_EQ( Types::toString( Types::ComponentType( 7 ) ), "UNKNOWN" );
}

// In one test, since what is registered stays.
TEST( OsComponentTypesTest, PathsAreWhatTheirExtensionWasRegisteredFor ) {
    EXPECT_EQ( Types::getTypeFromExtension( "tcomp" ), Types::UNKNOWN );
    EXPECT_EQ( Types::getExtensionFromType( Types::FOLDER ), "" );
    Types::registerExtensionType( "tcomp", Types::COMPOSITION );
    Types::registerExtensionType( "acomp", Types::COMPOSITION );
    EXPECT_THROW( Types::registerExtensionType( "tcomp", Types::COMPOSITION ), ExAssertionFailed );
    EXPECT_EQ( Types::getTypeFromExtension( "tcomp" ), Types::COMPOSITION );
    EXPECT_EQ( Types::getTypeFromExtension( "TCOMP" ), Types::UNKNOWN );
    EXPECT_EQ( Types::getExtensionFromType( Types::COMPOSITION ), "acomp" );

    for( const char* const name : { "Proxy", "Other" } ) {
        Types::registerExtensionAndNameForDependentType( "tproxy", name );
        Types::registerExtensionForCompoundType( "tbundle" );
        Types::registerExtensionForManagedObjects( "tmanaged" );
        Types::registerExtensionForSpecialObjects( "tspecial" );
    }
    EXPECT_TRUE( Types::isDependent( "dir/a.tproxy" ) );
    EXPECT_FALSE( Types::isDependent( "a.tproxy/b" ) );
    EXPECT_EQ( Types::getDependentTypeName( "a.tproxy" ), "Proxy" );
    EXPECT_EQ( Types::getDependentTypeName( "a.tbundle" ), "" );
    EXPECT_TRUE( Types::isCompound( "/a.tbundle", false ) );
    EXPECT_FALSE( Types::isCompound( "/a.tbundle", true ) );
    EXPECT_FALSE( Types::isCompound( "a.tmanaged", false ) );
    EXPECT_TRUE( Types::isManaged( "a.tmanaged" ) );
    EXPECT_FALSE( Types::isManaged( "tmanaged" ) );
    EXPECT_THAT( Types::getExtensionsForDependentTypes(), ElementsAre( "tproxy" ) );
    EXPECT_THAT( Types::getExtensionsForSpecialObjects(), ElementsAre( "tspecial" ) );
}

} // namespace
} // namespace Qv
