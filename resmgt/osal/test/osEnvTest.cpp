#include <base/failure/assertions.h>
#include <base/failure/exSysError.h>
#include <resmgt/osal/osEnv.h>
#include <resmgt/osal/osRegistry.h>
#include <resmgt/osal/src/osRegistryPlace.h>
#include <resmgt/osal/test/testFiles.h>
#include <tests/support/scopedEnvironment.h>

#include <gmock/gmock.h>

#include <cstdlib>
#include <functional>
#include <string>

namespace Qv {
namespace {

using ::testing::HasSubstr;
using ::testing::Pair;
using Guard = OsEnv::VariableGuard;

constexpr const char* NAME = "QV_TEST_VARIABLE";
constexpr const wchar_t* WIDE_NAME = L"QV_TEST_VARIABLE";

/// What the system has under the name.
std::string valueOf( const char* name = NAME ) {
    const char* const value = std::getenv( name );
    return value == nullptr ? "unset" : value;
}

TEST( OsEnv, ValuesOfAnyBytesAndSizeComeBackAsTheyWereSet ) {
    const ScopedEnvironment scope( NAME );
    std::string narrow = "former";
    std::wstring wide = L"former";
    EXPECT_FALSE( OsEnv::getVariable( narrow, NAME ) || OsEnv::getVariable( wide, WIDE_NAME ) );
    EXPECT_EQ( narrow, "former" );
    EXPECT_EQ( wide, L"former" );
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

TEST( OsEnv, WhatIsNoNameNoValueOrNoAssignmentChangesNothing ) {
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
        reasonOf<ExSysErrorANSI>( [] { OsEnv::setVariable( NAME, std::string( "x\0y", 3 ) ); } ),
        "OsEnv::setVariable 'QV_TEST_VARIABLE': Invalid argument (error 22)" );
    for( const wchar_t* const text : { L"", L"=x", WIDE_NAME } ) {
        EXPECT_THAT( reasonOf<ExSysErrorANSI>( [&] { OsEnv::putVariable( text ); } ),
                     HasSubstr( "Could not set environment variable" ) );
    }
    EXPECT_EQ( valueOf(), "B=c" );
    OsEnv::putVariable( L"QV_TEST_VARIABLE=a=\u00E9" );
    EXPECT_EQ( valueOf(), "a=\xC3\xA9" );
    OsEnv::putVariable( L"QV_TEST_VARIABLE=" );
    EXPECT_EQ( valueOf(), "" );
}

TEST( OsEnv, GuardsEditAVariableAndGiveItsFormerValueBack ) {
    struct Case {
        const char* former;
        const char* value;
        Guard::EditMode mode;
        const char* expected;
    };
    const Case cases[] = {
        { "a", "b", Guard::SET, "b" },        { "\xFF", "b", Guard::APPEND, "\xFF;b" },
        { "a", "b", Guard::PREPEND, "b;a" },  { "", "b", Guard::APPEND, "b" },
        { "", "b", Guard::PREPEND, "b" },     { "a", "", Guard::APPEND, "a" },
        { "a", "", Guard::PREPEND, "a" },     { nullptr, "b", Guard::SET, "b" },
        { nullptr, "b", Guard::APPEND, "b" }, { nullptr, "b", Guard::PREPEND, "b" },
    };
    for( const Case& row : cases ) {
        const ScopedEnvironment outer( NAME );
        if( row.former != nullptr ) {
            ::setenv( NAME, row.former, 1 );
        }
        {
            const Guard guard( NAME, row.value, row.mode );
            EXPECT_EQ( valueOf(), row.expected );
        }
        EXPECT_EQ( valueOf(), row.former == nullptr ? "unset" : row.former );
        EXPECT_THAT(
            reasonOf<ExProgramAborted>( [] { Guard( WIDE_NAME, L"b", Guard::EditMode( 3 ) ); } ),
            HasSubstr( "Unknown environment variable edit mode." ) );
        EXPECT_EQ( valueOf(), row.former == nullptr ? "unset" : row.former );
    }
}

TEST( OsEnv, SystemsOwnPathIsJoinedAsTheSystemSplitsIt ) {
    const ScopedEnvironment path( "PATH", "/bin" );
    OsEnv::appendToVariable( "PATH", "/last" );
    OsEnv::prependToVariable( L"PATH", L"/first" );
    EXPECT_EQ( valueOf( "PATH" ), "/first:/bin:/last" );
}

TEST( OsEnv, SnapshotHoldsAllVariablesAndNothingElse ) {
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

TEST( OsRegistry, TextIsSplitIntoRootKeyAndValue ) {
    struct Case {
        const char* text;
        std::uint32_t root;
        const char* key;
        const char* value;
    };
    const Case cases[] = {
        { "HKEY_LOCAL_MACHINE\\SOFTWARE\\A b\\c", 0x80000002, "SOFTWARE\\A b", "c" },
        { "HKEY_CLASSES_ROOT\\a\\b", 0x80000000, "a", "b" },
        { "HKEY_CURRENT_CONFIG\\a\\b", 0x80000005, "a", "b" },
        { "HKEY_CURRENT_USER\\a\\b", 0x80000001, "a", "b" },
        { "HKEY_PERFORMANCE_DATA\\a\\b", 0x80000004, "a", "b" },
        { "HKEY_PERFORMANCE_DATA \\a\\b", 0x80000004, "a", "b" },
        { "HKEY_CURRENT\\a\\b", 0x80000005, "a", "b" },
        { "HKEY_USERS\\value", 0x80000003, "", "value" },
        { "HKEY_USERS\\\\value", 0x80000003, "", "value" },
        { "HKEY_USERS\\key\\", 0x80000003, "key", "" },
        { "HKEY_USERS\\a/b\\\\c", 0x80000003, "a/b\\", "c" },
    };
    for( const Case& row : cases ) {
        const auto place = OsRegistryPlace::parse( row.text );
        ASSERT_TRUE( place ) << row.text;
        EXPECT_EQ( place->root, row.root ) << row.text;
        EXPECT_EQ( place->key, row.key ) << row.text;
        EXPECT_EQ( place->valueName, row.value ) << row.text;
    }
    for( const char* const text :
         { static_cast<const char*>( nullptr ), "", "HKEY_USERS", "HKEY_USERS/a",
           "HKEY_NONSENSE\\a\\b", "hkey_users\\a\\b", "HKEY_USERS \\a" } ) {
        EXPECT_FALSE( OsRegistryPlace::parse( text ) );
    }
}

TEST( OsRegistry, NothingIsFoundAndNothingSeemsToBeKept ) {
    struct Case {
        const char* text;
        const char* reason;
    };
    const Case cases[] = { { "HKEY_CURRENT_USER\\key\\value", "this system has no registry" },
                           { "HKEY_NONSENSE\\a\\b", "names no value of the registry" },
                           { nullptr, "names no value of the registry" } };
    for( const Case& row : cases ) {
        EXPECT_TRUE( APtr<char>( OsRegistry::getVariable( row.text ) ).isNull() );
        EXPECT_EQ( OsRegistry::getLong( row.text ), 0 );
        EXPECT_EQ( OsRegistry::getLongLong( row.text ), 0 );
        const std::function<void()> setters[] = {
            [&] { OsRegistry::setVariable( row.text, APtr<char>( new char[1]() ) ); },
            [&] { OsRegistry::setLong( row.text, 1 ); },
            [&] { OsRegistry::setLongLong( row.text, 1 ); } };
        for( const auto& set : setters ) {
            EXPECT_THAT( reasonOf<ExSysErrorGeneric>( set ), HasSubstr( row.reason ) );
        }
    }
}

} // namespace
} // namespace Qv
