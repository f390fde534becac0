#include <resmgt/dynamicAllocation/src/daMemPoolTrace.h>

#include <base/failure/assertions.h>
#include <base/trace/trace.h>
#include <base/trace/traceManager.h>

#include <sstream>

namespace Qv {

namespace {

const TraceLevel& getLevel() {
    static TraceLevel* const level = Trace::registerLevel( "DaMemPool", "daMemPool" );
    return *level;
}

} // namespace

void DaMemPoolTrace::traceExpansion( const char* name, std::size_t nodeSize,
                                     std::uint32_t nbBytes ) {
    if( Trace::isEnabled( getLevel() ) ) {
        std::ostringstream text;
        text << "Expanding DaMemPool " << name << " for node size " << nodeSize << " bytes,\n"
             << "size (allocated+free) is now :" << nbBytes << " bytes.";
        TraceManager::getInstance().getTrace().log( text, QV_HERE );
    }
}

void DaMemPoolTrace::traceTotal( const char* name, std::uint32_t nbBytes ) {
    if( Trace::isEnabled( getLevel() ) ) {
        std::ostringstream text;
        text << "Total DaMemPool " << name << "  size (allocated+free) is now :" << nbBytes
             << " bytes.";
        TraceManager::getInstance().getTrace().log( text, QV_HERE );
    }
}

void DaMemPoolTrace::failSize( std::size_t size, std::uint64_t maxSize ) {
    if( Trace::isEnabled( Trace::MainTraceLevel ) ) {
        std::ostringstream text;
        text << "size: " << size << ", _maxSize: " << maxSize;
        TraceManager::getInstance().getTrace().log( text, QV_HERE );
    }
    Assertions::throwAssertionFailed( QV_HERE, "size <= _maxSize" );
}

} // namespace Qv
