#include <resmgt/threads/src/mtFatalEnd.h>

#include <base/failure/qvHere.h>
#include <base/text/exStdout.h>
#include <base/trace/trace.h>
#include <resmgt/messages/msgManager.h>
#include <resmgt/osal/osUtils.h>
#include <resmgt/testing/testInform.h>

namespace Qv {

namespace {

/// One who can't be told is no reason not to tell the next.
template <class Tell>
void attempt( const Tell& tell ) noexcept {
    try {
        tell();
    } catch( ... ) {
        Trace::printCurrentException( "MtThread", QV_HERE );
    }
}

void tellAll( const char* text ) noexcept {
    attempt( [&] { MsgManager().display( text, MsgTypes::FATAL_ERROR ); } );
    attempt( [&] {
        if( TestInform::isRegressionTestSuite() ) {
            TestInform::exceptionEncountered( text );
        } else {
            ExStdout::printAtomically( text );
        }
    } );
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
