#include <base/failure/qvHere.h>
#include <base/trace/traceManager.h>
#include <resmgt/memoryBuffers/mbRegion.h>

#include <sstream>

namespace Qv {

TraceLevel* const MbRegion::_traceLevel = Trace::registerLevel( "MbRegion", "mbRegion.inline" );

void MbRegion::traceDefault() const {
    Trace& trace = TraceManager::getInstance().getTrace();
    const Trace::Entry entry( trace, *_traceLevel, "MbRegion::MbRegion", QV_HERE );
    std::ostringstream text;
    text << "Constructor MbRegion::_header = 0 ";
    trace.log( text, QV_HERE );
}

void MbRegion::traceFilled() const {
    Trace& trace = TraceManager::getInstance().getTrace();
    const Trace::Entry entry( trace, *_traceLevel, "MbRegion::MbRegion( args )", QV_HERE );
    std::ostringstream text;
    text << "Constructor MbRegion::_header = " << _header;
    trace.log( text, QV_HERE );
}

void MbRegion::traceAssignment( const MbRegion& other ) const {
    Trace& trace = TraceManager::getInstance().getTrace();
    const Trace::Entry entry( trace, *_traceLevel, "MbRegion::operator=( rhs )", QV_HERE );
    std::ostringstream text;
    text << "Assignment MbRegion::_header = " << _header << " --> " << other._header;
    trace.log( text, QV_HERE );
}

} // namespace Qv
