#include <resmgt/memoryBuffers/src/mbStallReport.h>

#include <base/failure/qvHere.h>
#include <base/trace/traceManager.h>
#include <resmgt/memoryBuffers/mbPoolManager.h>
#include <resmgt/memoryBuffers/src/mbResidents.h>
#include <resmgt/memoryBuffers/src/mbSettings.h>

#include <sstream>

namespace Qv {

namespace {

constexpr std::size_t NB_DESCRIBED = 5;

} // namespace

bool MbStallReport::isDue() noexcept {
    const int seconds = MbSettings::getStallReportSeconds();
    if( _isDone || seconds <= 0 || Clock::now() - _begin < std::chrono::seconds( seconds ) ) {
        return false;
    }
    _isDone = true;
    return true;
}

void MbStallReport::print( const std::string& text ) noexcept {
    try {
        if( Trace::isEnabled( Trace::MainTraceLevel ) ) {
            std::ostringstream line;
            line << text;
            TraceManager::getInstance().getTrace().log( line, QV_HERE );
        }
    } catch( ... ) {
        // The report is for people, the wait goes on without it.
    }
}

/// The number of the only thread that keeps the buffer in memory, or of no thread where there are
/// several, or none.
unsigned long MbPoolManager::getHolder( const MbBufferImp& buffer ) {
    // Whoever has the lock of a buffer doesn't wait for memory.
    if( !buffer.getLock().getImp().tryLock() ) {
        return LkThreadId::NO_THREAD;
    }
    buffer.assumeLocked();
    unsigned long holder = buffer._transientStateOwner.getNum();
    if( holder == LkThreadId::NO_THREAD && buffer._lockCount > 0 ) {
        holder = buffer._locker.getNum();
    }
    buffer.getLock().getImp().unlock();
    return holder;
}

std::string MbPoolManager::describeStall( const MbBufferImp& asking ) const {
    std::ostringstream text;
    text << "Waiting for memory for the buffer '" << asking._name.c_str()
         << "': " << asking.getSize() << " bytes are wanted, " << getFreeSpaceImp() << " of "
         << getSizeImp() << " are free in " << _managerName << ", where " << _nbAllocatedRegion
         << " buffers are in memory, and " << countUnloadable() << " of these can be evicted.";
    const char* separator = " The largest:";
    for( const MbBufferImp* const buffer : _residents->getLargest( NB_DESCRIBED ) ) {
        text << separator << " '" << buffer->_name.c_str() << "' with " << buffer->getSize()
             << " bytes for " << MbResidents::getSeconds() - buffer->_residence.since << " s";
        if( const unsigned long holder = getHolder( *buffer ) ) {
            text << ", held by thread " << holder;
        }
        separator = ";";
    }
    text << '.';
    return text.str();
}

} // namespace Qv
