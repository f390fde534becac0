#include <resmgt/messages/src/msgLog.h>

#include <base/failure/qvHere.h>
#include <base/text/exStdout.h>
#include <base/text/wideStringUtil.h>
#include <base/trace/trace.h>

#include <algorithm>

namespace Qv {

namespace {

bool isControl( wchar_t c ) {
    const bool isAscii = ( c < L' ' && c != L'\n' && c != L'\t' ) || c == 0x7f;
    // A terminal may take these for the beginning of a sequence too.
    return isAscii || ( c >= 0x80 && c <= 0x9f );
}

} // namespace

std::string MsgLog::makePrintable( const std::string& text ) {
    std::wstring wide = WideStringUtil::widen( text );
    std::replace_if( wide.begin(), wide.end(), isControl, L'?' );
    return WideStringUtil::narrowReplace( wide );
}

void MsgLog::print( const std::string& text ) {
    const std::string line = "[Messages] " + makePrintable( text ) + '\n';
    try {
        ExStdout::printAtomically( line.c_str() );
    } catch( const ExBase& ) {
        Trace::printCurrentException( "MsgLog::print", QV_HERE );
    }
}

} // namespace Qv
