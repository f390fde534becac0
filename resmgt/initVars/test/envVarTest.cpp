#include <base/failure/assertions.h>
#include <resmgt/initVars/envVar.h>
#include <resmgt/initVars/envVarRegistry.h>
#include <tests/support/failingNew.h>
#include <tests/support/scopedEnvironment.h>

#include <gmock/gmock.h>

#include <clocale>
#include <cmath>
#include <initializer_list>
#include <limits>
#include <optional>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

namespace Qv {
namespace {

using ::testing::AllOf;
using ::testing::EndsWith;
using ::testing::HasSubstr;
using ::testing::Not;
using ::testing::StartsWith;

// As library code has them: built before any package has started.
const EnvIntVar fileLevelVariable( "fileLevel.cpp", "QV_TEST_FILE_LEVEL", 3 );

constexpr const char* name = "QV_TEST_VARIABLE";

template <class T>
std::string textOf( const T& object ) {
    std::ostringstream stream;
    stream << object;
    return stream.str();
}

std::string registryHtml() {
    std::ostringstream stream;
    EnvVarRegistry::getInstance().dumpHtml( stream );
    return stream.str();
}

TEST( EnvVarTest, TheEnvironmentsTextWinsOverTheDefault ) {
    const ScopedEnvironment unset( name );
    EXPECT_STREQ( EnvVar( "a.cpp", name, "default" ).getValue(), "default" );
    EXPECT_EQ( EnvVar( "a.cpp", name, nullptr ).getValue(), nullptr );
    const ScopedEnvironment empty( name, "" );
    EXPECT_STREQ( EnvVar( "a.cpp", name, "default" ).getValue(), "" );
    const ScopedEnvironment set( name, "text" );
    EXPECT_STREQ( EnvVar( "a.cpp", name, "default" ).getValue(), "text" );
}

/// Reads each text as the variable's value; the default, where the environment has none.
template <class Variable, class Value>
void expectRead( const std::vector<std::pair<const char*, Value>>& cases ) {
    for( const auto& [text, expected] : cases ) {
        const ScopedEnvironment environment( name, text );
        EXPECT_EQ( Variable( "a.cpp", name, 42 ).getValue(), expected ) << text;
    }
}

TEST( EnvVarTest, NumbersAreReadAsFarAsTheyGo ) {
    expectRead<EnvIntVar, int>( {
        { "", 0 },
        { "12abc", 12 },
        { " \t-7", -7 },
        { "+5", 5 },
        { "abc", 0 },
        { "0x10", 0 },
        { "2147483647", std::numeric_limits<int>::max() },
        { "2147483648", std::numeric_limits<int>::max() },
        { "-2147483649", std::numeric_limits<int>::min() },
        { "-99999999999999999999999999", std::numeric_limits<int>::min() },
    } );
    constexpr unsigned long long largest = std::numeric_limits<unsigned long long>::max();
    expectRead<EnvUInt64Var, unsigned long long>( {
        { "", 0 },
        { " 12abc", 12 },
        { "-1", largest },
        { "18446744073709551615", largest },
        { "18446744073709551616", largest },
    } );
}

TEST( EnvVarTest, DoublesAreReadWithADecimalPointInEveryLocale ) {
    for( const char* locale : { "C", "de_DE.UTF-8" } ) {
        // Where the locale isn't installed, the second round is as the first.
        std::setlocale( LC_NUMERIC, locale );
        expectRead<EnvDoubleVar, double>( { { "", 0 },
                                            { " -2.25e1x", -22.5 },
                                            { "1e", 1 },
                                            { "abc", 0 },
                                            { "0x1p4", 16 },
                                            { "1e999", HUGE_VAL },
                                            { "-1e999", -HUGE_VAL },
                                            { "1e-999", 0 } } );
    }
    std::setlocale( LC_NUMERIC, "C" );
}

TEST( EnvVarTest, AChangeOfTheEnvironmentShowsAfterRefresh ) {
    const ScopedEnvironment before( name, "1" );
    EnvVar text( "a.cpp", name, nullptr );
    EnvIntVar integer( "a.cpp", name, -1 );
    EnvUInt64Var large( "a.cpp", name, 10 );
    EnvDoubleVar real( "a.cpp", name, -1 );
    const auto values = [&] {
        return std::string( text.getValue() != nullptr ? text.getValue() : "none" ) + ' ' +
               std::to_string( integer.getValue() ) + ' ' + std::to_string( large.getValue() ) +
               ' ' + std::to_string( std::lround( real.getValue() * 10 ) );
    };
    const auto refresh = [&] {
        for( EnvVar* variable : std::initializer_list<EnvVar*>{ &text, &integer, &large, &real } ) {
            variable->refresh();
        }
        return values();
    };
    std::string assignment = std::string( name ) + "=2";
    EXPECT_EQ( EnvVar::putEnv( assignment.c_str() ), 0 );
    EXPECT_EQ( values(), "1 1 1 10" );
    EXPECT_EQ( refresh(), "2 2 2 20" );
    assignment.back() = '3';
    EXPECT_EQ( refresh(), "2 2 2 20" ) << "putEnv copies";
    EXPECT_EQ( EnvVar::putEnv( ( std::string( name ) + "=" ).c_str() ), 0 );
    EXPECT_EQ( refresh(), " 0 0 0" );
    EXPECT_EQ( EnvVar::putEnv( name ), 0 );
    EXPECT_EQ( refresh(), "none -1 10 -10" );
    EXPECT_NE( EnvVar::putEnv( "=1" ), 0 );
}

TEST( EnvVarTest, DumpsNameValueAndDefault ) {
    const ScopedEnvironment environment( name, "1" );
    const std::string head = "name          QV_TEST_VARIABLE ";
    EXPECT_EQ( textOf( EnvVar( "a.cpp", name, nullptr ) ), head + "value \"1\" default \"NIL\"" );
    EXPECT_EQ( textOf( EnvIntVar( "a.cpp", name, 2 ) ), head + "value 1 default 2" );
    EXPECT_EQ( textOf( EnvUInt64Var( "a.cpp", name, 2 ) ), head + "value 1 default 2" );
    EXPECT_EQ( textOf( EnvDoubleVar( "a.cpp", name, 2.5 ) ), head + "value 1 default 2.5" );
    const ScopedEnvironment unset( name );
    EXPECT_EQ( textOf( EnvVar( "a.cpp", name, "x" ) ), head + "value \"NIL\" default \"x\"" );
    const ScopedEnvironment command( name, "\x1b]0;x\a\n" );
    EXPECT_EQ( textOf( EnvVar( "a.cpp", name, "x" ) ), head + "value \"?]0;x??\" default \"x\"" );
}

TEST( EnvVarRegistryTest, ListsEachVariableThatIsAlive ) {
    EXPECT_THAT( registryHtml(), HasSubstr( "QV_TEST_FILE_LEVEL" ) );
    {
        const EnvVar one( "one.cpp", name, nullptr );
        const EnvVar other( "other.cpp", name, nullptr );
        const std::string html = registryHtml();
        EXPECT_THAT( html, HasSubstr( "<td align=left>one.cpp</td>" ) );
        EXPECT_THAT( html, HasSubstr( "<td align=left>other.cpp</td>" ) );
        const std::string line = textOf( one ) + '\n';
        EXPECT_THAT( textOf( EnvVarRegistry::getInstance() ), HasSubstr( line + line ) );
    }
    EXPECT_THAT( registryHtml(), Not( HasSubstr( name ) ) );
}

TEST( EnvVarRegistryTest, AnotherStartListsTheVariablesThatAreAliveAgain ) {
    std::optional<EnvVar> gone( std::in_place, "gone.cpp", "QV_TEST_GONE", nullptr );
    EnvVarRegistry::finalize();
    gone.reset();
    EnvVarRegistry::initialize();
    EXPECT_THAT( registryHtml(),
                 AllOf( HasSubstr( "QV_TEST_FILE_LEVEL" ), Not( HasSubstr( "QV_TEST_GONE" ) ) ) );
}

TEST( EnvVarRegistryTest, ThePageStaysWellFormedWhateverTheEnvironmentHolds ) {
    const ScopedEnvironment environment( name, "<b>&\"\x01\xff\xc2\x9b\xc3\xa9" );
    const EnvVar variable( "a<b.cpp", name, nullptr );
    const ScopedEnvironment unset( "QV_TEST_UNSET" );
    const std::string html = registryHtml();
    EXPECT_THAT( html, StartsWith( "<html>\n<body>\n<table border=1>\n<tr>\n"
                                   "<th colspan=3>Environnement Variables</th>\n</tr>\n<tr>\n"
                                   "<td align=center><font size=+1>Name</font></td>\n"
                                   "<td align=center><font size=+1>Value</font></td>\n"
                                   "<td align=center><font size=+1>File</font></td>\n</tr>\n"
                                   "<tr>\n" ) );
    EXPECT_THAT( html, HasSubstr( "</tr>\n<tr>\n"
                                  "<td align=left>QV_TEST_VARIABLE</td>\n"
                                  "<td align=left>&lt;b&gt;&amp;&quot;???\xc3\xa9</td>\n"
                                  "<td align=left>a&lt;b.cpp</td>\n</tr>\n" ) );
    EXPECT_THAT( html, EndsWith( "</tr>\n</table>\n</body>\n</html>\n" ) );
    const EnvIntVar number( "a.cpp", "QV_TEST_UNSET", 5 );
    EXPECT_THAT( registryHtml(), HasSubstr( "<td align=left>(null)</td>" ) );
}

TEST( EnvVarRegistryTest, AVariableWithoutRegistryOrPlaceWorksUnlisted ) {
    const EnvVarRegistry& stale = EnvVarRegistry::getInstance();
    EnvVarRegistry::finalize();
    const ScopedEnvironment environment( name, "8" );
    {
        const EnvIntVar late( "late.cpp", name, 1 );
        EXPECT_EQ( late.getValue(), 8 );
        EXPECT_THROW( textOf( stale ), ExAssertionFailed );
        EXPECT_THROW( EnvVarRegistry::getInstance(), ExAssertionFailed ) << "it came back";
        EnvVarRegistry::initialize();
        EXPECT_THAT( registryHtml(), Not( HasSubstr( "late.cpp" ) ) );
        const FailingNew failing( 0 );
        const EnvIntVar withoutMemory( "a.cpp", name, 1 );
        EXPECT_EQ( withoutMemory.getValue(), 8 );
    }
    EXPECT_THAT( registryHtml(), Not( HasSubstr( name ) ) );
}

} // namespace
} // namespace Qv
