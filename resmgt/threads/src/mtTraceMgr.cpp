#include <resmgt/threads/src/mtTraceMgr.h>

#include <base/ownership/ownershipDelete.h>
#include <resmgt/locks/lkThreadOpaqueDataFactory.h>
#include <resmgt/locks/mtThreadDataRegistry.h>
#include <resmgt/logger/lgTrace.h>

#include <string>

namespace Qv {

namespace {

// Before the base layer's own, whose priority is the least that there is.
constexpr int PRIORITY = 0;

/// Prints through the log, whose lines have ends of their own.
class LogTrace final : public Trace {
    void print( const std::string& line ) override {
        const bool hasEnd = !line.empty() && line.back() == '\n';
        LgTrace::print( line.substr( 0, line.size() - ( hasEnd ? 1 : 0 ) ).c_str() );
    }
};

void* createTrace() {
    return new LogTrace;
}

void deleteTrace( void* trace ) {
    delete static_cast<LogTrace*>( trace );
}

} // namespace

MtTraceMgr::MtTraceMgr()
    : MtTraceMgr( TraceManager::getInstance() ) {}

MtTraceMgr::MtTraceMgr( TraceManager& former )
    : TraceManager( PRIORITY )
    , _former( former )
    , _traces( LkThreadOpaqueDataFactory::create( "MtTraceMgr", &createTrace, &deleteTrace ) ) {}

MtTraceMgr::~MtTraceMgr() {
    try {
        MtThreadDataRegistry::getInstance().removeThreadData( _traces.get(),
                                                              LkThreadDataTypes::DELETE_AND_CLEAR );
    } catch( ... ) {
        Ownership::reportFailedDestructor();
    }
}

Trace& MtTraceMgr::getTrace() {
    try {
        return *static_cast<LogTrace*>( _traces->getPointee() );
    } catch( ... ) {
        // There is always somewhere to report to.
        return _former.getTrace();
    }
}

} // namespace Qv
