#include <resmgt/threads/mtThread.h>

#include <base/failure/qvHere.h>
#include <resmgt/locks/mtThreadDataRegistry.h>
#include <resmgt/threads/mtEx.h>
#include <resmgt/threads/mtThreadGroup.h>
#include <resmgt/threads/mtThreadProtocol.h>
#include <resmgt/threads/src/mtCurrentThread.h>
#include <resmgt/threads/src/mtProcess.h>

#include <atomic>
#include <ostream>

namespace Qv {

thread_local constinit MtThread* MtCurrentThread::_current = nullptr;

namespace {

constexpr long NO_PROCESS = -1;

// The process in which threads can start. Written as the package starts and stops; relaxed, since a
// thread's start orders all else.
constinit std::atomic<long> startingProcess{ NO_PROCESS };

} // namespace

MtThread::MtThread() = default;

MtThread::~MtThread() noexcept( false ) = default;

bool MtThread::isProcessorPlaceable() const {
    return false;
}

void MtThread::setProcessorNb( int ) {
    throw MtEx::ExNotImplemented( QV_HERE, "MtThread::setProcessorNb" );
}

bool MtThread::isProcessorAffinityPlaceable() const {
    return false;
}

unsigned long long MtThread::getProcessorAffinity() const {
    throw MtEx::ExNotImplemented( QV_HERE, "MtThread::getProcessorAffinity" );
}

unsigned long long MtThread::getAllProcessorAffinityMask() const {
    throw MtEx::ExNotImplemented( QV_HERE, "MtThread::getAllProcessorAffinityMask" );
}

void MtThread::setProcessorAffinity( unsigned long long ) {
    throw MtEx::ExNotImplemented( QV_HERE, "MtThread::setProcessorAffinity" );
}

void MtThread::performReadTimes( std::uint64_t& kernel, std::uint64_t& user ) const {
    kernel = 0;
    user = 0;
}

bool MtThread::canStart() const {
    return startingProcess.load( std::memory_order_relaxed ) == MtProcess::getNumber();
}

void MtThread::allowStart() {
    startingProcess.store( MtProcess::getNumber(), std::memory_order_relaxed );
}

void MtThread::forbidStart() noexcept {
    startingProcess.store( NO_PROCESS, std::memory_order_relaxed );
}

void MtThread::freeThreadData() {
    MtThreadDataRegistry::getInstance().removeThreadData( LkThreadDataTypes::DELETE_AND_MARK );
}

std::ostream& operator<<( std::ostream& stream, const MtThread& thread ) {
    thread.dump( stream );
    return stream;
}

MtThreadProtocol::~MtThreadProtocol() = default;

void MtThreadProtocol::performAttach( MtThread* ) {}

void MtThreadProtocol::performDetach( MtThread* ) {}

void MtThreadProtocol::performStop( MtThread* ) {}

MtThreadGroup::~MtThreadGroup() = default;

} // namespace Qv
