#include <resmgt/logger/lgLog.h>

#include <base/failure/assertions.h>
#include <base/text/wideStringUtil.h>
#include <resmgt/logger/lgMajorGroup.h>
#include <resmgt/logger/lgQueue.h>
#include <resmgt/logger/lgSimpleRegistry.h>
#include <resmgt/logger/lgTrace.h>
#include <resmgt/logger/qvLog.h>
#include <resmgt/logger/src/lgLevelSettings.h>
#include <resmgt/logger/src/lgPrefix.h>
#include <resmgt/logger/test/loggerRun.h>
#include <resmgt/profiling/hwCounter.h>

#include <tests/support/childProcess.h>
#include <tests/support/failingNew.h>
#include <tests/support/tempDirectory.h>
#include <tests/support/testThread.h>

#include <gmock/gmock.h>

#include <algorithm>
#include <fstream>
#include <iomanip>
#include <limits>
#include <regex>
#include <sstream>

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

namespace Qv {

namespace {

using testing::AllOf;
using testing::EndsWith;
using testing::HasSubstr;
using testing::MatchesRegex;
using testing::Not;
using testing::StartsWith;

std::vector<std::string> readLines( const std::filesystem::path& path ) {
    std::istringstream text( readFile( path ) );
    std::vector<std::string> lines;
    for( std::string line; std::getline( text, line ); ) {
        lines.push_back( line );
    }
    return lines;
}

long countLines( const std::filesystem::path& path, const std::string& part ) {
    const auto lines = readLines( path );
    return std::ranges::count_if(
        lines, [&]( const std::string& line ) { return line.find( part ) != line.npos; } );
}

std::string makePrefix( const char* threadName = nullptr, unsigned long threadId = 0 ) {
    std::ostringstream stream;
    LgLog::printPrefix( stream, 0, LgTypes::Warning, threadName, threadId );
    return stream.str();
}

/// Until it is time for the next look, which comes once a second.
template <class Condition>
bool maintainUntil( Condition condition ) {
    const double deadline = HwCounter::seconds() + 30.0;
    while( !condition() ) {
        if( HwCounter::seconds() > deadline ) {
            return false;
        }
        LgLog::maintain();
        ::usleep( 1000 );
    }
    return true;
}

} // namespace

TEST( LgLogTest, ALevelsVariableIsReadAsFlagsAndAName ) {
    LgLog::LevelInfo usual;
    usual.enabled = true;
    usual.osLogged = true;
    usual.file = L"usual.log";
    struct Case {
        const char* value;
        const char* flags;
        const wchar_t* file;
    };
    for( const Case& each : { Case{ nullptr, "e*", L"usual.log" },
                              { "", "e*", L"usual.log" },
                              { "--", "", L"" },
                              { "--x", "", L"" },
                              { "-", "e", L"-" },
                              { "%", "e%", L"" },
                              { "%--", "e%", L"--" },
                              { "%+*out.txt", "e%+*", L"out.txt" },
                              { "%+*%out.txt", "e%+*", L"%out.txt" },
                              { "***+x", "e*", L"+x" },
                              { "out%+", "e", L"out%+" },
                              { "+a b\xff", "e+", L"a b\xdcff" } } ) {
        const LgLog::LevelInfo info = LgLevelSettings::parseEnvVar( each.value, usual );
        const std::string flags = std::string( info.enabled ? "e" : "" ) +
                                  ( info.echoed ? "%" : "" ) + ( info.appended ? "+" : "" ) +
                                  ( info.osLogged ? "*" : "" );
        EXPECT_EQ( flags, each.flags ) << ( each.value ? each.value : "unset" );
        EXPECT_EQ( info.file, each.file ) << ( each.value ? each.value : "unset" );
    }
}

TEST( LgLogTest, DefaultsFollowTheSurroundings ) {
    const ScopedEnvironment unspecified( "QV_LOG_UNSPECIFIED" );
    const ScopedEnvironment warning( "QV_LOG_WARNING", "%" );
    for( const bool isEchoed : { false, true } ) {
        for( const bool isRedirected : { false, true } ) {
            const auto levels =
                LgLevelSettings::read( { isEchoed, true, isRedirected, L"main", L"trace" } );
            EXPECT_EQ( levels[LgTypes::Error].echoed, isEchoed && !isRedirected );
            EXPECT_TRUE( levels[LgTypes::Error].osLogged );
            EXPECT_FALSE( levels[LgTypes::Support].echoed || levels[LgTypes::Support].osLogged );
            EXPECT_EQ( levels[LgTypes::Profiling].file, L"main" );
            EXPECT_EQ( levels[LgTypes::Tracing].file, isRedirected ? L"trace" : L"" );
            EXPECT_EQ( levels[LgTypes::Tracing].echoed, isEchoed && !isRedirected );
            EXPECT_EQ( levels[LgTypes::Warning].file, L"" );
            EXPECT_FALSE( levels[LgTypes::Warning].osLogged );
            const auto filed =
                LgLevelSettings::read( { isEchoed, true, isRedirected, L"main", L"trace", true } );
            EXPECT_EQ( filed[LgTypes::Tracing].file, L"main" );
            EXPECT_FALSE( filed[LgTypes::Tracing].echoed );
        }
    }
}

TEST( LgLogTest, FieldsOfALineKeepTheirForm ) {
    for( const auto& [seconds, text] : { std::pair{ 0.0, "00:00:00.00 " },
                                         { 3.25, "00:00:03.25 " },
                                         { 59.994, "00:00:59.99 " },
                                         { 59.996, "00:01:00.00 " },
                                         { 3599.999, "01:00:00.00 " },
                                         { 360000.0, "100:00:00.00 " },
                                         { -1.0, "00:00:00.00 " } } ) {
        std::string line = "|";
        LgPrefix::appendTime( line, seconds );
        EXPECT_EQ( line, std::string( "|" ) + text );
    }
    std::string line;
    LgPrefix::appendTimeStamp( line, 0x200000003ULL );
    LgPrefix::appendThreadId( line, 0x2a );
    LgPrefix::appendPadded( line, "a longer name", 10 );
    LgPrefix::appendPadded( line, "name", 6 );
    EXPECT_EQ( line, "0000000002 0000000003 (0x0000002a) a longer namename  " );
}

TEST( LgLogTest, OptionsChooseTheFieldsAndTheStreamStaysAsItWas ) {
    auto run =
        std::make_unique<LoggerRun>( LoggerRun::Variables{ { "QV_LOG_UNSPECIFIED", "--" },
                                                           { "QV_LOG_ENABLE_TIMESTAMPS", "1" },
                                                           { "QV_LOG_ENABLE_THREADIDS", "1x" },
                                                           { "QV_LOG_ENABLE_THREADNAMES", "1" } } );
    EXPECT_THAT( makePrefix( "reader", 255 ),
                 MatchesRegex( "[0-9]{10} [0-9]{10} 00:00:[0-9]{2}.[0-9]{2} "
                               "\\[Warning       \\] reader     \\(0x000000ff\\) " ) );
    EXPECT_THAT( makePrefix(), EndsWith( "[Warning       ] " ) );
    std::ostringstream early;
    LgLog::printPrefix( early, LgLog::getStart() - 1, LgTypes::Error, nullptr, 0 );
    EXPECT_THAT( early.str(), StartsWith( "0000000000 0000000000 " ) );
    std::ostringstream stream;
    stream << std::hex << std::setfill( '*' ) << std::setw( 4 );
    LgLog::printPrefix( stream, 0, LgTypes::Error, "a", 1 );
    stream.str( "" );
    stream << 255;
    EXPECT_EQ( stream.str(), "**ff" );

    run.reset();
    const LoggerRun second( { { "QV_LOG_UNSPECIFIED", "--" },
                              { "QV_LOG_ENABLE_TIME", "0" },
                              { "QV_LOG_DISABLE_LOGLEVELS", "1" } } );
    EXPECT_EQ( makePrefix( "reader", 255 ), "" );
}

TEST( LgLogTest, LevelsShareAFileUnderAllItsNamesAndKeepWhatPlusSpares ) {
    const TempDirectory directory;
    const auto file = directory.path() / "both.txt";
    const auto link = directory.path() / "link.txt";
    const auto kept = directory.path() / "kept.txt";
    std::filesystem::create_symlink( file, link );
    std::ofstream( file ) << "old\n";
    std::ofstream( kept ) << "old\n";
    {
        const LoggerRun run( { { "QV_LOG_UNSPECIFIED", "--" },
                               { "QV_LOG_RECOVERABLE_ERROR", file.string() },
                               { "QV_LOG_WARNING", link.string() },
                               { "QV_LOG_SUPPORT_INFO", file.string() },
                               { "QV_LOG_USER_MESSAGE", "+" + kept.string() } } );
        EXPECT_EQ( LgLog::getLevelOutput( LgTypes::Error ),
                   LgLog::getLevelOutput( LgTypes::Warning ) );
        EXPECT_EQ( LgLog::getLevelOutput( LgTypes::Error ),
                   LgLog::getLevelOutput( LgTypes::Support ) );
        LgLog::outputEntry( LgTypes::Error, "prefix ", "error\n" );
        LgLog::outputEntry( LgTypes::Warning, "prefix ", "warning\n" );
        LgLog::outputEntry( LgTypes::Informational, "prefix ", "closed\n" );
        LgLog::outputDirectly( LgTypes::UserMessage, "[Group          ] direct" );
        std::ostringstream dump;
        LgLog::dump( dump );
        EXPECT_THAT( dump.str(), AllOf( HasSubstr( "       Informational: Disabled\n" ),
                                        HasSubstr( kept.string() + " [Append]\n" ),
                                        HasSubstr( "Options:\n   Time\n   No Time stamps\n" ) ) );
    }
    const std::string text = readFile( file );
    EXPECT_THAT( text, AllOf( StartsWith( "Logger started on " ),
                              HasSubstr( "prefix error\nprefix warning\n" ),
                              Not( HasSubstr( "old" ) ), Not( HasSubstr( "closed" ) ) ) );
    EXPECT_EQ( countLines( file, "Logger started on " ), 1 );
    EXPECT_EQ( countLines( file, "Logger stopped on " ), 1 );
    EXPECT_THAT( readFile( kept ),
                 AllOf( StartsWith( "old\nLogger started on " ),
                        HasSubstr( "[User Message  ] [Group          ] direct\n" ) ) );
}

TEST( LgLogTest, DefaultFilesAreNewAndPrivateInTheLogDirectory ) {
    const LoggerRun::Variables variables{ { "QV_LOG_WARNING", "" }, { "QV_LOG_TRACING", "--" } };
    const LoggerRun run( variables );
    const std::string folder = LgLog::getLogPath().toString();
    ASSERT_NE( folder, "" );
    const std::string file = WideStringUtil::narrowMB( LgLog::getLevelFile( LgTypes::Warning ) );
    EXPECT_THAT( file, AllOf( StartsWith( folder + "/loggerTest_" ),
                              EndsWith( "_" + std::to_string( ::getpid() ) + ".log" ) ) );
    struct stat information {};
    ASSERT_EQ( ::stat( file.c_str(), &information ), 0 );
    EXPECT_EQ( information.st_mode & 0777, 0600U );
    EXPECT_EQ( countLines( file, "Logger started on " ), 1 );
    EXPECT_TRUE( std::filesystem::remove( file ) );
}

TEST( LgLogTest, AStartThatFailsLeavesAllAsBefore ) {
    LoggerRun::stop();
    LgLog::enableThreadIds();
    const auto threshold = LgMajorGroup::getDefaultThreshold();
    for( const char* const groups : { "ResMgt=Loud", "ResMgt" } ) {
        const ScopedEnvironment setting( "QV_LOG_GROUPS", groups );
        const ScopedEnvironment level( "QV_LOG_DEFAULT_LEVEL", "Error" );
        const ScopedEnvironment stamps( "QV_LOG_ENABLE_TIMESTAMPS", "1" );
        EXPECT_THROW( LgLog::init(), ExBase ) << groups;
        EXPECT_FALSE( LgLog::isInitialized() );
        EXPECT_FALSE( LgLog::isTimeStampsEnabled() );
        EXPECT_TRUE( LgLog::isThreadIdsEnabled() );
        EXPECT_EQ( LgMajorGroup::getDefaultThreshold(), threshold );
    }
    LoggerRun::start();
    EXPECT_THROW( LgLog::init(), ExAssertionFailed );
    EXPECT_TRUE( LgLog::isInitialized() );
}

TEST( LgLogTest, AFileWhoseNameLeadsElsewhereIsOpenedAnew ) {
    const TempDirectory directory;
    const auto file = directory.path() / "out.txt";
    const auto moved = directory.path() / "moved.txt";
    const LoggerRun run( { { "QV_LOG_UNSPECIFIED", "--" }, { "QV_LOG_WARNING", file.string() } } );
    LgLog::outputEntry( LgTypes::Warning, "", "first\n" );
    std::filesystem::rename( file, moved );
    ASSERT_TRUE( maintainUntil( [&] { return std::filesystem::exists( file ); } ) );
    LgLog::outputEntry( LgTypes::Warning, "", "second\n" );
    EXPECT_THAT( readFile( moved ), AllOf( EndsWith( "first\n" ), Not( HasSubstr( "second" ) ) ) );
    EXPECT_THAT( readFile( file ),
                 AllOf( StartsWith( "Logger started on " ), EndsWith( "second\n" ) ) );
}

TEST( LgLogTest, TheControlFileIsTakenWholeOrRefused ) {
    const TempDirectory directory;
    const auto control = directory.path() / "control";
    const auto file = directory.path() / "out.txt";
    std::ofstream( control ) << "Controlled=Warning";
    const LoggerRun run( { { "QV_LOG_UNSPECIFIED", "--" },
                           { "QV_LOG_SUPPORT_INFO", file.string() },
                           { "QV_LOG_CONTROL", control.string() } } );
    LgLog::maintain();
    const LgMajorGroup& group = LgMajorGroup::getInstanceForName( "Controlled" );
    EXPECT_EQ( group.getLogLevels(), 0x3c0U );
    const auto write = [&]( const std::string& text ) {
        const auto next = directory.path() / "next";
        std::ofstream( next ) << text;
        std::filesystem::rename( next, control );
    };
    write( "Controlled=Tracing\n" );
    EXPECT_TRUE( maintainUntil( [&] { return group.getLogLevels() == 0x3fc; } ) );
    write( "Controlled=Error,Controlled=Loud" );
    EXPECT_TRUE( maintainUntil( [&] { return countLines( file, "is refused" ) == 1; } ) );
    EXPECT_EQ( group.getLogLevels(), 0x3fcU );
    write( std::string( "Controlled=Error\0\nx", 19 ) );
    EXPECT_TRUE( maintainUntil( [&] { return countLines( file, "specified: Error??x" ) == 1; } ) );
    EXPECT_EQ( group.getLogLevels(), 0x3fcU );
    write( "Controlled=Error" );
    EXPECT_TRUE( maintainUntil( [&] { return group.getLogLevels() == 0x380; } ) );
    EXPECT_EQ( countLines( file, "is refused" ), 2 );
}

TEST( LgLogTest, AJsonFileHasAnObjectALine ) {
    const TempDirectory directory;
    const auto file = directory.path() / "out.json";
    const LoggerRun run( { { "QV_LOG_UNSPECIFIED", "%" },
                           { "QV_LOG_WARNING", "/dev/null" },
                           { "QV_LOG_JSON", file.string() } } );
    LgLog::outputEntry(
        { .level = LgTypes::Warning, .timeStamp = 7, .threadName = "a \"b\"", .threadId = 5 },
        "prefix", "[Content        ] x\ty\\\x1b\xc3\xa9\xff\n" );
    LgLog::outputEntry( { .level = LgTypes::Warning, .lostStatements = 3 }, "prefix", "" );
    LgLog::outputEntry( LgTypes::Warning, "", "[a] b" );
    const auto lines = readLines( file );
    ASSERT_EQ( lines.size(), 3U );
    EXPECT_TRUE( std::regex_match(
        lines[0],
        std::regex(
            R"(\{"time":"\d{4}-\d\d-\d\dT\d\d:\d\d:\d\d\.\d{6}Z","stamp":7,"level":"Warning",)"
            R"("group":"Content","thread":"a \\"b\\"","threadId":5,)"
            R"("text":"x\\ty\\\\\\u001b)"
            "\xc3\xa9\xef\xbf\xbd\"\\}" ) ) )
        << lines[0];
    EXPECT_THAT( lines[1], HasSubstr( "\"lost\":3,\"text\":\"Event overflow [3]\"" ) );
    EXPECT_THAT( lines[2],
                 HasSubstr( "\"group\":\"\",\"thread\":\"\",\"threadId\":0,\"text\":\"[a] b\"" ) );
}

TEST( LgLogTest, AForkedChildWritesToStandardErrorEvenWhileALineIsBeingWritten ) {
    const TempDirectory directory;
    const auto pipe = directory.path() / "pipe";
    const auto error = directory.path() / "error.txt";
    ASSERT_EQ( ::mkfifo( pipe.c_str(), 0600 ), 0 );
    const int reader = ::open( pipe.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC );
    const LoggerRun run( { { "QV_LOG_UNSPECIFIED", "--" }, { "QV_LOG_WARNING", pipe.string() } } );
    // More than a pipe holds.
    const std::string line( 200000, 'x' );
    TestThread writer( [&] { LgLog::outputEntry( LgTypes::Warning, "", line.c_str() ); } );
    writer.waitUntilBlocked();
    const pid_t child = ::fork();
    if( child == 0 ) {
        if( std::freopen( error.c_str(), "w", stderr ) != nullptr ) {
            LgLog::outputDirectly( LgTypes::Warning, "from the child" );
            LgLog::outputDirectly( LgTypes::Support, "of a closed level" );
        }
        ::_exit( 0 );
    }
    expectSuccess( child );
    ::close( reader );
    EXPECT_THAT( readFile( error ), EndsWith( "from the child\n" ) );
}

TEST( LgLogTest, FlushWaitsForTheReaderWithinItsTime ) {
    EXPECT_TRUE( LgLog::flush( 0.0 ) );
    LgLog::setLoggerActivation( true );
    EXPECT_FALSE( LgLog::flush( 0.001 ) );
    EXPECT_FALSE( LgLog::flush( std::numeric_limits<double>::quiet_NaN() ) );
    {
        TestThread waiter( [] { EXPECT_TRUE( LgLog::flush( 1000.0 ) ); } );
        waiter.waitUntilBlocked();
        EXPECT_TRUE( LgLog::isFlushWanted() );
        LgLog::noteHandled( 0 );
        waiter.waitUntilBlocked();
        LgLog::noteHandled( HwCounter::timeStamp() );
    }
    {
        TestThread waiter( [] { EXPECT_FALSE( LgLog::flush( 1000.0 ) ); } );
        waiter.waitUntilBlocked();
        LgLog::setLoggerActivation( false );
    }
    EXPECT_FALSE( LgLog::isFlushWanted() );
}

TEST( LgLogTest, AChangeOfTheRegistryMovesAllQueuesOrNone ) {
    LgQueue first;
    LgQueue second;
    LgRegistry& former = *LgLog::getRegistry();
    const std::size_t nbOthers = former.getQueueList().size();
    former.registerQueue( &first );
    former.registerQueue( &second );
    OPtr<LgRegistry> next( new LgSimpleRegistry );
    forEachFailingNew( [&] { const OPtr<LgRegistry> before( LgLog::setRegistry( next ) ); },
                       [&]( bool hasFailed ) {
                           if( hasFailed ) {
                               ASSERT_EQ( LgLog::getRegistry(), &former );
                               EXPECT_EQ( former.getQueueList().size(), nbOthers + 2 );
                               next.reset( new LgSimpleRegistry );
                           }
                       } );
    EXPECT_EQ( LgLog::getRegistry()->getQueueList().size(), nbOthers + 2 );
    for( LgQueue* const queue : { &first, &second } ) {
        LgLog::getRegistry()->deregisterQueue( queue );
    }
}

TEST( LgLogTest, TracesAreLinesOfTheirLevel ) {
    const TempDirectory directory;
    const auto file = directory.path() / "out.txt";
    const LoggerRun run( { { "QV_LOG_UNSPECIFIED", "--" }, { "QV_LOG_TRACING", file.string() } } );
    const auto before = LgLog::getCounters();
    LgTrace::print( "" );
    LgTrace::print( "a trace" );
    LgLog::outputDirectly( LgTypes::Profiling, "dropped" );
    EXPECT_THAT( readFile( file ), EndsWith( "[Tracing       ] a trace\n" ) );
    EXPECT_EQ( LgLog::getCounters().written, before.written + 1 );
    EXPECT_THROW( LgTrace::print( nullptr ), ExAssertionFailed );
}

} // namespace Qv
