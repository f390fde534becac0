#include <resmgt/threads/mtExternalThread.h>

#include <base/failure/assertions.h>
#include <base/trace/trace.h>
#include <resmgt/locks/mtThreadDataRegistry.h>
#include <resmgt/threads/mtEx.h>
#include <resmgt/threads/mtLogger.h>
#include <resmgt/threads/mtPriorityMgr.h>
#include <resmgt/threads/mtThreadMgr.h>
#include <resmgt/threads/mtThreadProtocol.h>
#include <resmgt/threads/priority.h>
#include <resmgt/threads/src/mtCurrentThread.h>
#include <resmgt/threads/src/mtProcess.h>

#include <ostream>

namespace Qv {

MtExternalThread::MtExternalThread( const std::string& name )
    : _name( name )
    , _mgr( MtThreadMgr::getInstance() )
    , _stackBase( MtProcess::getStackAddress() ) {
    _threadId.setCurrentThread();
    _priority.reset( new Priority( _name, MtPriorityMgr::getInstance() ) );
    _mgr.addThread( this );
}

MtExternalThread::~MtExternalThread() noexcept( false ) {
    _mgr.removeThread( this );
}

void MtExternalThread::start() {
    throw MtEx::ExNotImplemented( QV_HERE, "MtExternalThread::start" );
}

void MtExternalThread::stop() {
    throw MtEx::ExNotImplemented( QV_HERE, "MtExternalThread::stop" );
}

void MtExternalThread::join() {
    throw MtEx::ExNotImplemented( QV_HERE, "MtExternalThread::join" );
}

bool MtExternalThread::timedJoin( double ) {
    throw MtEx::ExNotImplemented( QV_HERE, "MtExternalThread::timedJoin" );
}

void MtExternalThread::setProcessorNb( int ) {
    throw MtEx::ExNotImplemented( QV_HERE, "MtExternalThread::setProcessorNb" );
}

unsigned long long MtExternalThread::getProcessorAffinity() const {
    throw MtEx::ExNotImplemented( QV_HERE, "MtExternalThread::getProcessorAffinity" );
}

unsigned long long MtExternalThread::getAllProcessorAffinityMask() const {
    throw MtEx::ExNotImplemented( QV_HERE, "MtExternalThread::getAllProcessorAffinityMask" );
}

void MtExternalThread::setProcessorAffinity( unsigned long long ) {
    throw MtEx::ExNotImplemented( QV_HERE, "MtExternalThread::setProcessorAffinity" );
}

bool MtExternalThread::isRunning() const {
    return true;
}

void* MtExternalThread::getBaseStackAddress() const {
    return _stackBase;
}

std::uint64_t MtExternalThread::getMaximumStackSize() const {
    return 0;
}

std::string MtExternalThread::getName() const {
    return _name;
}

Priority& MtExternalThread::getPriority() {
    return *_priority;
}

const MtThreadProtocol* MtExternalThread::getProtocol() const {
    return nullptr;
}

MtThreadProtocol* MtExternalThread::getProtocol() {
    return nullptr;
}

OPtrRet<MtThreadProtocol> MtExternalThread::releaseProtocol() {
    return OPtr<MtThreadProtocol>();
}

LkThreadId MtExternalThread::getId() {
    return _threadId;
}

void MtExternalThread::dump( std::ostream& stream ) const {
    stream << _name << " prio " << _priority->getPriority() << " EXTERNAL";
}

MtExternalThreadGuard::MtExternalThreadGuard( const std::string& name ) {
    if( MtCurrentThread::get() == nullptr ) {
        _thread.reset( new MtExternalThread( name ) );
        MtCurrentThread::set( _thread.get() );
        MtLogger::enterThread();
    }
}

MtExternalThreadGuard::~MtExternalThreadGuard() {
    if( !_thread ) {
        return;
    }
    try {
        MtThreadDataRegistry::getInstance().removeThreadData( LkThreadDataTypes::DELETE_AND_CLEAR );
    } catch( ... ) {
        Trace::printCurrentException( "MtExternalThreadGuard::~MtExternalThreadGuard", QV_HERE );
    }
    MtCurrentThread::set( nullptr );
}

} // namespace Qv
