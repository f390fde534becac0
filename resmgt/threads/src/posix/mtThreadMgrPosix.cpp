#include <resmgt/threads/src/posix/mtThreadMgrPosix.h>

#include <resmgt/threads/mtPriorityMgr.h>
#include <resmgt/threads/mtUtil.h>
#include <resmgt/threads/src/posix/mtSchedulerPosix.h>
#include <resmgt/threads/src/posix/mtThreadPosix.h>

namespace Qv {

OPtrRet<MtThreadMgr> MtThreadMgrImp::create() {
    // Before the main thread's object, which changes what the process was given.
    MtSchedulerPosix::initialize();
    return OPtr<MtThreadMgr>( new MtThreadMgrPosix );
}

MtThreadMgrPosix::MtThreadMgrPosix() {
    setNbProcessors( MtUtil::getNbProcessors() );
}

void MtThreadMgrPosix::dump( std::ostream& stream ) {
    MtThreadMgrImp::dump( stream );
    MtPriorityMgr::getInstance().dump( stream );
}

void MtThreadMgrPosix::nbProcessorsChanged( int ) {}

bool MtThreadMgrPosix::applyToThreads() {
    bool isGranted = true;
    for( MtThread* const thread : _threads ) {
        if( auto* const ours = dynamic_cast<MtThreadPosix*>( thread ) ) {
            isGranted = ours->applyScheduling() && isGranted;
        }
    }
    return isGranted;
}

// A thread that starts meanwhile applies what it finds under its own lock: either it finds the
// switch, or it comes before `applyToThreads`, which comes last for that reason.
bool MtThreadMgrPosix::enableRealTime() {
    MtSchedulerPosix::Formers formers;
    MtSchedulerPosix::setRealTime( true );
    try {
        if( MtSchedulerPosix::raiseAll( formers ) && applyToThreads() ) {
            return true;
        }
    } catch( ... ) {
        lower( formers );
        throw;
    }
    lower( formers );
    return false;
}

void MtThreadMgrPosix::disableRealTime() {
    lower( {} );
}

void MtThreadMgrPosix::lower( const MtSchedulerPosix::Formers& formers ) {
    MtSchedulerPosix::setRealTime( false );
    MtSchedulerPosix::lowerAll( formers );
    applyToThreads();
}

} // namespace Qv
