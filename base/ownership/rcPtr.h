#pragma once

#include <base/ownership/ownershipDelete.h>
#include <base/ownership/rcExUtil.h>

#include <cstddef>
#include <type_traits>
#include <typeinfo>
#include <utility>

namespace Qv {

namespace Ownership {

/// The last drop runs the virtual destructor. It isn't inlined: it is rare beside the drops that
/// aren't the last, and compilers that see it beside them warn of uses after it.
struct DeleteLast {
    /// Deletes the object.
    template <class T>
    [[gnu::noinline]] static void dispose( T* object ) noexcept {
        destroy( const_cast<std::remove_const_t<T>*>( object ) );
    }
};

/// The last drop calls `destroy`, and the object deletes itself.
struct DestroyLast {
    /// Has the object delete itself.
    template <class T>
    static void dispose( T* object ) noexcept {
        try {
            object->destroy();
        } catch( ... ) {
            reportFailedDestructor();
        }
    }
};

} // namespace Ownership

/// Counted pointer to an object with an intrusive count; the library's shared pointers are its
/// instances.
///
/// Copying takes a reference; the destructor and assignment drop one. Self-assignment does
/// nothing. Dereferencing a null pointer raises ExNullPtr with the type's name. A conversion to a
/// pointer to a base shares the object.
template <class T, class LastDrop>
class RCPtr {
public:
    RCPtr() noexcept
        : _pointee( nullptr ) {}
    explicit RCPtr( T* pointee ) noexcept
        : _pointee( pointee ) {
        addReference();
    }
    RCPtr( const RCPtr& other ) noexcept
        : _pointee( other._pointee ) {
        addReference();
    }
    RCPtr( RCPtr&& other ) noexcept
        : _pointee( std::exchange( other._pointee, nullptr ) ) {}
    template <Ownership::PointableAs<T> U>
    RCPtr( const RCPtr<U, LastDrop>& other ) noexcept
        : _pointee( other.get() ) {
        addReference();
    }
    ~RCPtr() { removeReference(); }

    RCPtr& operator=( const RCPtr& other ) noexcept {
        if( _pointee != other._pointee ) {
            RCPtr( other ).swap( *this );
        }
        return *this;
    }
    RCPtr& operator=( RCPtr&& other ) noexcept {
        if( this != &other ) {
            RCPtr( std::move( other ) ).swap( *this );
        }
        return *this;
    }

    T& operator*() const { return *checked(); }
    T* operator->() const { return checked(); }
    /// May be null; the reference stays with this pointer.
    T* get() const noexcept { return _pointee; }
    bool isNull() const noexcept { return _pointee == nullptr; }
    explicit operator bool() const noexcept { return _pointee != nullptr; }
    /// Drops the reference and becomes null.
    void reset() noexcept { RCPtr().swap( *this ); }
    /// Exchanges what the two point to; no count changes.
    void swap( RCPtr& other ) noexcept { std::swap( _pointee, other._pointee ); }

    /// Whether both point to the same object, or are both null.
    template <class U>
    bool operator==( const RCPtr<U, LastDrop>& other ) const noexcept {
        return _pointee == other.get();
    }
    bool operator==( std::nullptr_t ) const noexcept { return isNull(); }
    template <class U>
    bool operator<( const RCPtr<U, LastDrop>& other ) const noexcept {
        return _pointee < other.get();
    }

    /// This object as a `U`; null stays null. Raises ExCastFailed if it is none.
    template <class U>
    RCPtr<U, LastDrop> cast() const {
        U* const other = dynamic_cast<U*>( _pointee );
        if( other == nullptr && _pointee != nullptr ) {
            RCExUtil::throwExCastFailed( typeid( *_pointee ).name(), typeid( U ).name() );
        }
        return RCPtr<U, LastDrop>( other );
    }

private:
    T* checked() const {
        if( _pointee == nullptr ) {
            RCExUtil::throwExNullPtr( typeid( T ).name() );
        }
        return _pointee;
    }
    void addReference() const noexcept {
        if( _pointee != nullptr ) {
            _pointee->addReference();
        }
    }
    void removeReference() const noexcept {
        if( _pointee != nullptr && _pointee->removeReference() ) {
            LastDrop::dispose( _pointee );
        }
    }

    T* _pointee;
};

} // namespace Qv
