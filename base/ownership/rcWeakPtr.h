#pragma once

#include <base/ownership/rcStrongPtr.h>

namespace Qv {

/// Weak pointer: knows an object without keeping it. It becomes a strong pointer, or a null one
/// when the object is gone.
template <class T, class Counter>
class RCWeakBasePtr {
public:
    RCWeakBasePtr() noexcept = default;
    template <Ownership::PointableAs<T> U>
    explicit( false ) RCWeakBasePtr( const RCStrongBasePtr<U, Counter>& strong ) noexcept
        : _pointee( strong.get() )
        , _counter( strong.getCounter() ) {}
    /// The object is kept for the conversion: a pointer to a base may be found through it alone.
    template <Ownership::PointableAs<T> U>
    explicit( false ) RCWeakBasePtr( const RCWeakBasePtr<U, Counter>& other ) noexcept
        : _pointee( RCStrongBasePtr<U, Counter>( other ).get() )
        , _counter( other._counter ) {}

    /// Whether both were made for the same object, even if it is gone.
    bool operator==( const RCWeakBasePtr& other ) const noexcept {
        return _counter == other._counter;
    }
    bool operator<( const RCWeakBasePtr& other ) const noexcept {
        return _counter < other._counter;
    }
    /// Whether the object is gone, or there never was one. True stays true.
    bool isExpired() const noexcept { return _counter.isNull() || _counter->getStrongCount() == 0; }

private:
    friend class RCStrongBasePtr<T, Counter>;
    template <class U, class OtherCounter>
    friend class RCWeakBasePtr;

    T* _pointee = nullptr;
    RCShdPtr<RCSWCount<Counter>> _counter;
};

/// Weak pointer to an object that crosses threads.
template <class T>
using RCWeakPtr = RCWeakBasePtr<T, LkCounter<int>>;

template <class T, class Counter>
RCStrongBasePtr<T, Counter>::RCStrongBasePtr( const RCWeakBasePtr<T, Counter>& weak ) noexcept {
    if( !weak._counter.isNull() && weak._counter->tryAddStrong() ) {
        _pointee = weak._pointee;
        _counter = weak._counter;
    }
}

/// Keeps a weakly known object alive for a scope; null if the object was gone.
template <class T>
class RCWeakAccessor {
public:
    explicit RCWeakAccessor( const RCWeakPtr<T>& weak ) noexcept
        : _strong( weak ) {}

    bool isNull() const noexcept { return _strong.isNull(); }
    explicit operator bool() const noexcept { return !isNull(); }
    /// Null when the object was gone.
    T* get() const noexcept { return _strong.get(); }
    T& operator*() const { return *_strong; }
    T* operator->() const { return &*_strong; }

private:
    const RCStrongPtr<T> _strong;
};

} // namespace Qv
