#include <resmgt/threads/src/mtTraceMgr.h>

#include <base/ownership/ownershipDelete.h>
#include <resmgt/locks/lkThreadOpaqueDataFactory.h>
#include <resmgt/locks/mtThreadDataRegistry.h>

namespace Qv {

namespace {

// Before the base layer's own, whose priority is the least that there is.
constexpr int PRIORITY = 0;

void* createTrace() {
    return new Trace;
}

void deleteTrace( void* trace ) {
    delete static_cast<Trace*>( trace );
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
        return *static_cast<Trace*>( _traces->getPointee() );
    } catch( ... ) {
        // There is always somewhere to report to.
        return _former.getTrace();
    }
}

} // namespace Qv
