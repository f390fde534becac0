#include <resmgt/threads/src/mtFatalEnd.h>

#include <base/failure/qvHere.h>
#include <base/text/exStdout.h>
#include <base/trace/trace.h>
#include <resmgt/messages/msgManager.h>
#include <resmgt/osal/osUtils.h>
#include <resmgt/testing/testInform.h>
#include <resmgt/threads/mtLogger.h>

#include <cstdio>

namespace Qv {

namespace {

/// Whether `tell` has succeeded. One who can't be told is no reason not to tell the next.
template <class Tell>
bool hasTold( const Tell& tell ) noexcept {
    try {
        tell();
        return true;
    } catch( ... ) {
        Trace::printCurrentException( "MtThread", QV_HERE );
        return false;
    }
}

void tellAll( const char* text ) noexcept {
    hasTold( [&] { MsgManager().display( text, MsgTypes::FATAL_ERROR ); } );
    MtLogger::haltAndFlushOnCrash();
    const bool isPrinted = hasTold( [&] {
        if( TestInform::isRegressionTestSuite() ) {
            TestInform::exceptionEncountered( text );
        } else {
            ExStdout::printAtomically( text );
        }
    } );
    if( !isPrinted ) {
        // The message may have gone to a log that nobody sees. This needs no memory.
        std::fputs( text, stderr );
    }
}

} // namespace

void MtFatalEnd::onUnhandled( const char* exception, const std::string& threadName,
                              const char* callStack ) noexcept {
    try {
        const std::string text =
            std::string( "MtThreadWindows: Terminating on unhandled exception:\n" ) + exception +
            "\nfrom thread:\n" + threadName + "\nCall stack:" + callStack + '\n';
        tellAll( text.c_str() );
    } catch( ... ) {
        // There is no memory for the whole text.
        tellAll( exception );
    }
    OsUtils::exitOnCrash();
}

} // namespace Qv
