#pragma once

#include <base/ownership/ownershipDelete.h>

#include <cstddef>
#include <utility>

namespace Qv {

template <class T>
class OPtr;

/// The form in which a function returns an OPtr: it only hands its object on.
template <class T>
class [[nodiscard]] OPtrRet {
public:
    OPtrRet( OPtrRet&& other ) noexcept
        : _pointee( std::exchange( other._pointee, nullptr ) ) {}
    OPtrRet( OPtr<T> owner ) noexcept
        : _pointee( owner.release() ) {}
    template <Ownership::PointableAs<T> U>
    OPtrRet( OPtr<U> owner ) noexcept
        : _pointee( owner.release() ) {}
    template <Ownership::PointableAs<T> U>
    OPtrRet( OPtrRet<U>&& other ) noexcept
        : _pointee( other.release() ) {}
    OPtrRet& operator=( const OPtrRet& ) = delete;
    ~OPtrRet() { Ownership::destroy( _pointee ); }

    /// Gives the object up to the caller.
    T* release() noexcept { return std::exchange( _pointee, nullptr ); }

private:
    T* _pointee;
};

/// Sole owner of a heap object.
///
/// Copying and assigning move the ownership and leave the source null. The destructor deletes the
/// object through its virtual destructor.
template <class T>
class OPtr {
public:
    OPtr() noexcept
        : _pointee( nullptr ) {}
    explicit OPtr( T* pointee ) noexcept
        : _pointee( pointee ) {}
    OPtr( OPtr& other ) noexcept
        : _pointee( other.release() ) {}
    OPtr( OPtr&& other ) noexcept
        : _pointee( other.release() ) {}
    template <Ownership::PointableAs<T> U>
    OPtr( OPtr<U>& other ) noexcept
        : _pointee( other.release() ) {}
    template <Ownership::PointableAs<T> U>
    OPtr( OPtr<U>&& other ) noexcept
        : _pointee( other.release() ) {}
    template <Ownership::PointableAs<T> U>
    OPtr( OPtrRet<U>&& other ) noexcept
        : _pointee( other.release() ) {}
    ~OPtr() { Ownership::destroy( _pointee ); }

    OPtr& operator=( OPtr& other ) noexcept { return reset( other.release() ); }
    OPtr& operator=( OPtr&& other ) noexcept { return reset( other.release() ); }
    template <Ownership::PointableAs<T> U>
    OPtr& operator=( OPtrRet<U>&& other ) noexcept {
        return reset( other.release() );
    }

    /// Owns `pointee` from now on; deletes the former object.
    OPtr& reset( T* pointee = nullptr ) noexcept {
        if( pointee != _pointee ) {
            Ownership::destroy( std::exchange( _pointee, pointee ) );
        }
        return *this;
    }
    /// Gives the object up to the caller; this pointer is null afterwards.
    [[nodiscard]] T* release() noexcept { return std::exchange( _pointee, nullptr ); }

    /// May be null; the object stays with this pointer.
    T* get() const noexcept { return _pointee; }
    T& operator*() const noexcept { return *_pointee; }
    T* operator->() const noexcept { return _pointee; }
    bool isNull() const noexcept { return _pointee == nullptr; }
    explicit operator bool() const noexcept { return _pointee != nullptr; }
    bool operator==( std::nullptr_t ) const noexcept { return isNull(); }

private:
    T* _pointee;
};

} // namespace Qv
