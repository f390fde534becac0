#include <base/failure/assertions.h>
#include <base/init/inContextAlias.h>
#include <base/init/inContextAliasBuilder.h>
#include <base/init/inContextAliasMgrBase.h>
#include <base/init/inEx.h>
#include <base/init/inInit.h>
#include <base/init/inInitGuard.h>
#include <base/init/inVariable.h>
#include <base/init/src/inAliasDump.h>
#include <base/init/src/inPackageFrame.h>
#include <tests/support/scopedEnvironment.h>

#include <gmock/gmock.h>

#include <algorithm>
#include <initializer_list>
#include <limits>
#include <map>
#include <optional>
#include <sstream>
#include <string>
#include <vector>

namespace Qv {

namespace QvInit {

struct variableTest {};

} // namespace QvInit

template <>
InInit<QvInit::variableTest>::InInit()
    : InPackageInit( "variableTest" ) {
    registerPackage();
    addDependency( InInit<QvInit::base>::getType() );
}

namespace {

std::string valueAtStart;

extern InVariable<const char*> startVariable;

} // namespace

template <>
void InInit<QvInit::variableTest>::initializePackage() {
    valueAtStart = startVariable.getValue();
}

namespace {

InInit<QvInit::variableTest> startPackage;
const InContextAlias<InInitArg, 1> startArg( "startArg:", "" );
InVariable<const char*> startVariable( "ombra::test::start", startPackage, startArg,
                                       InContextAlias<InInitDef, 0>( "built in", "" ) );

using ::testing::ElementsAre;
using ::testing::HasSubstr;

using EnvAlias = InContextAlias<InInitEnv, 0>;
using DefAlias = InContextAlias<InInitDef, 0>;
using ArgAlias = InContextAlias<InInitArg, 1>;

struct PackageTag {};

class TestPackage : public InPackageInit {
public:
    TestPackage()
        : InPackageInit( "variables" ) {}

    void preInitializePackage() override {}
    void postInitializePackage() override {}
    void initializePackage() override {}
    void finalizePackage() override {}
    void setPackageState( bool ) override {}
    const std::type_info* getIdentity() const override { return &typeid( PackageTag ); }
};

/// A command line that is bound; the former one is bound again at the end.
class CommandLine {
public:
    explicit CommandLine( std::vector<const char*> args ) {
        args.insert( args.begin(), "program" );
        args.push_back( nullptr );
        _argc = static_cast<int>( args.size() ) - 1;
        _argv = args.data();
        InContextAliasMgrBase::bindArguments( _argc, _argv );
    }
    ~CommandLine() {
        const char* name[] = { "program", nullptr };
        int argc = 1;
        const char* const* argv = name;
        InContextAliasMgrBase::bindArguments( argc, argv );
    }

    std::vector<std::string> kept() const { return { _argv, _argv + _argc }; }
    bool isTerminated() const { return _argv[_argc] == nullptr; }

private:
    int _argc;
    const char* const* _argv;
};

std::vector<std::string> unboundArgs() {
    const Vector<char*>& args = InContextAliasMgrBase::getUnboundArgs();
    return { args.begin(), args.end() };
}

/// A source whose values a test sets, tracked by key as the init files' sources are.
template <int Priority>
struct FileSource {
    static constexpr int getPriority() { return Priority; }
    static constexpr const char* getSourceString() { return "FileSource"; }
    static void initialize( InContextAliasBase& alias ) {
        const auto i = values().find( alias.getKey() );
        alias.initialize( i != values().end() ? i->second.c_str() : nullptr );
    }
    static InContextAliasKeys& getKeys() {
        static InContextAliasKeys keys;
        return keys;
    }
    static std::map<std::string, std::string>& values() {
        static std::map<std::string, std::string> instance;
        return instance;
    }
};
using Fallback = FileSource<0>;
using AppFile = FileSource<2>;
using UserFile = FileSource<3>;
using Registry = FileSource<5>;

template <class Source>
class FileBuilder : public InContextAliasBuilder {
public:
    OPtrRet<InContextAliasBase> build( const InVariableBase& variable ) override {
        return OPtr<InContextAliasBase>(
            new InContextAlias<Source, 1>( variable.getKey(), "A file" ) );
    }
};

class InVariableTest : public ::testing::Test {
protected:
    TestPackage _package;
};

TEST_F( InVariableTest, TheFirstSourceInDeclaredOrderThatHasAValueWins ) {
    const struct {
        std::vector<const char*> _args;
        const char* _environment;
        const char* _expected;
    } cases[] = {
        { {}, nullptr, "default" },
        { {}, "from env", "from env" },
        { {}, "", "" },
        { { "tst:from arg" }, "from env", "from arg" },
        { { "t:second arg" }, "from env", "second arg" },
        { { "t:second arg", "tst:from arg" }, nullptr, "from arg" },
    };
    const ArgAlias longArg( "tst:", "" );
    const ArgAlias shortArg( "t:", "" );
    InVariable<const char*> variable( "ombra::test::text", _package, longArg, shortArg,
                                      EnvAlias( "QV_TEST_TEXT", "" ), DefAlias( "default", "" ) );
    for( const auto& c : cases ) {
        const CommandLine line( c._args );
        const ScopedEnvironment environment =
            c._environment != nullptr ? ScopedEnvironment( "QV_TEST_TEXT", c._environment )
                                      : ScopedEnvironment( "QV_TEST_TEXT" );
        variable.resolve();
        EXPECT_TRUE( variable.isValid() );
        EXPECT_STREQ( variable.getValue(), c._expected );
    }
}

TEST_F( InVariableTest, TenTemporarySourcesAreAllAskedUntilTheVariableLeavesItsPackage ) {
    OPtr<InVariable<int>> variable;
    {
        std::string name = "QV_TEST_NOT_SET";
        const EnvAlias none( name.c_str(), "" );
        variable.reset( new InVariable<int>( "ombra::test::ten", _package, none, none, none, none,
                                             none, none, none, none, none,
                                             EnvAlias( "QV_TEST_NUMBER", "" ) ) );
        name.assign( name.size(), 'x' );
    }
    const ScopedEnvironment environment( "QV_TEST_NUMBER", "10" );
    variable->resolve();
    EXPECT_EQ( variable->getValue(), 10 );
    EXPECT_THAT( _package.getVariables(), ElementsAre( variable.get() ) );
    variable.reset();
    EXPECT_TRUE( _package.getVariables().empty() );
}

TEST_F( InVariableTest, AVariableWhoseValueIsGoneIsInvalidAndZero ) {
    InVariable<const char*> text( "ombra::test::text", _package, EnvAlias( "QV_TEST_NUMBER", "" ) );
    InVariable<int> number( "ombra::test::number", _package, EnvAlias( "QV_TEST_NUMBER", "" ) );
    InVariable<bool> flag( "ombra::test::flag", _package, EnvAlias( "QV_TEST_NUMBER", "" ) );
    for( const bool isSet : { true, false } ) {
        const ScopedEnvironment environment = isSet ? ScopedEnvironment( "QV_TEST_NUMBER", "7" )
                                                    : ScopedEnvironment( "QV_TEST_NUMBER" );
        for( InVariableBase* const variable : _package.getVariables() ) {
            variable->resolve();
            EXPECT_EQ( variable->isValid(), isSet ) << variable->getKey();
        }
        EXPECT_STREQ( text.getValue(), isSet ? "7" : nullptr );
        EXPECT_EQ( number.getValue(), isSet ? 7 : 0 );
        EXPECT_EQ( flag.getValue(), isSet );
    }
}

template <class T>
void expectParsed( std::initializer_list<const char*> texts, std::optional<T> expected ) {
    for( const char* text : texts ) {
        for( const T before : { T( 0 ), T( 1 ) } ) {
            T value = before;
            EXPECT_EQ( InVariableText::parse( text, value ), expected.has_value() ) << text;
            EXPECT_EQ( value, expected.value_or( before ) ) << text;
        }
    }
}

TEST_F( InVariableTest, TextThatIsNoWholeNumberOrTruthValueIsNoValue ) {
    expectParsed<int>( { "8", "+8", " 8 \t" }, 8 );
    expectParsed<int>( { "2147483647" }, std::numeric_limits<int>::max() );
    expectParsed<int>( { "-2147483648" }, std::numeric_limits<int>::min() );
    expectParsed<int>( { "2147483648", "", "  ", "12abc", "1 2", "+-3", "++3", "0x10", "1.5" },
                       {} );
    expectParsed<bool>( { "-1", "2", "99999999999999999999", "TRUE", " True " }, true );
    expectParsed<bool>( { "0", "00", "-0", "false", "False" }, false );
    expectParsed<bool>( { "", "truely", "tru", "yes", "1x" }, {} );
}

TEST_F( InVariableTest, MalformedTextIsReportedTheNextSourceIsTriedAndDebugTellsWhich ) {
    const ScopedEnvironment environment( "QV_TEST_NUMBER", "many" );
    InVariable<int> variable( "ombra::test::number", _package, EnvAlias( "QV_TEST_NUMBER", "" ),
                              DefAlias( "3", "built in" ) );
    for( const bool isDebugging : { false, true } ) {
        const ScopedEnvironment debug( "QV_INIT_DEBUG", isDebugging ? "3" : "2" );
        ::testing::internal::CaptureStderr();
        variable.resolve();
        const std::string report = ::testing::internal::GetCapturedStderr();
        EXPECT_EQ( variable.getValue(), 3 );
        for( const char* part : { "ombra::test::number", "QV_TEST_NUMBER", "many" } ) {
            EXPECT_THAT( report, HasSubstr( part ) );
        }
        EXPECT_EQ( std::count( report.begin(), report.end(), '\n' ), isDebugging ? 2 : 1 )
            << report;
    }
}

TEST_F( InVariableTest, TheGuardBindsTheCommandLineAndResolvesBeforeAPackageStarts ) {
    EXPECT_EQ( valueAtStart, "built in" );
    InPackageFrame::getInstance().stop();
    {
        const char* args[] = { "program", "a", "startArg:given", "b", nullptr };
        int argc = 4;
        const char* const* argv = args;
        const InInitGuard packages( argc, argv );
        EXPECT_EQ( valueAtStart, "given" );
        EXPECT_THAT( std::vector<std::string>( argv, argv + argc ),
                     ElementsAre( "program", "a", "b" ) );
        const char* const* secondArgv = args;
        int secondArgc = 4;
        EXPECT_THROW( InInitGuard( secondArgc, secondArgv ), ExAssertionFailed );
        EXPECT_EQ( secondArgc, 4 );
        EXPECT_STREQ( InContextAliasMgrBase::getUnboundArgs().back(), "b" );
    }
    InPackageFrame::getInstance().start();
}

class InVariableBuilderTest : public InVariableTest {
protected:
    void SetUp() override {
        InVariableBase::registerAppContextAliasBuilders( &_appBuilder );
        InVariableBase::registerUserContextAliasBuilders( &_userBuilder );
    }
    void TearDown() override {
        InVariableBase::unregisterAppContextAliasBuilders();
        InVariableBase::unregisterUserContextAliasBuilders();
        AppFile::values().clear();
        UserFile::values().clear();
    }

    FileBuilder<AppFile> _appBuilder;
    FileBuilder<UserFile> _userBuilder;
};

TEST_F( InVariableBuilderTest, OfAnySourcesWithAValueTheOneClosestToThePersonWins ) {
    const ArgAlias arg( "dir:", "" );
    InVariable<const char*> variable( "ombra::test::dir", _package, arg,
                                      EnvAlias( "QV_TEST_DIR_VALUE", "" ),
                                      InContextAlias<Registry, 0>( "ombra::test::dir", "" ),
                                      InContextAlias<Fallback, 0>( "ombra::test::dir", "" ) );
    const char* const names[] = { "arg", "env", "user", "app", "registry", "fallback" };
    for( unsigned int set = 0; set < 64; ++set ) {
        const auto valueOf = [&]( unsigned int source ) {
            return ( set >> source & 1U ) != 0 ? names[source] : nullptr;
        };
        const CommandLine line( valueOf( 0 ) ? std::vector{ "dir:arg" }
                                             : std::vector<const char*>() );
        const ScopedEnvironment environment = valueOf( 1 )
                                                  ? ScopedEnvironment( "QV_TEST_DIR_VALUE", "env" )
                                                  : ScopedEnvironment( "QV_TEST_DIR_VALUE" );
        const auto setFile = [&]( auto& values, unsigned int source ) {
            values.clear();
            if( valueOf( source ) ) {
                values[variable.getKey()] = valueOf( source );
            }
        };
        setFile( UserFile::values(), 2 );
        setFile( AppFile::values(), 3 );
        setFile( Registry::values(), 4 );
        setFile( Fallback::values(), 5 );
        variable.resolve();

        const InContextAliasBase* expectedOrigin = nullptr;
        ASSERT_EQ( variable.getSources().size(), 6U );
        for( unsigned int i = 0; i < 6; ++i ) {
            const InContextAliasBase* const source = variable.getSources()[i];
            EXPECT_STREQ( source->getValue(), valueOf( i ) );
            expectedOrigin = !expectedOrigin && valueOf( i ) ? source : expectedOrigin;
        }
        EXPECT_EQ( variable.getOrigin(), expectedOrigin );
        EXPECT_STREQ( variable.getValue(), expectedOrigin ? expectedOrigin->getValue() : nullptr );
    }
}

TEST_F( InVariableBuilderTest, BuildersServeUntilTheyAreGoneAndAValueUntilTheNextResolution ) {
    InVariable<const char*> variable( "ombra::test::dir", _package );
    UserFile::values()["ombra::test::dir"] = "user";
    AppFile::values()["ombra::test::dir"] = "app";
    variable.resolve();
    InVariableBase::unregisterUserContextAliasBuilders();
    EXPECT_STREQ( variable.getValue(), "user" );
    variable.resolve();
    EXPECT_STREQ( variable.getValue(), "app" );
    InVariableBase::unregisterAppContextAliasBuilders();
    variable.resolve();
    EXPECT_FALSE( variable.isValid() );
}

TEST_F( InVariableBuilderTest, ASecondVariableWithTheSameKeyIsRefusedAndHasNoValue ) {
    UserFile::values()["ombra::test::dir"] = "user";
    InVariable<const char*> first( "ombra::test::dir", _package );
    InVariable<const char*> second( "ombra::test::dir", _package, DefAlias( "default", "" ) );
    first.resolve();
    EXPECT_THROW( second.resolve(), InEx::ExContextAliasAlreadyDefined );
    EXPECT_FALSE( second.isValid() );
    EXPECT_STREQ( first.getValue(), "user" );
}

TEST_F( InVariableTest, TheDumpTellsWhatEachSourceHoldsAndWhichOneCounts ) {
    InVariable<int> variable( "ombra::test::number", _package,
                              EnvAlias( "QV_TEST_NUMBER", "A number" ), DefAlias( "3", "Three" ) );
    for( const bool isSet : { false, true } ) {
        const ScopedEnvironment environment = isSet ? ScopedEnvironment( "QV_TEST_NUMBER", "7" )
                                                    : ScopedEnvironment( "QV_TEST_NUMBER" );
        variable.resolve();
        std::ostringstream text;
        dumpAliases( text, { &_package } );
        const std::string env = std::string( "Context aliases of type: : InInitEnv\n"
                                             "Key             : QV_TEST_NUMBER\n"
                                             "     Description: A number\n"
                                             "     Value      : " ) +
                                ( isSet ? "7" : "(uninitialized)" ) +
                                "\n     Variable   : ombra::test::number" +
                                ( isSet ? ", which takes it" : "" ) + "\n----\n";
        EXPECT_THAT( text.str(), ::testing::StartsWith( env ) );
        EXPECT_THAT( text.str(),
                     HasSubstr( isSet ? "number\n----" : "number, which takes it\n----" ) );
    }
}

TEST( InContextAliasTest, ATrackedKeyIsTakenUntilItsLastCopyDies ) {
    OPtr<InContextAliasBase> copy;
    {
        const ArgAlias alias( "twice:", "" );
        copy.reset( alias.clone() );
    }
    EXPECT_THROW( ArgAlias( "twice:", "" ), InEx::ExContextAliasAlreadyDefined );
    copy.reset();
    EXPECT_NO_THROW( ArgAlias( "twice:", "" ) );
}

TEST( InContextAliasMgrBaseTest, TakesWhatAliasesNameAndKeepsTheRestInOrder ) {
    const struct {
        std::vector<const char*> _args;
        const char* _path;
        const char* _p;
        std::vector<std::string> _rest;
    } cases[] = {
        { {}, nullptr, nullptr, {} },
        { { "a", "path:/x", "b" }, "/x", nullptr, { "a", "b" } },
        { { "a", "path:", "/x", "b" }, "/x", nullptr, { "a", "b" } },
        { { "path:1", "path:2" }, "2", nullptr, {} },
        { { "path:", "p:1" }, "p:1", nullptr, {} },
        { { "p:1", "path:2" }, "2", "1", {} },
        { { "p:ath:2" }, nullptr, "ath:2", {} },
        { { "p:x:2" }, nullptr, nullptr, {} },
        { { "a", "path:" }, nullptr, nullptr, { "a", "path:" } },
        { { "mypath:1", "Path:1", "" }, nullptr, nullptr, { "mypath:1", "Path:1", "" } },
        { { "path:", "" }, "", nullptr, {} },
    };
    const ArgAlias path( "path:", "" );
    const ArgAlias p( "p:", "" );
    const ArgAlias longer( "p:x:", "" );
    for( const auto& c : cases ) {
        const CommandLine line( c._args );
        EXPECT_STREQ( InContextAliasMgrBase::getArgument( "path:" ), c._path );
        EXPECT_STREQ( InContextAliasMgrBase::getArgument( "p:" ), c._p );
        EXPECT_EQ( unboundArgs(), c._rest );
        EXPECT_STREQ( InContextAliasMgrBase::getApplicationName(), "program" );
        std::vector<std::string> kept = c._rest;
        kept.insert( kept.begin(), "program" );
        EXPECT_EQ( line.kept(), kept );
        EXPECT_TRUE( line.isTerminated() );
    }
}

TEST( InContextAliasMgrBaseTest, AnEmptyCommandLineHasNoName ) {
    int argc = 0;
    const char* none[] = { nullptr };
    const char* const* argv = none;
    InContextAliasMgrBase::bindArguments( argc, argv );
    EXPECT_EQ( argc, 0 );
    EXPECT_EQ( argv[0], nullptr );
    EXPECT_STREQ( InContextAliasMgrBase::getApplicationName(), "" );
}

TEST( InUtilsTest, CStringsSortByUnsignedCharacters ) {
    const InUtils::LtStr less;
    EXPECT_TRUE( less( "z", "\xc3\xa4" ) );
    EXPECT_FALSE( less( "a", "a" ) );
}

} // namespace

} // namespace Qv
