#pragma once

#include <base/ownership/rcBase.h>
#include <base/ownership/rcShdPtr.h>
#include <resmgt/locks/lkThreadDataTypes.h>
#include <resmgt/resmgtApi.h>

#include <cstdint>

namespace Qv {

/// A named slot of per-thread data, built in each thread by its first use there.
///
/// Use:      a static `RCShdPtr<LkThreadOpaqueData>` that a static initialiser fills through
///           LkThreadOpaqueDataFactory; asking before that raises the null pointer's exception.
/// Threads:  any; each sees its own value alone.
/// Lifetime: a value ends with its thread. MtThreadDataRegistry knows the slots that each thread
///           has filled and keeps them alive so long; a thread that ends without notice to the
///           library is cleared by the system's own notice of its end.
/// Errors:   a failed system call is a system assertion.
/// Cost:     a second and later `getPointee` is one read of the slot and two compares.
///
/// A thread's slot holds null (no value), LK_THREAD_DATA_BUSY (a value is being built, or must not
/// be used any more), or the value.
class QV_RESMGT_API LkThreadOpaqueData : public RCBase<LkCounter<int>> {
public:
    /// Makes a thread's data.
    using Creator = void* (*)();
    /// Deletes a thread's data, at the end of the thread.
    using Deleter = void ( * )( void* );

    LkThreadOpaqueData( const LkThreadOpaqueData& ) = delete;
    LkThreadOpaqueData& operator=( const LkThreadOpaqueData& ) = delete;
    ~LkThreadOpaqueData() override;

    const char* getName() const noexcept { return _name; }

    /// The calling thread's value; the creator builds it at need. The creator may use other slots,
    /// not this one.
    ///
    /// Errors: ExInternalError "Recursion in the creation of thread-local data" when the slot is
    ///         busy, which covers use after DELETE_AND_MARK; LkEx::ExNoContent when the creator
    ///         returns null. After a failure the slot is empty: the next call tries again. What the
    ///         deleter raises then is reported, and the first failure is raised.
    void* getPointee() const {
        void* const value = getValue();
        return isReal( value ) ? value : build( value );
    }

protected:
    /// `name` is kept, not copied.
    LkThreadOpaqueData( const char* name, Creator creator, Deleter deleter );

    /// The busy mark: all bits set.
    static constexpr std::uintptr_t LK_THREAD_DATA_BUSY = ~std::uintptr_t{ 0 };

    /// The mark as a pointer.
    static void* busyMark() noexcept { return reinterpret_cast<void*>( LK_THREAD_DATA_BUSY ); }
    /// Whether `value` is neither null nor the busy mark: one compare for both.
    static bool isReal( const void* value ) noexcept {
        return reinterpret_cast<std::uintptr_t>( value ) + 1 > 1;
    }

private:
    friend class MtThreadDataRegistry;

    /// Whether the calling thread's slot is empty.
    virtual bool isNull() const = 0;
    virtual void* getValue() const = 0;
    virtual void setValue( void* data ) const = 0;
    /// Enters the slot into MtThreadDataRegistry for the calling thread.
    virtual void registerData() const = 0;
    /// Takes it out again and frees the calling thread's value.
    virtual void unregisterData( LkThreadDataTypes::DeleteAction action ) const = 0;

    void* build( const void* seen ) const;
    /// Frees the calling thread's value; an empty slot stays as it is, a busy one raises
    /// ExInternalError "Double delete of thread-local data."
    void freeValue( LkThreadDataTypes::DeleteAction action ) const;

    const char* const _name;
    const Creator _creator;
    const Deleter _deleter;
};

} // namespace Qv
