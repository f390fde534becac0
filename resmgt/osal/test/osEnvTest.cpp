#include <resmgt/osal/osEnv.h>
#include <resmgt/osal/osRegistry.h>
#include <resmgt/osal/src/osRegistryPlace.h>
#include <resmgt/osal/test/testFiles.h>
#include <tests/support/scopedEnvironment.h>

#include <cstdlib>

namespace Qv {
namespace {

using ::testing::Pair;
using Guard = OsEnv::VariableGuard;

constexpr const char* NAME = "QV_TEST_VARIABLE";
constexpr const wchar_t* WIDE_NAME = L"QV_TEST_VARIABLE";

/// What the system has under the name.
std::string valueOf( const char* name = NAME ) {
    const char* const value = std::getenv( name );
    return value == nullptr ? "unset" : value;
}

TEST( OsEnvTest, ValuesOfAnyBytesAndSizeComeBackAsTheyWereSet ) {
    const ScopedEnvironment scope( NAME );
    std::string narrow = "former";
    std::wstring wide = L"former";
    EXPECT_FALSE( OsEnv::getVariable( narrow, NAME ) || OsEnv::getVariable( wide, WIDE_NAME ) );
    EXPECT_TRUE( narrow == "former" && wide == L"former" );
    for( const std::string& value :
         { std::string(), std::string( "a=b;c " ), std::string( "\xC3\xA9 \xFF\xC3" ),
           std::string( 1000000, 'x' ) } ) {
        OsEnv::setVariable( NAME, value );
        EXPECT_TRUE( OsEnv::getVariable( narrow, NAME ) && OsEnv::isSet( WIDE_NAME ) );
        EXPECT_EQ( narrow, value );
        EXPECT_TRUE( OsEnv::getVariable( wide, WIDE_NAME ) );
        OsEnv::unsetVariable( WIDE_NAME );
        OsEnv::unsetVariable( NAME );
        EXPECT_FALSE( OsEnv::isSet( NAME ) );
        OsEnv::setVariable( WIDE_NAME, wide );
        EXPECT_EQ( valueOf(), value );
    }
}

TEST( OsEnvTest, WhatIsNoNameNoValueOrNoAssignmentChangesNothing ) {
    const ScopedEnvironment scope( NAME, "B=c" );
    const std::string legal( NAME );
    for( const std::string& name : { std::string(), legal + "=B", legal + '\0' + "B" } ) {
        std::string value;
        EXPECT_FALSE( OsEnv::getVariable( value, name ) ) << name;
        EXPECT_FALSE( OsEnv::isSet( std::wstring( name.begin(), name.end() ) ) ) << name;
        EXPECT_THROW( OsEnv::setVariable( name, "x" ), ExSysErrorANSI ) << name;
        EXPECT_THROW( OsEnv::unsetVariable( name ), ExSysErrorANSI ) << name;
        EXPECT_THROW( Guard( name, "", Guard::SET ), ExSysErrorANSI ) << name;
    }
    EXPECT_EQ(
        raisedBy<ExSysErrorANSI>( [] { OsEnv::setVariable( NAME, std::string( "x\0y", 3 ) ); } ),
        "OsEnv::setVariable 'QV_TEST_VARIABLE': Invalid argument (error 22)" );
    for( const wchar_t* const text : { L"", L"=x", WIDE_NAME } ) {
        EXPECT_THAT( raisedBy<ExSysErrorANSI>( [&] { OsEnv::putVariable( text ); } ),
                     HasSubstr( "Could not set environment variable" ) );
    }
    EXPECT_EQ( valueOf(), "B=c" );
    OsEnv::putVariable( L"QV_TEST_VARIABLE=a=\u00E9" );
    EXPECT_EQ( valueOf(), "a=\xC3\xA9" );
    OsEnv::putVariable( L"QV_TEST_VARIABLE=" );
    EXPECT_EQ( valueOf(), "" );
}

TEST( OsEnvTest, GuardsEditAVariableAndGiveItsFormerValueBack ) {
    const std::tuple<const char*, const char*, Guard::EditMode, const char*> cases[] = {
        { "a", "b", Guard::SET, "b" },        { "\xFF", "b", Guard::APPEND, "\xFF;b" },
        { "a", "b", Guard::PREPEND, "b;a" },  { "", "b", Guard::APPEND, "b" },
        { "", "b", Guard::PREPEND, "b" },     { "a", "", Guard::APPEND, "a" },
        { "a", "", Guard::PREPEND, "a" },     { "unset", "b", Guard::SET, "b" },
        { "unset", "b", Guard::APPEND, "b" }, { "unset", "b", Guard::PREPEND, "b" } };
    for( const auto& [former, value, mode, expected] : cases ) {
        const ScopedEnvironment outer( NAME );
        if( std::string( former ) != "unset" ) {
            ::setenv( NAME, former, 1 );
        }
        {
            const Guard guard( NAME, value, mode );
            EXPECT_EQ( valueOf(), expected );
        }
        EXPECT_EQ( valueOf(), former );
        EXPECT_EQ(
            raisedBy<ExProgramAborted>( [] { Guard( WIDE_NAME, L"b", Guard::EditMode( 3 ) ); } ),
            "Program aborted: Unknown environment variable edit mode." );
        EXPECT_EQ( valueOf(), former );
    }
}

TEST( OsEnvTest, SystemsOwnPathIsJoinedAsTheSystemSplitsIt ) {
    const ScopedEnvironment path( "PATH", "/bin" );
    OsEnv::appendToVariable( "PATH", "/last" );
    OsEnv::prependToVariable( L"PATH", L"/first" );
    EXPECT_EQ( valueOf( "PATH" ), "/first:/bin:/last" );
}

TEST( OsEnvTest, SnapshotHoldsAllVariablesAndNothingElse ) {
    std::string texts[] = { "TWICE=1", "TWICE=2", "EMPTY=", "ODD==\xFF", "=x", "NONE" };
    char* variables[] = { texts[0].data(), texts[1].data(), texts[2].data(), texts[3].data(),
                          texts[4].data(), texts[5].data(), nullptr };
    HashMap<std::wstring, std::wstring> snapshot{ { L"stale", L"" } };
    HashMap<std::wstring, std::wstring> ofNothing( snapshot );
    char** const former = environ;
    environ = variables;
    OsEnv::getVariables( snapshot );
    environ = nullptr;
    OsEnv::getVariables( ofNothing );
    environ = former;
    EXPECT_THAT( snapshot,
                 ::testing::UnorderedElementsAre( Pair( L"TWICE", L"1" ), Pair( L"EMPTY", L"" ),
                                                  Pair( L"ODD", L"=\xDCFF" ) ) );
    EXPECT_TRUE( ofNothing.empty() );
}

TEST( OsRegistryTest, TextIsSplitIntoRootKeyAndValue ) {
    const std::tuple<const char*, unsigned int, const char*, const char*> cases[] = {
        { "HKEY_LOCAL_MACHINE\\SOFTWARE\\A b\\c", 2, "SOFTWARE\\A b", "c" },
        { "HKEY_CLASSES_ROOT\\a\\b", 0, "a", "b" },
        { "HKEY_CURRENT_CONFIG\\a\\b", 5, "a", "b" },
        { "HKEY_CURRENT_USER\\a\\b", 1, "a", "b" },
        { "HKEY_PERFORMANCE_DATA\\a\\b", 4, "a", "b" },
        { "HKEY_PERFORMANCE_DATA \\a\\b", 4, "a", "b" },
        { "HKEY_CURRENT\\a\\b", 5, "a", "b" },
        { "HKEY_USERS\\value", 3, "", "value" },
        { "HKEY_USERS\\\\value", 3, "", "value" },
        { "HKEY_USERS\\key\\", 3, "key", "" },
        { "HKEY_USERS\\a/b\\\\c", 3, "a/b\\", "c" } };
    for( const auto& [text, root, key, value] : cases ) {
        const auto place = OsRegistryPlace::parse( text );
        ASSERT_TRUE( place ) << text;
        EXPECT_EQ( place->root, 0x80000000U + root ) << text;
        EXPECT_EQ( place->key, key ) << text;
        EXPECT_EQ( place->valueName, value ) << text;
    }
    for( const char* const text :
         { static_cast<const char*>( nullptr ), "", "HKEY_USERS", "HKEY_USERS/a",
           "HKEY_NONSENSE\\a\\b", "hkey_users\\a\\b", "HKEY_USERS \\a" } ) {
        EXPECT_FALSE( OsRegistryPlace::parse( text ) );
    }
}

TEST( OsRegistryTest, NothingIsFoundAndNothingSeemsToBeKept ) {
    const std::pair<const char*, const char*> cases[] = {
        { "HKEY_CURRENT_USER\\key\\value", "this system has no registry" },
        { "HKEY_NONSENSE\\a\\b", "names no value of the registry" },
        { nullptr, "names no value of the registry" } };
    for( const auto& row : cases ) {
        const char* const text = row.first;
        EXPECT_TRUE( APtr<char>( OsRegistry::getVariable( text ) ).isNull() );
        EXPECT_EQ( OsRegistry::getLong( text ), 0 );
        EXPECT_EQ( OsRegistry::getLongLong( text ), 0 );
        const std::function<void()> setters[] = {
            [&] { OsRegistry::setVariable( text, APtr<char>( new char[1]() ) ); },
            [&] { OsRegistry::setLong( text, 1 ); }, [&] { OsRegistry::setLongLong( text, 1 ); } };
        for( const auto& set : setters ) {
            EXPECT_THAT( raisedBy<ExSysErrorGeneric>( set ), HasSubstr( row.second ) );
        }
    }
}

} // namespace
} // namespace Qv
