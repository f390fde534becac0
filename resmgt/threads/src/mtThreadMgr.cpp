#include <resmgt/threads/mtThreadMgr.h>

#include <base/init/inSingleton.imp>
#include <resmgt/threads/mtThread.h>
#include <resmgt/threads/mtThreadFactory.h>
#include <resmgt/threads/src/mtCurrentThread.h>

#include <atomic>
#include <ostream>

namespace Qv {

template class InSingleton<MtThreadMgr>;

namespace {

// Relaxed: it orders nothing.
constinit std::atomic<MtThreadMgr::RealTimeParam> realTimeParam{ MtThreadMgr::NOT_INDICATED };

} // namespace

MtThreadMgr::MtThreadMgr() = default;

MtThreadMgr::~MtThreadMgr() = default;

MtThreadMgr& MtThreadMgr::getInstance() {
    return InSingleton<MtThreadMgr>::getInstance();
}

MtThread* MtThreadMgr::findCurrentThread() noexcept {
    return MtCurrentThread::get();
}

void MtThreadMgr::indicateAppIsRealTime( bool isRealTime ) noexcept {
    realTimeParam.store( isRealTime ? INDICATED_TRUE : INDICATED_FALSE, std::memory_order_relaxed );
}

MtThreadMgr::RealTimeParam MtThreadMgr::getRealTimeParam() noexcept {
    return realTimeParam.load( std::memory_order_relaxed );
}

OPtrRet<MtThread> MtThreadMgr::createMainThread( MtThreadFactory& factory ) {
    return factory.createMainThread( "main", *this );
}

std::ostream& operator<<( std::ostream& stream, MtThreadMgr& mgr ) {
    mgr.dump( stream );
    return stream;
}

} // namespace Qv
