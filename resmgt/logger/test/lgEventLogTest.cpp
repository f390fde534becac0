#include <base/init/inBuildInfoMgr.h>
#include <base/text/wideStringUtil.h>
#include <resmgt/logger/lgLog.h>
#include <resmgt/logger/test/loggerRun.h>

#include <tests/support/fakeBuildInfo.h>

#include <gtest/gtest.h>

#include <cstdarg>
#include <cstdio>
#include <string>
#include <utility>
#include <vector>

#include <syslog.h>

namespace Qv {

namespace {

using Reports = std::vector<std::pair<int, std::string>>;

Reports reports;

Reports takeReports() {
    return std::exchange( reports, Reports() );
}

} // namespace

} // namespace Qv

/// In the place of the system's: nothing of a test reaches that.
extern "C" void syslog( int priority, const char* format, ... ) {
    char text[1024];
    std::va_list values;
    va_start( values, format );
    std::vsnprintf( text, sizeof text, format, values );
    va_end( values );
    Qv::reports.emplace_back( priority, text );
}

namespace Qv {

TEST( LgEventLogTest, ALevelsMessageGoesToTheServiceBehindTheNameOfTheApplication ) {
    const LoggerRun run( { { "QV_LOG_UNSPECIFIED", "--" },
                           { "QV_LOG_INTERNAL_ERROR", "*" },
                           { "QV_LOG_RECOVERABLE_ERROR", "*" },
                           { "QV_LOG_USER_MESSAGE", "*" } } );
    takeReports();
    // In a repeated run it is registered.
    if( !InBuildInfoMgr::isAppInfoRegistered() ) {
        LgLog::outputEntry( LgTypes::InternalError, "prefix ", "too early\n" );
        EXPECT_TRUE( takeReports().empty() );
        InBuildInfoMgr::registerAppInfo( OPtr<InBuildInfo>( new FakeBuildInfo( "library" ) ) );
    }
    const std::string source = InBuildInfo::getInstanceIdentificationString(
        InBuildInfo::WITH_PRODUCT_NAME, InBuildInfo::YEAR_AND_NUMBER );
    for( const auto& [level, priority] : { std::pair{ LgTypes::InternalError, LOG_ERR },
                                           { LgTypes::Error, LOG_WARNING },
                                           { LgTypes::UserMessage, LOG_INFO },
                                           { LgTypes::Tracing, -1 } } ) {
        LgLog::outputEntry( level, "prefix ", "100 %s\x1b\n" );
        const Reports expected = { { LOG_USER | priority, source + ": 100 %s?" } };
        EXPECT_EQ( takeReports(), priority < 0 ? Reports() : expected ) << level;
    }
}

TEST( LgEventLogTest, ByDefaultErrorsAndWhatUsersSeeGoThereUnlessItIsSwitchedOff ) {
    for( const auto& [setting, isOn] : { std::pair{ "0", true },
                                         { "none", true },
                                         { "", true },
                                         { "1", false },
                                         { "-1 is on", false } } ) {
        const LoggerRun run( { { "QV_LOG_DISABLE_EVENTLOG", setting },
                               { "QV_LOG_UNSPECIFIED", "" },
                               { "QV_LOG_TRACING", "--" } } );
        for( int number = 0; number < LgTypes::NUM_LEVELS; ++number ) {
            const auto level = static_cast<LgTypes::Level>( number );
            EXPECT_EQ( LgLog::isLevelOSLogged( level ), isOn && level <= LgTypes::UserMessage )
                << setting << ", " << number;
        }
        const std::wstring& file = LgLog::getLevelFile( LgTypes::Warning );
        std::filesystem::remove( WideStringUtil::narrowMB( file ) );
    }
}

} // namespace Qv
