#include <resmgt/messages/src/msgLog.h>

#include <base/failure/qvHere.h>
#include <base/text/exStdout.h>
#include <base/trace/trace.h>

namespace Qv {

void MsgLog::print( const std::string& text ) {
    const std::string line = "[Messages] " + text + '\n';
    try {
        ExStdout::printAtomically( line.c_str() );
    } catch( const ExBase& ) {
        Trace::printCurrentException( "MsgLog::print", QV_HERE );
    }
}

} // namespace Qv
