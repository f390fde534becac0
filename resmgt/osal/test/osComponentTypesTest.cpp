#include <base/failure/assertions.h>
#include <resmgt/osal/osComponentTypes.h>
#include <resmgt/osal/osFilePath.h>

#include <gmock/gmock.h>

#include <string>
#include <vector>

namespace Qv {
namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using enum OsComponentTypes::ComponentType;

struct TypeCase {
    int type;
    const char* text;
    bool isHierarchic;
    bool isLeaf;
    bool isGraphBased;
};

constexpr TypeCase TYPES[] = {
    { 0, "FOLDER", true, false, false }, { 1, "COMPOSITION", true, true, true },
    { 2, "GRAPH", true, true, true },    { 3, "PROJECT", true, true, false },
    { 4, "USER", true, true, false },    { 5, "MACHINE", true, true, false },
    { 6, "SETUP", true, true, false },   { -1, "UNKNOWN", false, false, false },
};

TEST( OsComponentTypes, EachTypeHasItsTextAndItsTreatment ) {
    for( const TypeCase& row : TYPES ) {
        const auto type = static_cast<OsComponentTypes::ComponentType>( row.type );
        EXPECT_EQ( OsComponentTypes::toString( type ), row.text );
        EXPECT_EQ( OsComponentTypes::fromString( row.text ), type );
        EXPECT_EQ( OsComponentTypes::isHierarchic( type ), row.isHierarchic ) << row.text;
        EXPECT_EQ( OsComponentTypes::isLeaf( type ), row.isLeaf ) << row.text;
        EXPECT_EQ( OsComponentTypes::isGraphBased( type ), row.isGraphBased ) << row.text;
    }
    for( const char* const text : { "graph", "GRAPH ", "" } ) {
        EXPECT_EQ( OsComponentTypes::fromString( text ), UNKNOWN ) << text;
    }
    for( const int type : { 7, -2, 1 << 30 } ) {
        EXPECT_EQ( OsComponentTypes::toString( OsComponentTypes::ComponentType( type ) ),
                   "UNKNOWN" );
    }
}

// In one test, since what is registered stays.
TEST( OsComponentTypes, PathsAreWhatTheirExtensionWasRegisteredFor ) {
    EXPECT_EQ( OsComponentTypes::getTypeFromExtension( "tcomp" ), UNKNOWN );
    EXPECT_EQ( OsComponentTypes::getExtensionFromType( FOLDER ), "" );

    OsComponentTypes::registerExtensionType( "tcomp", COMPOSITION );
    OsComponentTypes::registerExtensionType( "acomp", COMPOSITION );
    EXPECT_EQ( OsComponentTypes::getTypeFromExtension( "tcomp" ), COMPOSITION );
    EXPECT_EQ( OsComponentTypes::getTypeFromExtension( "TCOMP" ), UNKNOWN );
    EXPECT_EQ( OsComponentTypes::getExtensionFromType( COMPOSITION ), "acomp" );
    try {
        OsComponentTypes::registerExtensionType( "tcomp", COMPOSITION );
        ADD_FAILURE() << "an extension got its type twice";
    } catch( const ExAssertionFailed& ex ) {
        EXPECT_THAT( ex.getReason(), HasSubstr( "it == extensions.end()" ) );
    }

    for( int round = 0; round < 2; ++round ) {
        OsComponentTypes::registerExtensionAndNameForDependentType( "tproxy", "Proxy" );
        OsComponentTypes::registerExtensionAndNameForDependentType( "tcache", "Cache" );
        OsComponentTypes::registerExtensionForCompoundType( "tbundle" );
        OsComponentTypes::registerExtensionForManagedObjects( "tmanaged" );
        OsComponentTypes::registerExtensionForSpecialObjects( "tspecial" );
    }
    EXPECT_TRUE( OsComponentTypes::isDependent( OsFilePath( "dir/a.tproxy" ) ) );
    EXPECT_FALSE( OsComponentTypes::isDependent( OsFilePath( "a.tproxy/b" ) ) );
    EXPECT_EQ( OsComponentTypes::getDependentTypeName( OsFilePath( "a.tproxy" ) ), "Proxy" );
    EXPECT_EQ( OsComponentTypes::getDependentTypeName( OsFilePath( "a.tbundle" ) ), "" );
    EXPECT_TRUE( OsComponentTypes::isCompound( OsFilePath( "/a.tbundle" ), false ) );
    EXPECT_FALSE( OsComponentTypes::isCompound( OsFilePath( "/a.tbundle" ), true ) );
    EXPECT_FALSE( OsComponentTypes::isCompound( OsFilePath( "a.tmanaged" ), false ) );
    EXPECT_TRUE( OsComponentTypes::isManaged( OsFilePath( "a.tmanaged" ) ) );
    EXPECT_FALSE( OsComponentTypes::isManaged( OsFilePath( "tmanaged" ) ) );
    EXPECT_THAT( OsComponentTypes::getExtensionsForDependentTypes(),
                 ElementsAre( "tcache", "tproxy" ) );
    EXPECT_THAT( OsComponentTypes::getExtensionsForSpecialObjects(), ElementsAre( "tspecial" ) );
}

} // namespace
} // namespace Qv
