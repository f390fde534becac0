#pragma once

#include <base/locks/lkGuard.h>
#include <base/locks/lkLock.h>

#include <memory>
#include <vector>

namespace Qv {

/// Keeps the wait entries of threads that are gone for threads to come. Entries are made once and
/// never freed; the pool itself lives until the process ends.
template <class Entry>
class LkEntryPool {
public:
    /// The process's pool, never destroyed: threads end after static objects do.
    static LkEntryPool& getInstance() {
        static LkEntryPool* const pool = std::make_unique<LkEntryPool>().release();
        return *pool;
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

private:
    const LkLock _lock{ "LkEntryPool" };
    std::vector<std::unique_ptr<Entry>> _all QV_GUARDED_BY( _lock );
    std::vector<Entry*> _free QV_GUARDED_BY( _lock );
};

} // namespace Qv
