#pragma once

#include <base/locks/lkThreadId.h>
#include <base/ownership/oPtr.h>
#include <resmgt/locks/lkRecLock.h>
#include <resmgt/locks/lkThreadOpaqueData.h>

#include <map>

namespace Qv {

template <class T>
class LkSingleton;

/// Keeps for each thread the slots of per-thread data that it has filled, so that they can be
/// freed when it ends.
///
/// Threads:   any; each registers and removes its own data alone.
/// Order:     a thread's data is freed in the order in which it was first used. Data that a deleter
///            uses again meanwhile is freed in the same removal: one with DELETE_AND_CLEAR never
///            ends if deleters build each other's data again without end.
/// Lock:      held while deleters run, so a deleter must not wait for another thread that needs
///            the registry; it may use the registry itself.
/// Lifetime:  built on first use, never destroyed. It holds a reference to each slot that some
///            thread has a value in.
/// End of a foreign thread: the system's notice removes all the thread's data, with
///            DELETE_AND_CLEAR, as often as other such notices use slots again; the system
///            limits how often (four times on Linux). What is built after the last one is lost,
///            and its entries are dropped when a new thread bears the same number. Exceptions
///            out of deleters are reported there, and the removal goes on.
class QV_RESMGT_API MtThreadDataRegistry {
public:
    MtThreadDataRegistry( const MtThreadDataRegistry& ) = delete;
    MtThreadDataRegistry& operator=( const MtThreadDataRegistry& ) = delete;

    static MtThreadDataRegistry& getInstance();

    /// Once for each filling of the slot by the calling thread; duplicates aren't looked for.
    void registerThreadData( const LkThreadOpaqueData* dataImp );
    /// Whether the calling thread, or `thread`, has any entry.
    bool hasThreadData() const;
    bool hasThreadData( const LkThreadId& thread ) const;
    /// Frees all the calling thread's data.
    void removeThreadData( LkThreadDataTypes::DeleteAction action );
    /// Frees the calling thread's value of one slot; without an entry nothing happens.
    void removeThreadData( const LkThreadOpaqueData* dataImp,
                           LkThreadDataTypes::DeleteAction action );

    /// What the system's notice of a thread's end calls, on that thread.
    void threadEnds() noexcept;

private:
    friend class LkSingleton<MtThreadDataRegistry>;
    struct Entry {
        RCShdPtr<const LkThreadOpaqueData> dataImp;
        /// The slot's value; the system may have emptied the slot when the end of its thread is
        /// announced.
        void* value;
    };
    using DataMap = std::multimap<LkThreadId, Entry>;

    MtThreadDataRegistry();
    static OPtrRet<MtThreadDataRegistry> createInstance();
    DataMap::iterator findFirst( const LkThreadId& thread ) QV_REQUIRES( _lock );
    void restoreSlots() QV_REQUIRES( _lock );
    void freeRestored() QV_REQUIRES( _lock );
    void freeEntry( DataMap::iterator entry, LkThreadDataTypes::DeleteAction action )
        QV_REQUIRES( _lock );

    LkRecLock _lock;
    DataMap _data QV_GUARDED_BY( _lock );
};

} // namespace Qv
