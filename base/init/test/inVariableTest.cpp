#include <base/failure/assertions.h>
#include <base/init/inContextAlias.h>
#include <base/init/inContextAliasBuilder.h>
#include <base/init/inContextAliasMgrBase.h>
#include <base/init/inEx.h>
#include <base/init/inInit.h>
#include <base/init/inInitGuard.h>
#include <base/init/inSingletonEx.h>
#include <base/init/inVariable.h>
#include <base/init/src/inAliasDump.h>
#include <base/init/src/inPackageFrame.h>
#include <base/values/dtTimeEx.h>
#include <base/values/rationalEx.h>
#include <tests/support/raisedBy.h>
#include <tests/support/scopedEnvironment.h>

#include <gmock/gmock.h>

#include <algorithm>
#include <initializer_list>
#include <limits>
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
    dependsOn<QvInit::base>();
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

InInit<QvInit::variableTest> package;
const InContextAlias<InInitArg, 1> startArg( "startArg:", "" );
InVariable<const char*> startVariable( "ombra::test::start", package, startArg,
                                       InContextAlias<InInitDef, 0>( "built in", "" ) );

using ::testing::AllOf;
using ::testing::ElementsAre;
using ::testing::ElementsAreArray;
using ::testing::HasSubstr;

using EnvAlias = InContextAlias<InInitEnv, 0>;
using DefAlias = InContextAlias<InInitDef, 0>;
using ArgAlias = InContextAlias<InInitArg, 1>;

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

    /// Up to the null behind the last.
    std::vector<std::string> kept() const {
        EXPECT_EQ( _argv[_argc], nullptr );
        return { _argv, _argv + _argc };
    }

private:
    int _argc;
    const char* const* _argv;
};

/// A source whose value a test sets, tracked by key as the init files' sources are.
template <int Priority>
struct FileSource {
    static constexpr int getPriority() { return Priority; }
    static constexpr const char* getSourceString() { return "FileSource"; }
    static void initialize( InContextAliasBase& alias ) { alias.initialize( value ); }
    static InContextAliasKeys& getKeys() {
        static InContextAliasKeys keys;
        return keys;
    }
    static inline const char* value = nullptr;
};
using Fallback = FileSource<0>;
using AppFile = FileSource<2>;
using UserFile = FileSource<3>;
using Registry = FileSource<5>;

struct UnaskedSource {
    static constexpr int getPriority() { return 1; }
    static constexpr const char* getSourceString() { return "UnaskedSource"; }
    static void initialize( InContextAliasBase& alias ) { alias.initialize( nullptr ); }
    static void dumpUnasked( std::ostream& stream ) { stream << "what nobody asks for\n"; }
};

template <class Source>
class FileBuilder : public InContextAliasBuilder {
public:
    OPtrRet<InContextAliasBase> build( const InVariableBase& variable ) override {
        return OPtr<InContextAliasBase>(
            new InContextAlias<Source, 1>( variable.getKey(), "A file" ) );
    }
};

TEST( InVariableTest, TenTemporarySourcesAreAllAskedUntilTheVariableLeavesItsPackage ) {
    OPtr<InVariable<int>> variable;
    {
        std::string name = "QV_TEST_NOT_SET";
        const EnvAlias none( name.c_str(), "" );
        variable.reset( new InVariable<int>( "ombra::test::ten", package, none, none, none, none,
                                             none, none, none, none, none,
                                             EnvAlias( "QV_TEST_NUMBER", "" ) ) );
        name.assign( name.size(), 'x' );
    }
    const ScopedEnvironment environment( "QV_TEST_NUMBER", "10" );
    variable->resolve();
    EXPECT_EQ( variable->getValue(), 10 );
    EXPECT_EQ( package.getVariables().back(), variable.get() );
    variable.reset();
    EXPECT_THAT( package.getVariables(), ElementsAre( &startVariable ) );
}

TEST( InVariableTest, AVariableWhoseValueIsGoneIsInvalidAndZero ) {
    InVariable<int> number( "ombra::test::number", package, EnvAlias( "QV_TEST_NUMBER", "" ) );
    InVariable<bool> flag( "ombra::test::flag", package, EnvAlias( "QV_TEST_NUMBER", "" ) );
    for( const char* const value : { "7", static_cast<const char*>( nullptr ) } ) {
        const ScopedEnvironment environment( "QV_TEST_NUMBER", value );
        number.resolve();
        flag.resolve();
        EXPECT_EQ( number.isValid() && flag.isValid(), value != nullptr );
        EXPECT_EQ( number.getValue(), value ? 7 : 0 );
        EXPECT_EQ( flag.getValue(), value != nullptr );
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

TEST( InVariableTest, TextThatIsNoWholeNumberOrTruthValueIsNoValue ) {
    expectParsed<int>( { "8", "+8", " 8 \t" }, 8 );
    expectParsed<int>( { "2147483647" }, std::numeric_limits<int>::max() );
    expectParsed<int>( { "-2147483648" }, std::numeric_limits<int>::min() );
    expectParsed<int>( { "2147483648", "", "  ", "12abc", "1 2", "+-3", "++3", "0x10", "1.5" },
                       {} );
    expectParsed<bool>( { "-1", "2", "99999999999999999999", "TRUE", " True " }, true );
    expectParsed<bool>( { "0", "00", "-0", "false", "False" }, false );
    expectParsed<bool>( { "", "truely", "tru", "yes", "1x" }, {} );
}

TEST( InVariableTest, MalformedTextIsReportedTheNextSourceIsTriedAndDebugTellsWhich ) {
    const ScopedEnvironment environment( "QV_TEST_NUMBER", "many\x1b[2J\n" );
    InVariable<int> variable( "ombra::test::number", package, EnvAlias( "QV_TEST_NUMBER", "" ),
                              DefAlias( "3", "built in" ) );
    for( const bool isDebugging : { false, true } ) {
        const ScopedEnvironment debug( "QV_INIT_DEBUG", isDebugging ? "3" : "2" );
        ::testing::internal::CaptureStderr();
        variable.resolve();
        const std::string report = ::testing::internal::GetCapturedStderr();
        EXPECT_EQ( variable.getValue(), 3 );
        EXPECT_THAT( report, AllOf( HasSubstr( "ombra::test::number" ),
                                    HasSubstr( "QV_TEST_NUMBER" ), HasSubstr( "many?[2J?" ) ) );
        EXPECT_EQ( std::count( report.begin(), report.end(), '\n' ), isDebugging ? 2 : 1 )
            << report;
    }
}

TEST( InVariableTest, TheGuardBindsTheCommandLineAndResolvesBeforeAPackageStarts ) {
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

TEST( InVariableTest, AStartWithWhatTheFormerHasLeftBindsTheSameArgumentsAgain ) {
    InPackageFrame::getInstance().stop();
    std::string args[] = { "program", "startArg:given", "late:later", "b" };
    char* pointers[] = { args[0].data(), args[1].data(), args[2].data(), args[3].data(), nullptr };
    int argc = 4;
    char** argv = pointers;
    { const InInitGuard first( argc, argv ); }
    for( int start = 0; start < 2; ++start ) {
        const ArgAlias late( "late:", "" );
        const InInitGuard again( argc, argv );
        EXPECT_EQ( valueAtStart, "given" );
        EXPECT_STREQ( InContextAliasMgrBase::getArgument( "late:" ), "later" );
        EXPECT_THAT( std::vector<std::string>( argv, argv + argc ), ElementsAre( "program", "b" ) );
    }
    argc = 1;
    argv = pointers;
    { const InInitGuard another( argc, argv ); }
    EXPECT_EQ( valueAtStart, "built in" );
    InPackageFrame::getInstance().start();
}

class InVariableBuilderTest : public ::testing::Test {
protected:
    InVariableBuilderTest() {
        InVariableBase::registerAppContextAliasBuilders( &_appBuilder );
        InVariableBase::registerUserContextAliasBuilders( &_userBuilder );
        UserFile::value = "user";
        AppFile::value = "app";
    }
    ~InVariableBuilderTest() override {
        InVariableBase::unregisterAppContextAliasBuilders();
        InVariableBase::unregisterUserContextAliasBuilders();
    }

    FileBuilder<AppFile> _appBuilder;
    FileBuilder<UserFile> _userBuilder;
};

TEST_F( InVariableBuilderTest, OfAnySourcesWithAValueTheOneClosestToThePersonWins ) {
    const ArgAlias arg( "dir:", "" );
    const ArgAlias otherArg( "d:", "" );
    InVariable<const char*> variable( "ombra::test::dir", package, arg, otherArg,
                                      EnvAlias( "QV_TEST_DIR_VALUE", "" ),
                                      InContextAlias<Registry, 0>( "ombra::test::dir", "" ),
                                      InContextAlias<Fallback, 0>( "ombra::test::dir", "" ) );
    // An empty value is one, too.
    const char* const names[] = { "arg", "other", "", "user", "app", "registry", "fallback" };
    for( unsigned int set = 0; set < 128; ++set ) {
        const auto valueOf = [&]( unsigned int source ) {
            return ( set >> source & 1U ) != 0 ? names[source] : nullptr;
        };
        const CommandLine line( { valueOf( 1 ) ? "d:other" : "", valueOf( 0 ) ? "dir:arg" : "" } );
        const ScopedEnvironment environment( "QV_TEST_DIR_VALUE", valueOf( 2 ) );
        unsigned int next = 3;
        for( const char** const value :
             { &UserFile::value, &AppFile::value, &Registry::value, &Fallback::value } ) {
            *value = valueOf( next++ );
        }
        variable.resolve();

        const InContextAliasBase* expectedOrigin = nullptr;
        ASSERT_EQ( variable.getSources().size(), std::size( names ) );
        for( unsigned int i = 0; i < std::size( names ); ++i ) {
            const InContextAliasBase* const source = variable.getSources()[i];
            EXPECT_STREQ( source->getValue(), valueOf( i ) );
            expectedOrigin = !expectedOrigin && valueOf( i ) ? source : expectedOrigin;
        }
        EXPECT_EQ( variable.getOrigin(), expectedOrigin );
        EXPECT_STREQ( variable.getValue(), expectedOrigin ? expectedOrigin->getValue() : nullptr );
    }
}

TEST_F( InVariableBuilderTest, BuildersServeUntilTheyAreGoneAndAValueUntilTheNextResolution ) {
    InVariable<const char*> variable( "ombra::test::dir", package );
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
    InVariable<const char*> first( "ombra::test::dir", package );
    InVariable<const char*> second( "ombra::test::dir", package, DefAlias( "default", "" ) );
    first.resolve();
    EXPECT_THROW( second.resolve(), InEx::ExContextAliasAlreadyDefined );
    EXPECT_FALSE( second.isValid() );
    EXPECT_STREQ( first.getValue(), "user" );
}

TEST( InVariableTest, TheDumpTellsWhatEachSourceHoldsAndWhichOneCounts ) {
    const ScopedEnvironment environment( "QV_TEST_NUMBER" );
    InVariable<int> variable( "ombra::test::number", package,
                              EnvAlias( "QV_TEST_NUMBER", "A number" ), DefAlias( "3", "Three" ) );
    variable.resolve();
    InVariable<const char*> textVariable( "ombra::test::text", package,
                                          DefAlias( "a\x1b[2J\nb", "c\xc2\x9b" ),
                                          InContextAlias<UnaskedSource, 0>( "key", "" ) );
    textVariable.resolve();
    std::ostringstream text;
    dumpAliases( text, { &package } );
    EXPECT_THAT( text.str(), HasSubstr( "Context aliases of type: : InInitEnv\n"
                                        "Key             : QV_TEST_NUMBER\n"
                                        "     Description: A number\n"
                                        "     Value      : (uninitialized)\n"
                                        "     Variable   : ombra::test::number\n"
                                        "----\n" ) );
    EXPECT_THAT( text.str(),
                 HasSubstr( "     Value      : 3\n"
                            "     Variable   : ombra::test::number, which takes it\n" ) );
    EXPECT_THAT( text.str(), HasSubstr( "     Description: c?\n"
                                        "     Value      : a?[2J?b\n" ) );
    EXPECT_THAT( text.str(), HasSubstr( "     Variable   : ombra::test::text\n"
                                        "what nobody asks for\n"
                                        "----\n" ) );
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

TEST( InContextAliasTest, ReasonsHoldNamesOfAnyLength ) {
    const std::string name( 3000, 'n' );
    const ArgAlias alias( name.c_str(), "" );
    EXPECT_EQ( raisedBy( [&] { ArgAlias( name.c_str(), "" ); } ),
               "Registering " + name + " twice." );
    EXPECT_EQ( InSingletonEx::ExNotInitialized( QV_HERE, name.c_str() ).getReason(),
               "Singleton " + name + " isn't initialized." );
    EXPECT_EQ( RationalEx::ExBadFormat( QV_HERE, name.c_str(), "a number" ).getReason(),
               '"' + name + "\" is not a number." );
    EXPECT_EQ( RationalEx::ExOutOfRange( QV_HERE, name.c_str() ).getReason(),
               '"' + name + "\" is out of the range of a fraction." );
    EXPECT_EQ( DtTimeEx::ExOutOfRange( QV_HERE, name.c_str() ).getReason(),
               name + ": the time index is out of range." );
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
        EXPECT_THAT( InContextAliasMgrBase::getUnboundArgs(), ElementsAreArray( c._rest ) );
        EXPECT_STREQ( InContextAliasMgrBase::getApplicationName(), "program" );
        std::vector<std::string> kept = c._rest;
        kept.insert( kept.begin(), "program" );
        EXPECT_EQ( line.kept(), kept );
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
