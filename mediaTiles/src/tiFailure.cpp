#include <mediaTiles/src/tiFailure.h>

#include <base/failure/exBase.h>
#include <base/failure/qvHere.h>
#include <base/trace/trace.h>
#include <resmgt/logger/lgGroups.h>
#include <resmgt/logger/qvLog.h>

#include <string>

namespace Qv {

namespace {

std::string getReason() {
    try {
        throw;
    } catch( const ExBase& failure ) {
        return failure.getReason();
    } catch( const std::exception& failure ) {
        return failure.what();
    } catch( ... ) {
        return "Unknown reason.";
    }
}

} // namespace

void logFailure( const char* what ) noexcept {
    try {
        QV_LOG( Content, Error, what, getReason() );
    } catch( ... ) {
        Trace::printCurrentException( "mediaTiles", QV_HERE );
    }
}

} // namespace Qv
