#include <resmgt/logger/lgLog.h>
#include <resmgt/logger/src/lgFile.h>
#include <resmgt/logger/src/lgFolder.h>
#include <resmgt/logger/test/loggerRun.h>
#include <resmgt/osal/test/failingCalls.h>

#include <tests/support/scopedEnvironment.h>
#include <tests/support/tempDirectory.h>

#include <gtest/gtest.h>

#include <cerrno>
#include <fstream>
#include <sstream>

namespace Qv {

namespace {

std::string makeLoss( std::uint64_t nbLines, int ) {
    return "lost " + std::to_string( nbLines ) + "\n";
}

/// Every line is whole.
void checkLines( const std::filesystem::path& path ) {
    std::istringstream text( readFile( path ) );
    for( std::string line; std::getline( text, line ); ) {
        EXPECT_TRUE( line == "a line" || line.starts_with( "lost " ) ) << line;
    }
}

} // namespace

TEST( LgFaultsTest, AFileSurvivesEachFailingCall ) {
    for( const auto naming : { LgFileBuffer::DEFAULT_NAME, LgFileBuffer::CHOSEN_NAME } ) {
        const TempDirectory directory;
        const auto path = directory.path() / "out.log";
        testing::internal::CaptureStderr();
        forEachFailingCall(
            EIO,
            [&] {
                LgFile file( path.string(), naming, makeLoss );
                file << "a line\n" << std::flush << "a line\n" << std::flush;
                file.getBuffer().maintain();
            },
            [&]( const FailedRun& ) {
                checkLines( path );
                std::filesystem::remove( path );
            } );
        testing::internal::GetCapturedStderr();
    }
}

TEST( LgFaultsTest, AFolderIsMadeAndCleanedWithoutHarmWhateverCallFails ) {
    const TempDirectory directory;
    const ScopedEnvironment state( "XDG_STATE_HOME", ( directory.path() / "state" ).c_str() );
    const OsFilePath output( directory.path().string() );
    forEachFailingCall(
        EACCES,
        [&] {
            std::string problem;
            const OsFilePath made = LgFolder::makeDefault( output, problem );
            EXPECT_TRUE( !made.isEmpty() || !problem.empty() );
            LgFolder::clean( output + "logs" );
        },
        [&]( const FailedRun& ) {
            std::filesystem::create_directories( directory.path() / "logs" );
            std::filesystem::permissions( directory.path() / "logs",
                                          std::filesystem::perms::owner_all );
            std::ofstream( directory.path() / "logs" / "kept.log" ) << "x";
        } );
    EXPECT_TRUE( std::filesystem::exists( directory.path() / "logs" / "kept.log" ) );
}

TEST( LgFaultsTest, TheLoggerStartsWhateverCallFails ) {
    const TempDirectory directory;
    const std::string file = ( directory.path() / "out.txt" ).string();
    const LoggerRun::Variables variables{ { "QV_LOG_UNSPECIFIED", "--" },
                                          { "QV_LOG_WARNING", file },
                                          { "QV_LOG_CONTROL", file },
                                          { "QV_LOG_JSON", file + ".json" } };
    const LoggerRun run( variables );
    testing::internal::CaptureStderr();
    for( const auto times : { FailingCall::ONCE, FailingCall::FOR_GOOD } ) {
        long nbCalls = 0;
        for( long nth = 1; nth <= nbCalls + 1; ++nth ) {
            LoggerRun::stop();
            const FailingCall failing( nullptr, EMFILE, times, nth );
            EXPECT_NO_THROW( LoggerRun::start() ) << nth;
            nbCalls = failing.nbCalls();
        }
    }
    testing::internal::GetCapturedStderr();
}

} // namespace Qv
