#include <base/failure/exDebuggerUtil.h>
#include <base/failure/src/exDebugger.h>
#include <base/failure/src/exForeign.h>
#include <base/failure/src/exStack.h>
#include <base/text/printable.h>

#include <atomic>
#include <cstdio>
#include <string>

namespace Qv {

namespace {

// Release and acquire: who calls the logger sees what was made ready before it was registered.
constinit std::atomic<ExDebuggerUtil::StackLogger> stackLogger = nullptr;

void dump( const char* text ) noexcept {
    const auto logger = stackLogger.load( std::memory_order_acquire );
    if( logger != nullptr ) {
        logger( text );
    } else {
        std::fputs( text, stderr );
    }
}

} // namespace

void ExDebuggerUtil::registerStackLogger( StackLogger logger ) noexcept {
    stackLogger.store( logger, std::memory_order_release );
}

void ExDebuggerUtil::invokeDebuggerFromTerminateHandler() noexcept {
    try {
        const std::string exception = currentExceptionText();
        const std::string heading = exception.empty() ? "" : exception + '\n';
        const std::string text = heading + "Call stack:\n" + stackText( captureStack() );
        dump( Printable::makeText( text ).c_str() );
    } catch( ... ) {
        dump( "There isn't enough memory to tell the call stack.\n" );
    }
    if( ExDebugger::isAttached() ) {
        ExDebugger::stop();
    }
}

} // namespace Qv
