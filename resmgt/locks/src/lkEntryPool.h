#pragma once

#include <base/locks/lkGuard.h>
#include <base/locks/lkLock.h>
#include <resmgt/locks/lkThreadOpaqueDataFactory.h>

#include <memory>
#include <vector>

namespace Qv {

/// Keeps the wait entries of threads that are gone for threads to come. Entries are made once and
/// never freed; the pool itself lives until the process ends.
template <class Entry>
class LkEntryPool {
public:
    /// The calling thread's entry, in its slot of this name; its first call takes one from the
    /// process's pool, and the thread's end gives it back.
    static Entry& getOwn( const char* slotName ) {
        // Neither is ever destroyed: threads wait for the first time, and end, after static objects
        // do.
        static const auto& slot =
            *std::make_unique<const RCShdPtr<LkThreadOpaqueData>>(
                 LkThreadOpaqueDataFactory::create( slotName, &takeOwn, &giveOwnBack ) )
                 .release();
        return *static_cast<Entry*>( slot->getPointee() );
    }

private:
    static LkEntryPool& getInstance() {
        static LkEntryPool* const pool = std::make_unique<LkEntryPool>().release();
        return *pool;
    }
    static void* takeOwn() {
        Entry* const entry = getInstance().take();
        entry->adopt();
        return entry;
    }
    static void giveOwnBack( void* data ) {
        Entry* const entry = static_cast<Entry*>( data );
        entry->abandon();
        getInstance().giveBack( entry );
    }

    /// An entry that belongs to nobody.
    Entry* take() {
        const LkGuard<const LkLock> guard( _lock );
        if( _free.empty() ) {
            // Room for all entries to come back, so that `giveBack` can't fail.
            _free.reserve( _all.size() + 1 );
            _all.push_back( std::make_unique<Entry>() );
            return _all.back().get();
        }
        Entry* const entry = _free.back();
        _free.pop_back();
        return entry;
    }
    void giveBack( Entry* entry ) noexcept {
        const LkGuard<const LkLock> guard( _lock );
        _free.push_back( entry );
    }

    const LkLock _lock{ "LkEntryPool" };
    std::vector<std::unique_ptr<Entry>> _all QV_GUARDED_BY( _lock );
    std::vector<Entry*> _free QV_GUARDED_BY( _lock );
};

} // namespace Qv
