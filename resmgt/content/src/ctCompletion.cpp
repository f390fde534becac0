#include <base/failure/qvHere.h>
#include <base/text/exStdout.h>
#include <base/trace/trace.h>
#include <resmgt/content/ctServer.h>
#include <resmgt/locks/lkAsyncHandle.h>
#include <resmgt/logger/lgGroups.h>
#include <resmgt/logger/qvLog.h>

#include <span>
#include <sstream>

namespace Qv {

namespace {

std::string getReason( const std::exception_ptr& failure ) {
    try {
        std::rethrow_exception( failure );
    } catch( const ExBase& exception ) {
        return exception.getReason();
    } catch( ... ) {
        return "Unknown reason.";
    }
}

/// Reports a failure that nobody can be given as an exception.
void report( const CtPxTileId& tile, const std::exception_ptr& failure, bool isPrinted ) noexcept {
    try {
        std::ostringstream text;
        text << "Async content operation on ";
        tile.dump( text );
        text << " failed: " << getReason( failure );
        QV_LOG( Content, Error, text.str() );
        if( isPrinted ) {
            text << '\n';
            ExStdout::printAtomically( text.str().c_str() );
        }
    } catch( ... ) {
        Trace::printCurrentException( "CtServer::complete", QV_HERE );
    }
}

} // namespace

void CtServer::complete( const CtPxTileId& tile, LkAsyncHandle* handle,
                         const std::exception_ptr& failure ) noexcept {
    using Call = void ( LkAsyncHandle::* )();
    // A call that raises is followed by the next one.
    constexpr Call calls[] = { &LkAsyncHandle::asyncSucceeded, &LkAsyncHandle::asyncFailed,
                               &LkAsyncHandle::asyncFailed };
    if( failure ) {
        reportFailure( tile, failure );
    }
    for( const Call call : std::span( calls ).subspan( failure ? 1 : 0 ) ) {
        try {
            ( handle->*call )();
            return;
        } catch( ... ) {
            reportFailure( tile, std::current_exception() );
        }
    }
}

void CtServer::reportFailure( const CtPxTileId& tile, const std::exception_ptr& failure ) noexcept {
    _tally->countFailure();
    report( tile, failure, _isPrintingFailures.load( std::memory_order_relaxed ) );
}

} // namespace Qv
