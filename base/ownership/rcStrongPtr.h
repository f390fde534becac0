#pragma once

#include <base/ownership/oPtr.h>
#include <base/ownership/rcSWCount.h>

namespace Qv {

template <class T, class Counter>
class RCWeakBasePtr;

/// Strong pointer to an object, which is deleted when its last strong pointer goes, whatever weak
/// pointers are left.
///
/// An object derived from `RCSWBase<Counter>` brings its counts along, so that any number of strong
/// pointers may be made of its address. Any other gets counts from the first and only pointer that
/// is made so; if there is no memory for them the object is deleted.
template <class T, class Counter>
class RCStrongBasePtr {
public:
    RCStrongBasePtr() noexcept = default;
    explicit RCStrongBasePtr( T* pointee )
        : _pointee( pointee ) {
        if( _pointee != nullptr ) {
            _counter = counterOf( pointee );
            _counter->addStrong();
        }
    }
    RCStrongBasePtr( const RCStrongBasePtr& other ) noexcept
        : _pointee( other._pointee )
        , _counter( other._counter ) {
        addStrong();
    }
    RCStrongBasePtr( RCStrongBasePtr&& other ) noexcept { swap( other ); }
    template <Ownership::PointableAs<T> U>
    RCStrongBasePtr( const RCStrongBasePtr<U, Counter>& other ) noexcept
        : _pointee( other.get() )
        , _counter( other.getCounter() ) {
        addStrong();
    }
    /// Null if the object is gone.
    explicit( false ) RCStrongBasePtr( const RCWeakBasePtr<T, Counter>& weak ) noexcept;
    ~RCStrongBasePtr() { removeStrong(); }

    RCStrongBasePtr& operator=( const RCStrongBasePtr& other ) noexcept {
        assign( other );
        return *this;
    }
    RCStrongBasePtr& operator=( RCStrongBasePtr&& other ) noexcept {
        RCStrongBasePtr( std::move( other ) ).swap( *this );
        return *this;
    }
    /// Does nothing when both words are equal already.
    void assign( const RCStrongBasePtr& other ) noexcept {
        if( _pointee != other._pointee || !( _counter == other._counter ) ) {
            RCStrongBasePtr( other ).swap( *this );
        }
    }

    T& operator*() const { return *checked(); }
    T* operator->() const { return checked(); }
    /// May be null; the reference stays with this pointer.
    T* get() const noexcept { return _pointee; }
    bool isNull() const noexcept { return _pointee == nullptr; }
    explicit operator bool() const noexcept { return _pointee != nullptr; }
    bool operator==( const RCStrongBasePtr& other ) const noexcept {
        return _pointee == other._pointee;
    }
    bool operator==( std::nullptr_t ) const noexcept { return isNull(); }
    bool operator<( const RCStrongBasePtr& other ) const noexcept {
        return _pointee < other._pointee;
    }
    const RCShdPtr<RCSWCount<Counter>>& getCounter() const noexcept { return _counter; }

    /// Exchanges what the two point to; no count changes.
    void swap( RCStrongBasePtr& other ) noexcept {
        std::swap( _pointee, other._pointee );
        _counter.swap( other._counter );
    }

private:
    static RCShdPtr<RCSWCount<Counter>> counterOf( T* pointee ) {
        static_assert( sizeof( T ) > 0, "the type decides where the counts are" );
        if constexpr( requires { pointee->getCounter(); } ) {
            return pointee->getCounter();
        } else {
            OPtr<T> owner( pointee );
            RCShdPtr<RCSWCount<Counter>> counter( new RCSWCount<Counter> );
            static_cast<void>( owner.release() );
            return counter;
        }
    }
    T* checked() const {
        if( _pointee == nullptr ) {
            RCExUtil::throwExNullPtr( typeid( T ).name() );
        }
        return _pointee;
    }
    void addStrong() const noexcept {
        if( _pointee != nullptr ) {
            _counter->addStrong();
        }
    }
    void removeStrong() const noexcept {
        if( _pointee != nullptr && _counter->removeStrong() ) {
            Ownership::destroy( _pointee );
        }
    }

    T* _pointee = nullptr;
    RCShdPtr<RCSWCount<Counter>> _counter;
};

/// Strong pointer to an object that crosses threads.
template <class T>
using RCStrongPtr = RCStrongBasePtr<T, LkCounter<int>>;

} // namespace Qv

#include <base/ownership/rcWeakPtr.h>
