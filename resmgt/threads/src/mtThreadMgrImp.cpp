#include <resmgt/threads/src/mtThreadMgrImp.h>

#include <base/failure/assertions.h>
#include <resmgt/threads/mtThreadFactory.h>
#include <resmgt/threads/mtThreadGroup.h>
#include <resmgt/threads/mtUtil.h>

#include <algorithm>
#include <ostream>

namespace Qv {

namespace {

template <class T>
T* findIn( const std::list<T*>& list, const T* wanted ) {
    const auto found = std::find( list.begin(), list.end(), wanted );
    return found != list.end() ? *found : nullptr;
}

} // namespace

MtThreadMgrImp::MtThreadMgrImp()
    : _mainThread( createMainThread( MtThreadFactory::getInstance() ) ) {}

MtThreadMgrImp::~MtThreadMgrImp() {
    // It takes itself out of the list, which must be there.
    _mainThread.reset();
}

MtThread* MtThreadMgrImp::findNoLock( const MtThread* thread ) const {
    return findIn( _threads, thread );
}

MtThreadGroup* MtThreadMgrImp::findNoLock( const MtThreadGroup* group ) const {
    return findIn( _groups, group );
}

void MtThreadMgrImp::addGroup( MtThreadGroup* group ) {
    const LkGuard<LkRecLock> guard( _lock );
    QV_ASSERT( findNoLock( group ) == 0 );
    _groups.push_back( group );
}

void MtThreadMgrImp::addThread( MtThread* thread ) {
    const LkGuard<LkRecLock> guard( _lock );
    QV_ASSERT( findNoLock( thread ) == 0 );
    _threads.push_back( thread );
}

void MtThreadMgrImp::removeGroup( MtThreadGroup* group ) {
    const LkGuard<LkRecLock> guard( _lock );
    QV_ASSERT( findNoLock( group ) == group );
    _groups.remove( group );
}

void MtThreadMgrImp::removeThread( MtThread* thread ) {
    const LkGuard<LkRecLock> guard( _lock );
    QV_ASSERT( findNoLock( thread ) == thread );
    _threads.remove( thread );
}

MtThread* MtThreadMgrImp::findThread( const LkThreadId& id ) {
    if( id == LkThreadId() ) {
        return nullptr;
    }
    const LkGuard<LkRecLock> guard( _lock );
    const auto found = std::find_if( _threads.begin(), _threads.end(),
                                     [&]( MtThread* thread ) { return thread->getId() == id; } );
    return found != _threads.end() ? *found : nullptr;
}

MtThread* MtThreadMgrImp::findThread( const std::string& name ) {
    const LkGuard<LkRecLock> guard( _lock );
    const auto found = std::find_if( _threads.begin(), _threads.end(), [&]( MtThread* thread ) {
        return thread->getName() == name;
    } );
    return found != _threads.end() ? *found : nullptr;
}

int MtThreadMgrImp::getNbThreads() {
    const LkGuard<LkRecLock> guard( _lock );
    return static_cast<int>( _threads.size() );
}

void MtThreadMgrImp::setNbProcessors( int nbProcessors ) {
    const LkGuard<LkRecLock> guard( _lock );
    if( nbProcessors != _nbProcessors ) {
        _nbProcessors = nbProcessors;
        nbProcessorsChanged( nbProcessors );
    }
}

int MtThreadMgrImp::getNbProcessors() {
    const LkGuard<LkRecLock> guard( _lock );
    return _nbProcessors;
}

bool MtThreadMgrImp::isRealTime() {
    const LkGuard<LkRecLock> guard( _lock );
    return _isRealTime;
}

void MtThreadMgrImp::dump( std::ostream& stream ) {
    const LkGuard<LkRecLock> guard( _lock );
    for( const MtThread* const thread : _threads ) {
        stream << *thread << '\n';
    }
}

MtThread* MtThreadMgrImp::getMainThread() {
    return _mainThread.get();
}

void MtThreadMgrImp::setRealTime( bool isRealTime ) {
    const LkGuard<LkRecLock> guard( _lock );
    // What was switched on can always be switched off.
    if( isRealTime == _isRealTime || ( isRealTime && MtUtil::isRealTimeDisabled() ) ) {
        return;
    }
    if( isRealTime ) {
        _isRealTime = enableRealTime();
    } else {
        disableRealTime();
        _isRealTime = false;
    }
}

bool MtThreadMgrImp::enableRealTime() {
    return true;
}

void MtThreadMgrImp::disableRealTime() {}

} // namespace Qv
