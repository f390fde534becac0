#pragma once

#include <base/locks/lkCounter.h>

namespace Qv {

/// Intrusive reference count of an object that is shared through RCShdPtr.
///
/// `Counter` is `LkCounter<int>` for objects that cross threads, plain `int` for others. A new
/// object has the count 0; copying an object doesn't copy its count. The thread that takes the
/// count from 1 to 0 destroys the object.
template <class Counter>
class RCBase {
public:
    /// Never throws: a derived class's destructor that asserts reports the failure itself, with
    /// Ownership::reportFailedDestructor.
    virtual ~RCBase() = default;

    /// Counts one reference more.
    void addReference() const noexcept { ++_refCount; }
    /// Answers whether this was the last reference.
    [[nodiscard]] bool removeReference() const noexcept { return --_refCount == 0; }
    int getRefCount() const noexcept { return static_cast<int>( _refCount ); }

protected:
    RCBase() noexcept = default;
    RCBase( const RCBase& ) noexcept {}
    RCBase& operator=( const RCBase& ) noexcept { return *this; }

private:
    mutable Counter _refCount{ 0 };
};

/// The same for an object that ends through `destroy`, so that it can finish work first.
template <class Counter>
class RCBaseWithDestroy {
public:
    virtual ~RCBaseWithDestroy() = default;
    /// Called in place of the destructor by the drop of the last reference; deletes the object,
    /// at once or later.
    virtual void destroy() = 0;

    /// Counts one reference more.
    void addReference() const noexcept { ++_refCount; }
    /// Answers whether this was the last reference.
    [[nodiscard]] bool removeReference() const noexcept { return --_refCount == 0; }
    int getRefCount() const noexcept { return static_cast<int>( _refCount ); }

protected:
    RCBaseWithDestroy() noexcept = default;
    RCBaseWithDestroy( const RCBaseWithDestroy& ) noexcept {}
    RCBaseWithDestroy& operator=( const RCBaseWithDestroy& ) noexcept { return *this; }

private:
    mutable Counter _refCount{ 0 };
};

} // namespace Qv
