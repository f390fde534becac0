#include <resmgt/logger/src/lgEventLog.h>

#include <base/init/inBuildInfo.h>
#include <base/init/inBuildInfoMgr.h>
#include <base/text/printable.h>

#include <exception>
#include <string>
#include <string_view>

#include <syslog.h>

namespace Qv {

namespace {

int getPriority( LgTypes::Level level ) {
    switch( level ) {
    case LgTypes::InternalError:
    case LgTypes::FatalError:
        return LOG_USER | LOG_ERR;
    case LgTypes::Error:
    case LgTypes::Warning:
        return LOG_USER | LOG_WARNING;
    default:
        return LOG_USER | LOG_INFO;
    }
}

const std::string& getSource() {
    static const std::string source =
        Printable::makeLine( InBuildInfo::getInstanceIdentificationString(
            InBuildInfo::WITH_PRODUCT_NAME, InBuildInfo::YEAR_AND_NUMBER ) );
    return source;
}

} // namespace

void LgEventLog::report( LgTypes::Level level, const char* message ) noexcept {
    if( !InBuildInfoMgr::isAppInfoRegistered() ) {
        return;
    }
    try {
        std::string_view text = message;
        text.remove_suffix( text.ends_with( '\n' ) ? 1 : 0 );
        ::syslog( getPriority( level ), "%s: %s", getSource().c_str(),
                  Printable::makeText( text ).c_str() );
    } catch( const std::exception& ) {
        // The other targets have the line.
    }
}

} // namespace Qv
