#include <resmgt/locks/mtThreadDataRegistry.h>

#include <base/failure/assertions.h>
#include <base/locks/lkGuard.h>
#include <base/ownership/ownershipDelete.h>
#include <resmgt/locks/lkSingleton.imp>
#include <resmgt/locks/src/lkThreadEnd.h>

namespace Qv {

template class QV_RESMGT_API LkSingleton<MtThreadDataRegistry>;

namespace {

LkThreadId currentThread() {
    LkThreadId id;
    id.setCurrentThread();
    return id;
}

} // namespace

MtThreadDataRegistry::MtThreadDataRegistry()
    : _lock( "MtThreadDataRegistry" ) {}

OPtrRet<MtThreadDataRegistry> MtThreadDataRegistry::createInstance() {
    return OPtr<MtThreadDataRegistry>( new MtThreadDataRegistry );
}

MtThreadDataRegistry& MtThreadDataRegistry::getInstance() {
    return LkSingleton<MtThreadDataRegistry>::getInstance();
}

void MtThreadDataRegistry::registerThreadData( const LkThreadOpaqueData* dataImp ) {
    QV_ASSERT( dataImp != 0 );
    const LkGuard<LkRecLock> guard( _lock );
    if( LkThreadEnd::arm() ) {
        // Left by a thread of the same number that ended too late to be cleared.
        _data.erase( currentThread() );
    }
    _data.emplace( currentThread(),
                   Entry{ RCShdPtr<const LkThreadOpaqueData>( dataImp ), dataImp->getValue() } );
}

bool MtThreadDataRegistry::hasThreadData() const {
    return hasThreadData( currentThread() );
}

bool MtThreadDataRegistry::hasThreadData( const LkThreadId& thread ) const {
    const LkGuard<const LkRecLock> guard( _lock );
    return _data.contains( thread );
}

MtThreadDataRegistry::DataMap::iterator
MtThreadDataRegistry::findFirst( const LkThreadId& thread ) {
    const auto first = _data.lower_bound( thread );
    return first != _data.end() && first->first == thread ? first : _data.end();
}

void MtThreadDataRegistry::removeThreadData( LkThreadDataTypes::DeleteAction action ) {
    const LkGuard<LkRecLock> guard( _lock );
    const LkThreadId self = currentThread();
    // Looked up anew each time: a deleter may have removed or added entries of this thread.
    for( auto entry = findFirst( self ); entry != _data.end(); entry = findFirst( self ) ) {
        freeEntry( entry, action );
    }
}

void MtThreadDataRegistry::removeThreadData( const LkThreadOpaqueData* dataImp,
                                             LkThreadDataTypes::DeleteAction action ) {
    const LkGuard<LkRecLock> guard( _lock );
    const auto [begin, end] = _data.equal_range( currentThread() );
    for( auto entry = begin; entry != end; ++entry ) {
        if( entry->second.dataImp.get() == dataImp ) {
            freeEntry( entry, action );
            return;
        }
    }
}

void MtThreadDataRegistry::freeEntry( DataMap::iterator entry,
                                      LkThreadDataTypes::DeleteAction action ) {
    const RCShdPtr<const LkThreadOpaqueData> dataImp( entry->second.dataImp );
    _data.erase( entry );
    QV_ASSERT( !dataImp.isNull() );
    QV_ASSERT( !dataImp->isNull() );
    dataImp->freeValue( action );
}

void MtThreadDataRegistry::restoreSlots() {
    const auto [begin, end] = _data.equal_range( currentThread() );
    for( auto entry = begin; entry != end; ++entry ) {
        if( entry->second.dataImp->isNull() ) {
            entry->second.dataImp->setValue( entry->second.value );
        }
    }
}

void MtThreadDataRegistry::freeRestored() {
    const LkThreadId self = currentThread();
    for( auto entry = findFirst( self ); entry != _data.end(); entry = findFirst( self ) ) {
        // Another's notice of the end may have filled an emptied slot once more, before this one
        // came; both values have their entries.
        entry->second.dataImp->setValue( entry->second.value );
        freeEntry( entry, LkThreadDataTypes::DELETE_AND_CLEAR );
    }
}

void MtThreadDataRegistry::threadEnds() noexcept {
    const LkGuard<LkRecLock> guard( _lock );
    // A failed removal has taken its entry out, so each round brings the end nearer.
    for( ;; ) {
        try {
            restoreSlots();
            freeRestored();
            return;
        } catch( ... ) {
            Ownership::reportFailedDestructor();
        }
    }
}

} // namespace Qv
