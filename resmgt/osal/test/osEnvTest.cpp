#include <base/failure/assertions.h>
#include <base/failure/exSysError.h>
#include <resmgt/osal/osEnv.h>
#include <resmgt/osal/osRegistry.h>
#include <resmgt/osal/src/osRegistryPlace.h>
#include <tests/support/scopedEnvironment.h>

#include <gmock/gmock.h>

#include <cstdlib>
#include <functional>
#include <string>

namespace Qv {
namespace {

using ::testing::HasSubstr;
using EditMode = OsEnv::VariableGuard::EditMode;

constexpr const char* NAME = "QV_TEST_VARIABLE";
constexpr const wchar_t* WIDE_NAME = L"QV_TEST_VARIABLE";

/// What the system has under the name; "unset" where it has nothing.
std::string valueOf( const char* name ) {
    const char* const value = std::getenv( name );
    return value == nullptr ? "unset" : value;
}

TEST( OsEnv, ValuesOfAnyBytesAndSizeComeBackAsTheyWereSet ) {
    const ScopedEnvironment scope( NAME );
    const std::string values[] = {
        "", "=", "a=b;c", " blank ", "\xC3\xA9 \xFF\xC3", std::string( 1000000, 'x' ) };
    for( const std::string& value : values ) {
        OsEnv::setVariable( NAME, value );
        std::string narrow = "former";
        EXPECT_TRUE( OsEnv::getVariable( narrow, NAME ) );
        EXPECT_EQ( narrow, value );
        EXPECT_TRUE( OsEnv::isSet( WIDE_NAME ) );

        std::wstring wide;
        EXPECT_TRUE( OsEnv::getVariable( wide, WIDE_NAME ) );
        OsEnv::unsetVariable( WIDE_NAME );
        EXPECT_FALSE( OsEnv::isSet( NAME ) );
        OsEnv::setVariable( WIDE_NAME, wide );
        EXPECT_EQ( valueOf( NAME ), value );
    }
    OsEnv::unsetVariable( NAME );
    OsEnv::unsetVariable( NAME );
    std::string untouched = "former";
    std::wstring wideUntouched = L"former";
    EXPECT_FALSE( OsEnv::getVariable( untouched, NAME ) );
    EXPECT_FALSE( OsEnv::getVariable( wideUntouched, WIDE_NAME ) );
    EXPECT_EQ( untouched, "former" );
    EXPECT_EQ( wideUntouched, L"former" );
}

TEST( OsEnv, NoVariableHasAnIllegalNameAndNoneGetsOne ) {
    const ScopedEnvironment scope( NAME, "B=c" );
    const std::string names[] = { "", "=", std::string( NAME ) + "=B",
                                  std::string( NAME ) + '\0' + "B" };
    for( const std::string& name : names ) {
        std::string value;
        EXPECT_FALSE( OsEnv::getVariable( value, name ) ) << name;
        EXPECT_FALSE( OsEnv::isSet( std::wstring( name.begin(), name.end() ) ) ) << name;
        EXPECT_THROW( OsEnv::setVariable( name, "x" ), ExSysError ) << name;
        EXPECT_THROW( OsEnv::unsetVariable( name ), ExSysError ) << name;
        EXPECT_THROW( OsEnv::VariableGuard( name, "", EditMode::SET ), ExSysError ) << name;
    }
    try {
        OsEnv::setVariable( NAME, std::string( "x\0y", 3 ) );
        ADD_FAILURE() << "a value was cut at its zero character";
    } catch( const ExSysErrorANSI& ex ) {
        EXPECT_THAT( ex.getReason(), HasSubstr( "OsEnv::setVariable" ) );
        EXPECT_THAT( ex.getReason(), HasSubstr( NAME ) );
    }
    EXPECT_EQ( valueOf( NAME ), "B=c" );
}

TEST( OsEnv, AssignmentsSetWhatStandsBehindTheirFirstEqualsSign ) {
    const ScopedEnvironment scope( NAME, "former" );
    for( const wchar_t* const text : { L"", L"=x", L"QV_TEST_VARIABLE" } ) {
        try {
            OsEnv::putVariable( text );
            ADD_FAILURE() << "no assignment, but it was taken for one";
        } catch( const ExSysError& ex ) {
            EXPECT_THAT( ex.getReason(), HasSubstr( "Could not set environment variable" ) );
        }
        EXPECT_EQ( valueOf( NAME ), "former" );
    }
    OsEnv::putVariable( L"QV_TEST_VARIABLE=a=\u00E9" );
    EXPECT_EQ( valueOf( NAME ), "a=\xC3\xA9" );
    OsEnv::putVariable( L"QV_TEST_VARIABLE=" );
    EXPECT_EQ( valueOf( NAME ), "" );
}

TEST( OsEnv, GuardsEditAVariableAndGiveItsFormerValueBack ) {
    struct Case {
        const char* former;
        const char* value;
        EditMode mode;
        const char* expected;
    };
    const Case cases[] = {
        { "a", "b", EditMode::SET, "b" },         { "a", "", EditMode::SET, "" },
        { "a", "b", EditMode::APPEND, "a;b" },    { "a", "b", EditMode::PREPEND, "b;a" },
        { "", "b", EditMode::APPEND, "b" },       { "", "b", EditMode::PREPEND, "b" },
        { "a", "", EditMode::APPEND, "a" },       { "a", "", EditMode::PREPEND, "a" },
        { nullptr, "b", EditMode::SET, "b" },     { nullptr, "b", EditMode::APPEND, "b" },
        { nullptr, "b", EditMode::PREPEND, "b" }, { nullptr, "", EditMode::APPEND, "" },
    };
    for( const Case& row : cases ) {
        const ScopedEnvironment outer( NAME );
        if( row.former != nullptr ) {
            ::setenv( NAME, row.former, 1 );
        }
        {
            const OsEnv::VariableGuard guard( NAME, row.value, row.mode );
            EXPECT_EQ( valueOf( NAME ), row.expected );
        }
        EXPECT_EQ( valueOf( NAME ), row.former == nullptr ? "unset" : row.former );
    }
    const ScopedEnvironment bytes( NAME, "\xFF" );
    {
        const OsEnv::VariableGuard guard( WIDE_NAME, L"\u00E9", EditMode::APPEND );
        EXPECT_EQ( valueOf( NAME ), "\xFF;\xC3\xA9" );
    }
    EXPECT_EQ( valueOf( NAME ), "\xFF" );
    try {
        OsEnv::VariableGuard( NAME, "b", EditMode( 3 ) );
        ADD_FAILURE() << "there is no such mode";
    } catch( const ExProgramAborted& ex ) {
        EXPECT_THAT( ex.getReason(), HasSubstr( "Unknown environment variable edit mode." ) );
    }
    EXPECT_EQ( valueOf( NAME ), "\xFF" );
}

TEST( OsEnv, SystemsOwnPathIsJoinedAsTheSystemSplitsIt ) {
    const ScopedEnvironment path( "PATH", "/bin" );
    OsEnv::appendToVariable( "PATH", "/last" );
    OsEnv::prependToVariable( L"PATH", L"/first" );
    EXPECT_EQ( valueOf( "PATH" ), "/first:/bin:/last" );
}

TEST( OsEnv, SnapshotHoldsAllVariablesAndNothingElse ) {
    char first[] = "QV_TEST_TWICE=1";
    char second[] = "QV_TEST_TWICE=2";
    char empty[] = "QV_TEST_EMPTY=";
    char odd[] = "QV_TEST_ODD==\xFF";
    char noName[] = "=x";
    char noValue[] = "QV_TEST_NONE";
    char* variables[] = { first, second, empty, odd, noName, noValue, nullptr };
    char** const former = environ;
    HashMap<std::wstring, std::wstring> snapshot{ { L"stale", L"" } };
    environ = variables;
    OsEnv::getVariables( snapshot );
    environ = nullptr;
    HashMap<std::wstring, std::wstring> ofNothing{ { L"stale", L"" } };
    OsEnv::getVariables( ofNothing );
    environ = former;
    EXPECT_THAT( snapshot,
                 ::testing::UnorderedElementsAre( ::testing::Pair( L"QV_TEST_TWICE", L"1" ),
                                                  ::testing::Pair( L"QV_TEST_EMPTY", L"" ),
                                                  ::testing::Pair( L"QV_TEST_ODD", L"=\xDCFF" ) ) );
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
        { "HKEY_USERS\\value", 0x80000003, "", "value" },
        { "HKEY_USERS\\\\value", 0x80000003, "", "value" },
        { "HKEY_USERS\\key\\", 0x80000003, "key", "" },
        { "HKEY_USERS\\", 0x80000003, "", "" },
        { "HKEY_CURRENT\\a\\b", 0x80000005, "a", "b" },
        { "HKEY_USERS\\a/b\\\\c", 0x80000003, "a/b\\", "c" },
    };
    for( const Case& row : cases ) {
        const auto place = OsRegistryPlace::parse( row.text );
        ASSERT_TRUE( place ) << row.text;
        EXPECT_EQ( place->root, row.root ) << row.text;
        EXPECT_EQ( place->key, row.key ) << row.text;
        EXPECT_EQ( place->valueName, row.value ) << row.text;
    }
    const char* const malformed[] = { nullptr,
                                      "",
                                      "HKEY_USERS",
                                      "HKEY_USERS/a",
                                      "HKEY_NONSENSE\\a\\b",
                                      "hkey_users\\a\\b",
                                      "HKEY_USERS \\a" };
    for( const char* const text : malformed ) {
        EXPECT_FALSE( OsRegistryPlace::parse( text ) ) << text;
        EXPECT_TRUE( APtr<char>( OsRegistry::getVariable( text ) ).isNull() ) << text;
        EXPECT_EQ( OsRegistry::getLong( text ), 0 );
        EXPECT_EQ( OsRegistry::getLongLong( text ), 0 );
        EXPECT_THROW( OsRegistry::setLong( text, 1 ), ExSysErrorGeneric );
    }
}

TEST( OsRegistry, NothingIsFoundAndNothingSeemsToBeKept ) {
    const char* const text = "HKEY_CURRENT_USER\\Software\\value";
    const std::function<void()> setters[] = {
        [&] { OsRegistry::setVariable( text, APtr<char>( new char[1]() ) ); },
        [&] { OsRegistry::setLong( text, 1 ); },
        [&] { OsRegistry::setLongLong( text, 1 ); },
    };
    for( const auto& set : setters ) {
        try {
            set();
            ADD_FAILURE() << "there is no registry, but something was kept in it";
        } catch( const ExSysErrorGeneric& ex ) {
            EXPECT_THAT( ex.getReason(), HasSubstr( text ) );
            EXPECT_THAT( ex.getReason(), HasSubstr( "no registry" ) );
        }
    }
    EXPECT_TRUE( APtr<char>( OsRegistry::getVariable( text ) ).isNull() );
    EXPECT_EQ( OsRegistry::getLong( text ), 0 );
    EXPECT_EQ( OsRegistry::getLongLong( text ), 0 );
}

} // namespace
} // namespace Qv
