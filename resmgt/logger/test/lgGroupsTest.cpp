#include <resmgt/logger/lgEx.h>
#include <resmgt/logger/lgGroups.h>

#include <base/failure/assertions.h>
#include <tests/support/raisedBy.h>

#include <gmock/gmock.h>

#include <iomanip>
#include <sstream>
#include <stdexcept>
#include <thread>
#include <utility>

namespace Qv {

namespace LgGroups {

constinit LgPackageGroup MinorLevelStudio( "Studio", "Render" );

} // namespace LgGroups

namespace {

using ::testing::HasSubstr;

/// New tables for a test, and the default threshold of before behind it.
class LgGroupsTest : public ::testing::Test {
protected:
    LgGroupsTest() {
        LgMajorGroup::finalize();
        LgMajorGroup::initialize( nullptr );
    }
    ~LgGroupsTest() override { LgMajorGroup::setDefaultThreshold( LgTypes::Informational ); }

    static unsigned int getLevels( const char* name ) {
        return LgMajorGroup::getInstanceForName( name ).getLogLevels();
    }
    /// By a stream with settings of its own, which it keeps.
    static std::string printed() {
        std::ostringstream text;
        text << std::hex << std::right << std::setfill( '*' ) << std::setw( 4 );
        LgMajorGroup::printAll( text );
        const std::string groups = text.str();
        text.str( "" );
        text << 255;
        EXPECT_EQ( text.str(), "**ff" );
        return groups;
    }
};

TEST( LgTypesTest, LevelsHaveTheirNamesAndNoOtherTextNamesOne ) {
    const char* const names[] = { "Internal Error", "Fatal Error",  "Error",
                                  "Warning",        "User Message", "Support",
                                  "Informational",  "Tracing",      "Profiling" };
    for( int l = 0; l < LgTypes::NUM_LEVELS; ++l ) {
        EXPECT_STREQ( LgTypes::getLevelName( static_cast<LgTypes::Level>( l ) ), names[l] );
        EXPECT_EQ( LgTypes::getLevel( names[l] ), l );
    }
    for( const char* const text :
         { "", "warning", "Warning ", " Warning", "Warn", "UserMessage" } ) {
        EXPECT_STREQ(
            raisedBy<LgEx::InvalidLevelString>( [&] { LgTypes::getLevel( text ); } ).c_str(),
            ( std::string( "Invalid level string specified: " ) + text ).c_str() );
    }
    for( const int l : { -1, 9 } ) {
        EXPECT_THAT( raisedBy<ExAssertionFailed>(
                         [&] { LgTypes::getLevelName( static_cast<LgTypes::Level>( l ) ); } ),
                     HasSubstr( "l < NUM_LEVELS" ) );
    }
    EXPECT_THAT( raisedBy<ExAssertionFailed>( [] { LgTypes::getLevel( nullptr ); } ),
                 HasSubstr( "name" ) );
}

TEST_F( LgGroupsTest, AThresholdOpensItsLevelAndTheGraverOnes ) {
    const struct {
        LgTypes::Level threshold;
        unsigned int opened, withProfiling, asDefault;
    } cases[] = {
        { LgTypes::InternalError, 0x300, 0x302, 0x300 },
        { LgTypes::FatalError, 0x300, 0x302, 0x300 },
        { LgTypes::Error, 0x380, 0x382, 0x380 },
        { LgTypes::Warning, 0x3c0, 0x3c2, 0x3c0 },
        { LgTypes::UserMessage, 0x3e0, 0x3e2, 0x3e0 },
        { LgTypes::Support, 0x3f0, 0x3f2, 0x3f0 },
        { LgTypes::Informational, 0x3f8, 0x3fa, 0x3f8 },
        { LgTypes::Tracing, 0x3fc, 0x3fe, 0x3fc },
        { LgTypes::Profiling, 0x3fa, 0x3fa, 0x002 },
    };
    EXPECT_EQ( getLevels( "fresh" ), 0x3f8U );
    EXPECT_EQ( LgMajorGroup::getLevelMask( LgTypes::InternalError ), 0x200U );
    for( const auto& c : cases ) {
        SCOPED_TRACE( LgTypes::getLevelName( c.threshold ) );
        LgMajorGroup::setDefaultThreshold( LgTypes::Informational );
        LgMajorGroup group;
        group.setLogThreshold( c.threshold, true );
        EXPECT_EQ( group.getLogLevels(), c.opened );
        group.setLogThreshold( LgTypes::Profiling, true );
        group.setLogThreshold( c.threshold, false );
        EXPECT_EQ( group.getLogLevels(), c.withProfiling );
        LgMajorGroup::setDefaultThreshold( c.threshold );
        EXPECT_EQ( LgMajorGroup().getLogLevels(), c.asDefault );
    }
    using Setter = void ( * )( LgTypes::Level );
    for( const Setter set :
         { Setter( []( LgTypes::Level l ) { LgMajorGroup::setDefaultThreshold( l ); } ),
           Setter( []( LgTypes::Level l ) { LgMajorGroup().setLogThreshold( l, true ); } ),
           Setter( []( LgTypes::Level l ) { LgMajorGroup::getLevelMask( l ); } ) } ) {
        for( const int l : { -1, 9 } ) {
            EXPECT_THAT(
                raisedBy<ExAssertionFailed>( [&] { set( static_cast<LgTypes::Level>( l ) ); } ),
                HasSubstr( "l < NUM_LEVELS" ) );
        }
    }
}

TEST_F( LgGroupsTest, SettingsAreReadAsPairsAndTakenWholeOrRefused ) {
    const std::string before = "Major Groups:\n";
    const std::string error = "Internal Error, Fatal Error";
    const std::pair<const char*, std::string> cases[] = {
        { "", "" },
        { "a=Fatal Error", "a               " + error + '\n' },
        { "b=Error,a=Fatal Error",
          "a               " + error + "\nb               " + error + ", Error\n" },
        { "a=Error,a=Profiling", "a               " + error + ", Error, Profiling\n" },
        { "a=Profiling,a=Internal Error", "a               " + error + ", Profiling\n" },
        // As the delimiters are skipped, and blanks aren't.
        { "==a=,,Fatal Error,", "a               " + error + '\n' },
        { "a=Fatal Error,,b=Fatal Error",
          ",b              " + error + "\na               " + error + '\n' },
        { " a name that is long =Fatal Error", " a name that is long  " + error + '\n' },
    };
    for( const auto& [text, expected] : cases ) {
        SCOPED_TRACE( text );
        LgMajorGroup::finalize();
        LgMajorGroup::initialize( text );
        EXPECT_EQ( printed(), before + expected );
    }
    const std::string last = printed();
    for( const char* const text : { "b=Error,a=Fatal", "b=Error,a==Error", "b= Error" } ) {
        EXPECT_THROW( LgMajorGroup::parse( text ), LgEx::InvalidLevelString ) << text;
    }
    for( const char* const text : { "b=Error,a", "b=Error,a=", "a" } ) {
        EXPECT_THROW( LgMajorGroup::parse( text ), ExAssertionFailed ) << text;
    }
    EXPECT_EQ( printed(), last );
    LgMajorGroup::parse( "b=Error" );
    EXPECT_THAT( LgMajorGroup::getNamesNobodyAskedFor(),
                 ::testing::ElementsAre( " a name that is long ", "b" ) );
    EXPECT_EQ( getLevels( "b" ), 0x380U );
    EXPECT_THAT( LgMajorGroup::getNamesNobodyAskedFor(),
                 ::testing::ElementsAre( " a name that is long " ) );
}

TEST_F( LgGroupsTest, TablesAreThereFromInitializeToFinalizeAndGroupsOutliveThem ) {
    LgMajorGroup& group = LgMajorGroup::getInstanceForName( "kept" );
    group.setLogThreshold( LgTypes::Tracing, false );
    const auto assertedBy = []( auto&& call ) { return raisedBy<ExAssertionFailed>( call ); };
    EXPECT_THAT( assertedBy( [] { LgMajorGroup::initialize( "" ); } ), HasSubstr( "!names" ) );
    LgMajorGroup::finalize();
    EXPECT_EQ( group.getLogLevels(), 0x3fcU );
    EXPECT_THAT( assertedBy( [] { LgMajorGroup::finalize(); } ), HasSubstr( "names" ) );
    EXPECT_THAT( assertedBy( [] { LgMajorGroup::parse( "a=b" ); } ), HasSubstr( "names" ) );
    EXPECT_THAT( assertedBy( [] { LgMajorGroup::parse( nullptr ); } ), HasSubstr( "groups" ) );
    EXPECT_THAT( assertedBy( [] { getLevels( "kept" ); } ), HasSubstr( "names" ) );
    EXPECT_THROW( LgMajorGroup::initialize( "a=Error,b=c" ), LgEx::InvalidLevelString );
    LgMajorGroup::initialize( "" );
    EXPECT_EQ( printed(), "Major Groups:\n" );
    EXPECT_EQ( &LgMajorGroup::getInstanceForName( "kept" ), &group );
    EXPECT_EQ( group.getLogLevels(), 0x3f8U );
}

TEST_F( LgGroupsTest, TwoThreadsThatSwitchAGroupLoseNeitherPart ) {
    LgMajorGroup& group = LgMajorGroup::getInstanceForName( "shared" );
    std::thread other( [&] {
        for( int i = 0; i < 10000; ++i ) {
            group.setLogThreshold( i % 2 != 0 ? LgTypes::Error : LgTypes::Tracing, false );
        }
    } );
    for( int i = 0; i < 10000; ++i ) {
        group.setLogThreshold( LgTypes::Profiling, false );
        ASSERT_TRUE( group.isLevelEnabled( LgTypes::Profiling ) );
    }
    other.join();
    EXPECT_EQ( group.getLogLevels(), 0x382U );
}

TEST_F( LgGroupsTest, APackagesGroupIsThereFromItsCreationToItsEnd ) {
    LgPackageGroup& place = LgGroups::MinorLevelStudio;
    LgMajorGroup::setDefaultThreshold( LgTypes::Error );
    EXPECT_TRUE( LgGroups::QV_XGLUE( MinorLevel, Studio ) == 0 );
    EXPECT_TRUE( place.isLevelEnabled( LgTypes::Error ) );
    EXPECT_FALSE( place.isLevelEnabled( LgTypes::Warning ) );
    EXPECT_THROW( place.create( [] { throw std::runtime_error( "start" ); } ), std::runtime_error );
    EXPECT_TRUE( place == nullptr );

    place.create( [] {} );
    const LgMinorGroup* const group = place;
    LgMajorGroup::parse( "Studio=Tracing" );
    EXPECT_TRUE( place.isLevelEnabled( LgTypes::Tracing ) );
    EXPECT_TRUE( group->isLevelEnabled( LgTypes::Tracing ) );
    EXPECT_EQ( group->getFormattedName( 8 ), "Render  " );
    EXPECT_EQ( group->getFormattedName( 3 ), "Render" );
    EXPECT_THROW( place.destroy( [] { throw std::runtime_error( "stop" ); } ), std::runtime_error );
    EXPECT_TRUE( place == nullptr );
    place.create();
    EXPECT_EQ( place, group );
    place.destroy();
    EXPECT_THAT( raisedBy<ExAssertionFailed>(
                     [] { LgMinorGroup( LgMajorGroup::getInstanceForName( "a" ), nullptr ); } ),
                 HasSubstr( "name" ) );
}

TEST( LgGroupsDeathTest, APackageThatStartsTwiceOrStopsWithoutAStartEndsTheProcess ) {
    EXPECT_DEATH( LgGroups::MinorLevelLogger.create(),
                  "LgGroups::QV_XGLUE\\( MinorLevel, Logger \\) == 0" );
    EXPECT_DEATH( LgGroups::MinorLevelContent.destroy(),
                  "LgGroups::QV_XGLUE\\( MinorLevel, Content \\) != 0" );
}

} // namespace
} // namespace Qv
