#include <base/failure/exWrapper.h>
#include <base/init/src/inPackageFrame.h>
#include <resmgt/logger/qvLog.h>
#include <resmgt/messages/msgManager.h>
#include <resmgt/threads/mtLogger.h>
#include <tests/support/scopedEnvironment.h>
#include <tests/support/tempDirectory.h>

#include <gmock/gmock.h>

#include <exception>
#include <string>
#include <vector>

#include <unistd.h>

namespace Qv {

namespace {

using ::testing::EndsWith;
using ::testing::HasSubstr;

/// Each package's group is of the major group that it always was of, whose spellings are two.
void checkGroups( bool areThere ) {
    const struct {
        const LgPackageGroup& group;
        const char* name;
        bool isInFirst;
    } groups[] = { { LgGroups::MinorLevelAllocation, "Allocation", false },
                   { LgGroups::MinorLevelContent, "Content", true },
                   { LgGroups::MinorLevelFileLocks, "FileLocks", true },
                   { LgGroups::MinorLevelFileMonitoring, "FileMonitoring", true },
                   { LgGroups::MinorLevelLogger, "Logger", true },
                   { LgGroups::MinorLevelMemoryBuffers, "MemoryBuffers", true },
                   { LgGroups::MinorLevelMessages, "Messages", false },
                   { LgGroups::MinorLevelThreadExt, "ThreadExt", true },
                   { LgGroups::MinorLevelThreads, "Threads", true } };
    for( const auto& one : groups ) {
        EXPECT_EQ( one.group != nullptr, areThere ) << one.name;
        EXPECT_STREQ( one.group.getName(), one.name );
        if( areThere ) {
            EXPECT_TRUE( one.group.isLevelEnabled( LgTypes::Warning ) ) << one.name;
            EXPECT_EQ( one.group.isLevelEnabled( LgTypes::Informational ), one.isInFirst )
                << one.name;
        }
    }
}

/// In the order given, each behind the end of the former.
void checkOrder( const std::string& text, const std::vector<std::string>& parts ) {
    std::size_t place = 0;
    for( const std::string& part : parts ) {
        place = text.find( part, place );
        ASSERT_NE( place, std::string::npos ) << part << " isn't in its place in\n" << text;
        place += part.size();
    }
}

TEST( LoggingTest, EachRunOfThePackagesHasItsGroupsAndItsLogFromTheFirstLineToTheLast ) {
    const TempDirectory directory;
    InPackageFrame& frame = InPackageFrame::getInstance();
    frame.stop();
    std::string before;
    for( const char* const run : { "first", "second" } ) {
        const std::filesystem::path path = directory.path() / "log.txt";
        const ScopedEnvironment file( "QV_LOG_UNSPECIFIED", ( "+" + path.string() ).c_str() );
        const ScopedEnvironment groups( "QV_LOG_GROUPS",
                                        "ResMgt=Informational,Threads=Error,Resmgt=Warning" );
        const ScopedEnvironment dump( "QV_LOG_DUMP_SETUP", "1" );
        checkGroups( false );
        frame.start();
        checkGroups( true );
        for( int i = 0; i < 3; ++i ) {
            QV_LOG_EVERY( Content, Warning, 1000000, "limited" );
        }
        QV_LOG( Content, Warning, "the ", run, " run" );
        const std::string nbUntold = std::to_string( LgLimit::getNbUntold() );
        frame.stop();
        const std::string text = readFile( path );
        ASSERT_TRUE( text.starts_with( before ) );
        const std::string support = "[Support       ] [Logger         ] ";
        checkOrder( text.substr( before.size() ),
                    { "Logger started on ", support + "Logger setup:\nOutput:\n",
                      "[Informational ] [Threads        ] Thread stack size : 2097152\n",
                      std::string( "[Warning       ] [Content        ] the " ) + run + " run\n",
                      support +
                          "Levels were set for the major group \"Threads\", which nobody logs "
                          "to\n" +
                          "00:00:0",
                      support + "Statements left out for their frequency: " + nbUntold + "\n",
                      "Logger stopped on " } );
        before = text;
    }
    frame.start();
}

struct Foreign : ExWrapper::Functor {
    void execute() override { throw 7; }
};

void raiseForeignException() {
    Foreign work;
    const OPtr<ExBase> caught( ExWrapper::execute( work, nullptr ) );
}

TEST( LoggingDeathTest, ForeignExceptionsAndStacksAreFatalErrorsOfWhoeverReadsTheLog ) {
    const TempDirectory directory;
    const std::filesystem::path path = directory.path() / "log.txt";
    const ScopedEnvironment file( "QV_LOG_FATAL_ERROR", path.c_str() );
    EXPECT_EXIT(
        {
            raiseForeignException();
            std::terminate();
        },
        ::testing::ExitedWithCode( 1 ), "" );
    const std::string exception = "] int\nCall stack of the catch:\n";
    checkOrder( readFile( path ), { "[Fatal Error   ] [Threads        " + exception,
                                    "[Fatal Error   ] [Logger         ] Call stack:\n" } );
    EXPECT_EXIT(
        {
            MtLogger::end();
            raiseForeignException();
            ::_exit( 1 );
        },
        ::testing::ExitedWithCode( 1 ), "" );
    EXPECT_THAT( readFile( path ), HasSubstr( "[Fatal Error   ] [Logger         " + exception ) );
}

TEST( LoggingDeathTest, AMessageOfNoLevelIsInTheLogBeforeTheProcessEnds ) {
    const TempDirectory directory;
    const std::filesystem::path path = directory.path() / "log.txt";
    const ScopedEnvironment file( "QV_LOG_INTERNAL_ERROR", path.c_str() );
    EXPECT_EXIT( MsgManager().display( "x", static_cast<MsgTypes::Level>( 0 ) ),
                 ::testing::ExitedWithCode( 1 ), "" );
    EXPECT_THAT( readFile( path ),
                 EndsWith( " [Internal Error] [Messages       ] Unknown message type.\n" ) );
}

} // namespace

} // namespace Qv
